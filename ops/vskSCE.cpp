// Copy, exchange and fill (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskCopy(VskImage*, VskImage*, const int*) {}
VSK_API void VSK_CALL tvskSet(VskImage*, int, const int*) {}
void VSK_CALL vskExchange(VskImage*, VskImage*, const int*) {}
}  // extern "C"
