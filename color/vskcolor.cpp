// Colour and grey conversion, bit reduction, HSV and HLS (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API void VSK_CALL tvskColorToGray(VskImage*, VskImage*, int*) {}
VSK_API void VSK_CALL tvskGrayToColor(VskImage*, VskImage*, float, float, float, int*) {}
void VSK_CALL vskReduceBits(VskImage*, VskImage*, int, int, int, const int*) {}
void VSK_CALL vskRGB2HSV(VskImage*, VskImage*, const int*) {}
void VSK_CALL vskHSV2RGB(VskImage*, VskImage*, const int*) {}
void VSK_CALL vskRGB2HLS(VskImage*, VskImage*, const int*) {}
void VSK_CALL vskHLS2RGB(VskImage*, VskImage*, const int*) {}
}  // extern "C"
