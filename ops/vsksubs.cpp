// Saturating subtraction of a constant (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskSubtractS(VskImage*, VskImage*, int, int, const int*) {}
}  // extern "C"
