// Device-independent bitmap import and export (not yet implemented).
#include "vsk_internal.h"

extern "C" {

VSK_API VskImage* VSK_CALL tvskTranslateDIB(const BITMAPINFOHEADER*, int*) { return nullptr; }
VSK_API void VSK_CALL tvskConvertFromDIB(const BITMAPINFOHEADER*, VskImage*) {}
VSK_API void VSK_CALL tvskConvertToDIB(VskImage*, BITMAPINFOHEADER*, int, int) {}
}  // extern "C"
