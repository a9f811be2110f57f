/*
 * A first tour of vsk: create images, fill and validate them, provoke one
 * error report and print what was reported.
 */
#include <stdio.h>
#include <string.h>

#include "vsk.h"
#include "vsk_internal.h"

static int reported = 0;

/* An error handler that prints the report instead of showing a message box. */
static int VSK_CALL printReport(int status, const char *funcName, const char *context,
                                const char *file, int line) {
    ++reported;
    printf("reported: status %d (%s) in %s [%s:%d]\n%s\n", status, vskErrorText(status),
           funcName ? funcName : "?", file ? file : "?", line, context ? context : "");
    return status;
}

static void describe(const char *name, const VskImage *image) {
    unsigned mask = vskBadImageHeader(image);
    printf("%-6s %dx%d, %d channel(s), depth %u, widthStep %d, dataSize %d: %s\n", name,
           image->width, image->height, image->nChannels, image->depth & 0x7FFFFFFFu,
           image->widthStep, image->dataSize, mask ? "INVALID" : "valid");
    if (mask) {
        char *text = vskHeaderErrorText(mask);
        printf("%s", text);
        vskFreeAligned(text);
    }
}

int main(void) {
    const VskLibVersion *v = vskGetVersionRecord();
    VskImage *rgb, *gray, *broken;
    VskROI *roi;

    printf("vsk %d.%d.%d (%s)\n\n", v->major, v->minor, v->build, v->version);

    /* An 8-bit RGB image in pixel order, filled with 200. */
    rgb = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", VSK_DATA_ORDER_PIXEL, 0, 4, 48,
                                64, NULL, NULL, NULL);
    tvskAllocateImage(rgb, 200);
    describe("rgb", rgb);

    /* A 16-bit grey image in plane order, filled with 1000, with a ROI. */
    roi = tvskCreateROI(0, 8, 8, 16, 16);
    gray = tvskCreateImageHeader(1, 0, VSK_16U, "GRAY", "GRAY", VSK_DATA_ORDER_PLANE, 0, 8, 48,
                                 64, roi, NULL, NULL);
    tvskAllocateImage(gray, 1000);
    describe("gray", gray);
    printf("first sample of gray: %u\n\n", ((unsigned short *)gray->imageData)[0]);

    /* A header without pixel data: validation lists what is wrong. */
    broken = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", VSK_DATA_ORDER_PIXEL, 0, 4, 48,
                                   64, NULL, NULL, NULL);
    describe("broken", broken);

    /* Copying into it is refused and reported through the error handler. */
    vskSetErrorHandler(printReport);
    tvskCopy(rgb, broken, NULL);
    printf("\nreports: %d, tvskGetErrStatus() = %d\n", reported, tvskGetErrStatus());

    tvskDeallocate(broken, VSK_FREE_HEADER);
    tvskDeallocate(gray, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
    tvskDeallocate(rgb, VSK_FREE_HEADER | VSK_FREE_DATA);
    return 0;
}
