// Alpha compositing, premultiplication and scaled multiply (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskAlphaComposite(VskImage*, VskImage*, VskImage*, int, VskImage*, VskImage*,
                                         VskImage*, int, int, const int*) {}
VSK_API void VSK_CALL tvskAlphaCompositeC(VskImage*, VskImage*, VskImage*, int, int, int, int, int,
                                          const int*) {}
void VSK_CALL vskPreMultiplyAlpha(VskImage*, int, const int*) {}
void VSK_CALL vskMultiplyScale(VskImage*, VskImage*, VskImage*, const int*) {}
void VSK_CALL vskMultiplySScale(VskImage*, VskImage*, int, const int*) {}
}  // extern "C"
