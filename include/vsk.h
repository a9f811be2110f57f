/*
 * vsk.h - public interface of the vsk image-processing library.
 *
 * Plain C (C99 and later, and C++). Every image is described by a VskImage
 * header owned by the caller; the 22 tvsk* operations never return a result:
 * a failed check stores a negative status that tvskGetErrStatus() returns.
 */
#ifndef VSK_H
#define VSK_H

#include <stddef.h>

#if defined(_WIN32)
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  include <windows.h>
#endif

/* Export and calling-convention markers. */
#if defined(_WIN32)
#  if defined(VSK_STATIC)
#    define VSK_API
#  elif defined(VSK_BUILDING)
#    define VSK_API __declspec(dllexport)
#  else
#    define VSK_API __declspec(dllimport)
#  endif
#  define VSK_CALL __cdecl
#else
#  if defined(__GNUC__)
#    define VSK_API __attribute__((visibility("default")))
#  else
#    define VSK_API
#  endif
#  define VSK_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- depth codes: low 31 bits = bits per channel value, top bit = signed */
#define VSK_DEPTH_SIGN 0x80000000u
#define VSK_1U 1u
#define VSK_8U 8u
#define VSK_16U 16u
#define VSK_8S (VSK_DEPTH_SIGN | 8u)
#define VSK_16S (VSK_DEPTH_SIGN | 16u)
#define VSK_32S (VSK_DEPTH_SIGN | 32u)

/* ---- data order */
#define VSK_DATA_ORDER_PIXEL 0
#define VSK_DATA_ORDER_PLANE 1

/* ---- release flags of tvskDeallocate */
#define VSK_FREE_HEADER 1
#define VSK_FREE_DATA 2
#define VSK_FREE_ROI 4
#define VSK_FREE_TILE 8
#define VSK_FREE_MASK 16

/* ---- status codes */
#define VSK_STATUS_OK 0
#define VSK_STATUS_BACKTRACE (-1)
#define VSK_STATUS_UNKNOWN (-2)
#define VSK_STATUS_INTERNAL (-3)
#define VSK_STATUS_NO_MEMORY (-4)
#define VSK_STATUS_BAD_ARG (-5)
#define VSK_STATUS_UNSUPPORTED (-6)
#define VSK_STATUS_NO_CONVERGENCE (-7)
#define VSK_STATUS_AUTOTRACE (-8)

/* ---- error modes */
#define VSK_ErrorModeLeaf 0
#define VSK_ErrorModeParent 1
#define VSK_ErrorModeSilent 2

/* ---- interpolation */
#define VSK_INTER_NN 0
#define VSK_INTER_LINEAR 1
#define VSK_INTER_CUBIC 2

/* ---- tile call-back modes */
#define VSK_TILE_READ 1
#define VSK_TILE_WRITE 2
#define VSK_TILE_RELEASE 4

/* ---- border modes (entries of VskImage.borderModes) */
#define VSK_BORDER_CONSTANT 0
#define VSK_BORDER_REPLICATE 1
#define VSK_BORDER_REFLECT 2
#define VSK_BORDER_WRAP 3

struct VskImage;

/* Called with (image, tile column, tile row, mode). Modes 1 and 2 set
 * image->tileInfo->tileData to the tile's first byte (null: refused);
 * mode 4 takes back the tile whose pointer is in tileData. */
typedef void(VSK_CALL *VskTileCallback)(const struct VskImage *image, int xIndex,
                                        int yIndex, int mode);

/* Region of interest: note height before width. */
typedef struct VskROI {
    int coi;     /* channel of interest, 1-based; 0 = all channels */
    int xOffset; /* first column */
    int yOffset; /* first row */
    int height;  /* rows */
    int width;   /* columns */
} VskROI;

/* Tiling descriptor: note width before height. */
typedef struct VskTileInfo {
    VskTileCallback callBack;
    void *id;       /* the caller's own value */
    void *tileData; /* set by the call-back */
    int width;      /* pixels per tile row, a positive multiple of 8 */
    int height;     /* rows per tile, a positive multiple of 8 */
} VskTileInfo;

/* Image header: 28 words on 32-bit platforms (112 bytes). */
typedef struct VskImage {
    int headerSize; /* sizeof(VskImage) */
    int headerId;   /* 0 */
    int nChannels;
    int alphaChannel; /* 1-based; 0 = none */
    unsigned int depth;
    char colorModel[4]; /* not NUL-terminated */
    char channelSeq[4]; /* not NUL-terminated */
    int dataOrder;      /* VSK_DATA_ORDER_PIXEL or VSK_DATA_ORDER_PLANE */
    int origin;         /* 0 or 1 */
    int align;          /* 4 or 8 */
    int height;         /* rows */
    int width;          /* pixels per row */
    VskROI *roi;
    struct VskImage *maskImage;
    void *userId;
    VskTileInfo *tileInfo;
    int dataSize;
    char *imageData;
    int widthStep;
    int borderModes[4];  /* top, bottom, left, right */
    int borderValues[4]; /* top, bottom, left, right */
    char *dataBlock;
} VskImage;

/* The library's version record. */
typedef struct VskLibVersion {
    int major;
    int minor;
    int build;
    const char *name;
    const char *version;
    const char *internalVersion;
    const char *buildDate;
    const char *callConv;
} VskLibVersion;

