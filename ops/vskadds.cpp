// Saturating addition of a constant (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskAddS(VskImage*, VskImage*, int, const int*) {}
}  // extern "C"
