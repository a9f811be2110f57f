/*
 * vsk_internal.h - the library's internal operations and helpers.
 *
 * These are not part of the exported DLL interface on Windows (except the
 * error-mode, error-handler and version accessors marked VSK_API); on ELF
 * platforms the shared library exports them all so that tools and tests can
 * reach them.
 */
#ifndef VSK_INTERNAL_H
#define VSK_INTERNAL_H

#include "vsk.h"

#if defined(_WIN32)
#  define VSK_INTERNAL
#elif defined(__GNUC__)
#  define VSK_INTERNAL __attribute__((visibility("default")))
#else
#  define VSK_INTERNAL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- error status and reporting */
typedef int(VSK_CALL *VskErrorCallback)(int status, const char *funcName, const char *context,
                                        const char *file, int line);

VSK_INTERNAL int VSK_CALL vskReportError(int status, const char *funcName, const char *context,
                                         const char *file, int line);
VSK_INTERNAL void VSK_CALL vskSetErrStatus(int status);
VSK_INTERNAL int *VSK_CALL vskErrStatusAddress(void);
VSK_API int VSK_CALL vskGetErrMode(void);
VSK_API void VSK_CALL vskSetErrMode(int mode);
VSK_API VskErrorCallback VSK_CALL vskSetErrorHandler(VskErrorCallback handler);
VSK_INTERNAL const char *VSK_CALL vskErrorText(int status);
VSK_INTERNAL int VSK_CALL vskShowErrorBox(int status, const char *funcName, const char *context,
                                          const char *file, int line);
VSK_INTERNAL int VSK_CALL vskQuietErrorHandler(int status, const char *funcName,
                                               const char *context, const char *file, int line);

/* ---- platform layer hooks (tests script the message box and version word).
 * A null hook restores the platform's own behaviour. */
typedef int(VSK_CALL *VskMessageBoxHook)(const char *text, const char *caption,
                                         unsigned int type);
typedef unsigned long(VSK_CALL *VskVersionHook)(void);
VSK_INTERNAL VskMessageBoxHook VSK_CALL vskSetMessageBoxHook(VskMessageBoxHook hook);
VSK_INTERNAL VskVersionHook VSK_CALL vskSetVersionHook(VskVersionHook hook);

/* ---- records */
VSK_INTERNAL void *VSK_CALL vskAllocAligned(int n);
VSK_INTERNAL void *VSK_CALL vskAllocAligned16(int count);
VSK_INTERNAL void *VSK_CALL vskAllocAligned32(int count);
VSK_INTERNAL void *VSK_CALL vskAllocAligned64(int count);
VSK_INTERNAL void VSK_CALL vskFreeAligned(void *p);
VSK_INTERNAL unsigned VSK_CALL vskCheckNewHeader(const VskImage *image);
VSK_INTERNAL void VSK_CALL vskDeallocateData(VskImage *image);
VSK_INTERNAL void VSK_CALL vskDeallocateHeader(VskImage *image);
VSK_INTERNAL void VSK_CALL vskSetROI(VskROI *roi, int coi, int xOffset, int yOffset, int height,
                                     int width);
VSK_INTERNAL void VSK_CALL vskDeleteROI(VskROI *roi);
VSK_INTERNAL VskTileInfo *VSK_CALL vskCreateTileInfo(VskTileCallback callBack, void *id,
                                                     int width, int height);
VSK_INTERNAL void VSK_CALL vskSetTileInfo(VskTileInfo *info, VskTileCallback callBack, void *id,
                                          int width, int height);
VSK_INTERNAL void VSK_CALL vskDeleteTileInfo(VskTileInfo *info);
VSK_INTERNAL void VSK_CALL vskSetBorderMode(VskImage *image, int mode, int sideMask, int value);
VSK_INTERNAL int VSK_CALL vskComputeWidthStep(int dataOrder, unsigned depth, int align,
                                              int nChannels, int width);
VSK_INTERNAL int VSK_CALL vskTileWidthStep(const VskImage *image);
VSK_API const VskLibVersion *VSK_CALL vskGetVersionRecord(void);
/* The clipped ROI rectangle: start address, row stride, channels to process,
 * rows, columns and plane size. Any result pointer may be null. */
VSK_INTERNAL void VSK_CALL vskRoiRect(const VskImage *image, char **start, int *step,
                                      int *channels, int *rows, int *cols, int *planeSize);

/* ---- header validation */
VSK_INTERNAL unsigned VSK_CALL vskBadImageHeader(const VskImage *image);
VSK_INTERNAL char *VSK_CALL vskHeaderErrorText(unsigned mask);
VSK_INTERNAL void VSK_CALL vskCheckCompatible(const VskImage *src, const VskImage *dst,
                                              const char *funcName, const char *file, int line);
VSK_INTERNAL void VSK_CALL vskCheckImage(const VskImage *image, const char *funcName,
                                         const char *file, int line);

/* ---- tiled access */
VSK_INTERNAL void *VSK_CALL vskGetRect(const VskImage *image, int x, int y, int width,
                                       int height, int *widthStep);

/* ---- internal operations */
VSK_INTERNAL void VSK_CALL vskExchange(VskImage *srcImage, VskImage *dstImage,
                                       const int *dstTile);
VSK_INTERNAL void VSK_CALL vskPreMultiplyAlpha(VskImage *image, int alpha,
                                               const int *tilePoint);
VSK_INTERNAL void VSK_CALL vskMultiplyScale(VskImage *srcImageA, VskImage *srcImageB,
                                            VskImage *dstImage, const int *tilePoint);
VSK_INTERNAL void VSK_CALL vskMultiplySScale(VskImage *srcImage, VskImage *dstImage, int value,
                                             const int *tilePoint);
VSK_INTERNAL void VSK_CALL vskReduceBits(VskImage *srcImage, VskImage *dstImage, int jitterType,
                                         int ditherType, int levels, const int *dstTile);
VSK_INTERNAL void VSK_CALL vskRGB2HSV(VskImage *srcImage, VskImage *dstImage,
                                      const int *dstTile);
VSK_INTERNAL void VSK_CALL vskHSV2RGB(VskImage *srcImage, VskImage *dstImage,
                                      const int *dstTile);
VSK_INTERNAL void VSK_CALL vskRGB2HLS(VskImage *srcImage, VskImage *dstImage,
                                      const int *dstTile);
VSK_INTERNAL void VSK_CALL vskHLS2RGB(VskImage *srcImage, VskImage *dstImage,
                                      const int *dstTile);

#ifdef __cplusplus
}
#endif

#endif /* VSK_INTERNAL_H */
