// Mirror (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskMirror(VskImage*, VskImage*, int, const int*) {}
}  // extern "C"
