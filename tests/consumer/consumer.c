/*
 * A program that uses an installed vsk the way any C program would: strict
 * C99, only the public header and the exported functions. It exits with 0
 * when the library behaves as documented, 1 otherwise.
 */
#include <stdio.h>
#include <string.h>

#include "vsk.h"
#include "vsk_version.h"

static int failures = 0;

static void expect(int ok, const char *what) {
    if (!ok) {
        printf("FAILED: %s\n", what);
        ++failures;
    }
}

int main(void) {
    VskImage *image;
    VskROI *roi;
    int y, x;

    printf("vsk %s (%d.%d.%d)\n", VSK_VERSION_STRING, VSK_VERSION_MAJOR, VSK_VERSION_MINOR,
           VSK_VERSION_PATCH);
#ifdef VSK_PACKAGE_VERSION
    expect(strcmp(VSK_PACKAGE_VERSION, VSK_VERSION_STRING) == 0, "package and header versions");
#endif

    /* An 8-bit 3-channel image of width 5 pads its rows to 16 bytes. */
    image = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", VSK_DATA_ORDER_PIXEL, 0, 4, 2, 5,
                                  NULL, NULL, NULL);
    expect(image != NULL, "header created");
    if (!image) return 1;
    expect(image->headerSize == (int)sizeof(VskImage), "headerSize");
    expect(image->widthStep == 16 && image->dataSize == 32, "row stride and data size");

    tvskAllocateImage(image, 0x1234);
    expect(image->imageData != NULL, "pixel buffer allocated");
    if (image->imageData) {
        for (y = 0; y < image->height; ++y)
            for (x = 0; x < image->widthStep; ++x)
                expect((unsigned char)image->imageData[y * image->widthStep + x] == 0x34,
                       "fill with the low byte");
    }

    roi = tvskCreateROI(2, 1, 1, 1, 3);
    expect(roi != NULL && roi->coi == 2 && roi->height == 1 && roi->width == 3, "ROI record");
    image->roi = roi;

    expect(tvskGetErrStatus() == VSK_STATUS_OK, "no error reported");
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);

    /* A negative width is refused with a null header. */
    expect(tvskCreateImageHeader(1, 0, VSK_8U, "GRAY", "GRAY", 0, 0, 4, 1, -1, NULL, NULL,
                                 NULL) == NULL,
           "negative width refused");

    if (failures) {
        printf("%d check(s) failed\n", failures);
        return 1;
    }
    printf("consumer: all checks passed\n");
    return 0;
}
