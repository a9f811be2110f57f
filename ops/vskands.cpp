// Bitwise AND with a constant (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskAndS(VskImage*, VskImage*, unsigned int, const int*) {}
}  // extern "C"
