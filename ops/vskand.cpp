// Bitwise AND of two images (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskAnd(VskImage*, VskImage*, VskImage*, const int*) {}
}  // extern "C"
