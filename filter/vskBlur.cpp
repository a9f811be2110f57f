// Box blur (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskBlur(VskImage*, VskImage*, int, int, int, int, const int*) {}
}  // extern "C"
