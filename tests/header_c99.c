/* The public headers compile as strict C99. */
#include "vsk.h"
#include "vsk_internal.h"

int vsk_header_c99_probe(void) {
    VskImage image;
    VskROI roi = {0, 0, 0, 1, 1};
    image.roi = &roi;
    return (int)sizeof image + image.roi->width + VSK_STATUS_BAD_ARG;
}