/* ---- platform bitmap layout (from <windows.h> on Windows) */
#if !defined(_WIN32)
#include <stdint.h>
typedef struct tagBITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} BITMAPINFOHEADER;

typedef struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} RGBQUAD;

#ifndef BI_RGB
#define BI_RGB 0
#endif
#ifndef BI_BITFIELDS
#define BI_BITFIELDS 3
#endif
#endif

/* ---- image records */
VSK_API VskImage *VSK_CALL tvskCreateImageHeader(int nChannels, int alphaChannel,
                                                 unsigned int depth, const char *colorModel,
                                                 const char *channelSeq, int dataOrder,
                                                 int origin, int align, int height, int width,
                                                 VskROI *roi, void *userId,
                                                 VskTileInfo *tileInfo);
VSK_API void VSK_CALL tvskAllocateImage(VskImage *image, int fillValue);
VSK_API void VSK_CALL tvskDeallocate(VskImage *image, int flags);
VSK_API VskROI *VSK_CALL tvskCreateROI(int coi, int xOffset, int yOffset, int height,
                                       int width);

/* ---- errors */
VSK_API int VSK_CALL tvskGetErrStatus(void);

/* ---- copy and fill */
VSK_API void VSK_CALL tvskCopy(VskImage *srcImage, VskImage *dstImage, const int *dstTile);
VSK_API void VSK_CALL tvskSet(VskImage *image, int fillValue, const int *dstTile);

/* ---- arithmetic and logic */
VSK_API void VSK_CALL tvskAddS(VskImage *srcImage, VskImage *dstImage, int value,
                               const int *dstTile);
VSK_API void VSK_CALL tvskSubtractS(VskImage *srcImage, VskImage *dstImage, int value,
                                    int reverse, const int *dstTile);
VSK_API void VSK_CALL tvskAndS(VskImage *srcImage, VskImage *dstImage, unsigned int value,
                               const int *dstTile);
VSK_API void VSK_CALL tvskAnd(VskImage *srcImageA, VskImage *srcImageB, VskImage *dstImage,
                              const int *dstTile);

/* ---- compositing (compositeType 0 OVER, 1 IN, 2 OUT, 3 ATOP, 4 XOR, 5 PLUS) */
VSK_API void VSK_CALL tvskAlphaComposite(VskImage *srcImageA, VskImage *srcImageB,
                                         VskImage *dstImage, int compositeType,
                                         VskImage *alphaImageA, VskImage *alphaImageB,
                                         VskImage *alphaImageDst, int premulAlpha,
                                         int divideMode, const int *tilePoint);
VSK_API void VSK_CALL tvskAlphaCompositeC(VskImage *srcImageA, VskImage *srcImageB,
                                          VskImage *dstImage, int compositeType, int alphaA,
                                          int alphaB, int premulAlpha, int divideMode,
                                          const int *tilePoint);

/* ---- geometry */
VSK_API void VSK_CALL tvskMirror(VskImage *srcImage, VskImage *dstImage, int flipAxis,
                                 const int *tilePoint);
VSK_API void VSK_CALL tvskZoom(VskImage *srcImage, VskImage *dstImage, int xU, int xL, int yU,
                               int yL, int interpolate, const int *dstTile);
VSK_API void VSK_CALL tvskDecimate(VskImage *srcImage, VskImage *dstImage, int xU, int xL,
                                   int yU, int yL, int interpolate, const int *dstTile);

/* ---- filtering */
VSK_API void VSK_CALL tvskBlur(VskImage *srcImage, VskImage *dstImage, int nRows, int nCols,
                               int anchorX, int anchorY, const int *tilePoint);

/* ---- colour */
VSK_API void VSK_CALL tvskColorToGray(VskImage *srcImage, VskImage *dstImage, int *dstTile);
VSK_API void VSK_CALL tvskGrayToColor(VskImage *srcImage, VskImage *dstImage,
                                      float redFraction, float greenFraction,
                                      float blueFraction, int *dstTile);

/* ---- device-independent bitmaps */
VSK_API VskImage *VSK_CALL tvskTranslateDIB(const BITMAPINFOHEADER *dib, int *cloneData);
VSK_API void VSK_CALL tvskConvertFromDIB(const BITMAPINFOHEADER *dib, VskImage *image);
/* Writes an image into a DIB the caller prepared (same width, positive height
 * equal to the image's). The library cannot see the DIB's size: with
 * stride = ((biWidth * biBitCount + 31) / 32) * 4 and entries = the declared
 * table (biClrUsed, or 2^biBitCount when 0, for 1, 4 and 8 bits; 3 masks for
 * BI_BITFIELDS), prepare 40 + 4 * entries + stride * biHeight bytes for
 * paletteConversion 0 and 1 (a fixed table of 2, 16 or 256 entries replaces a
 * declared table of that size; biClrUsed stays). For paletteConversion 2 on a
 * 1-, 4- or 8-bit DIB prepare 40 + 4 * max(2^biBitCount, entries) +
 * stride * biHeight bytes: up to 2^biBitCount entries are written, biClrUsed is
 * rewritten to their number, and the rows follow at 40 + 4 * biClrUsed, so
 * they move. Bit counts other than 1, 4, 8, 16, 24, 32 are refused before
 * anything is written. */
VSK_API void VSK_CALL tvskConvertToDIB(VskImage *image, BITMAPINFOHEADER *dib, int dither,
                                       int paletteConversion);

#ifdef __cplusplus
}
#endif

#endif /* VSK_H */
