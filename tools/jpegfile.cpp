// JPEG files through libjpeg. Its errors end in a long jump back to the
// function that set the jump point; those functions (readJpeg, writeJpegRows)
// and the call-backs hold only plain data, so nothing is left undestroyed.
#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>
#include <jerror.h>

#include "codecs.hpp"
#include "vsk_internal.h"

namespace vsk::file::detail {

namespace {

// libjpeg hands its call-backs the error manager: it is the first member of
// these records, so the record is found from it.
struct JpegState {
    jpeg_error_mgr errors;
    std::jmp_buf jump;
    char message[kMessageSize];
};

[[noreturn]] void jpegStop(JpegState* s, const char* text) {
    std::snprintf(s->message, kMessageSize, "%s", text);
    std::longjmp(s->jump, 1);
}

[[noreturn]] void jpegFail(j_common_ptr cinfo) {
    char text[JMSG_LENGTH_MAX];
    (*cinfo->err->format_message)(cinfo, text);
    jpegStop(reinterpret_cast<JpegState*>(cinfo->err), text);
}

// Warnings that mean the picture is damaged (cut short, bad entropy-coded
// data) stop the decoder; the rest (stray bytes, odd markers) are let pass.
void jpegWarn(j_common_ptr cinfo, int level) {
    const int code = cinfo->err->msg_code;
    if (level < 0 && (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER ||
                      code == JWRN_HUFF_BAD_CODE || code == JWRN_MUST_RESYNC))
        jpegFail(cinfo);
}

void jpegQuiet(j_common_ptr) {}

// A progressive file may hold any number of scans, each a pass over the
// whole picture: beyond this many the file is refused as hostile.
constexpr int kMaxScans = 500;

void jpegProgress(j_common_ptr cinfo) {
    if (cinfo->is_decompressor &&
        reinterpret_cast<j_decompress_ptr>(cinfo)->input_scan_number > kMaxScans)
        jpegStop(reinterpret_cast<JpegState*>(cinfo->err), "too many scans");
}

void initErrors(JpegState* s) {
    jpeg_std_error(&s->errors);
    s->errors.error_exit = jpegFail;
    s->errors.emit_message = jpegWarn;
    s->errors.output_message = jpegQuiet;
}

// ---- reading -----------------------------------------------------------------------

// The libjpeg records live in these records, not in the function that sets
// the jump point, so they keep their values across the jump.
struct JpegRead {
    JpegState state;  // first
    jpeg_decompress_struct cinfo;
    jpeg_progress_mgr progress;
    const std::uint8_t* data;
    std::size_t size;
    Limits limits;
    char why[kMessageSize];
    VskImage* image;  // owned until handed out
    unsigned width, height;
    int components;
    J_COLOR_SPACE space;
    bool progressive;
};

bool readJpeg(JpegRead* r) {
    jpeg_decompress_struct& cinfo = r->cinfo;
    initErrors(&r->state);
    cinfo.err = &r->state.errors;
    if (setjmp(r->state.jump)) {
        jpeg_destroy_decompress(&cinfo);
        tvskDeallocate(r->image, VSK_FREE_HEADER | VSK_FREE_DATA);
        r->image = nullptr;
        return false;
    }
    jpeg_create_decompress(&cinfo);
    r->progress.progress_monitor = jpegProgress;
    cinfo.progress = &r->progress;
    jpeg_mem_src(&cinfo, r->data, static_cast<unsigned long>(r->size));
    jpeg_read_header(&cinfo, TRUE);
    r->width = cinfo.image_width;
    r->height = cinfo.image_height;
    r->components = cinfo.num_components;
    r->space = cinfo.jpeg_color_space;
    r->progressive = cinfo.progressive_mode;
    if (r->space == JCS_CMYK || r->space == JCS_YCCK)
        jpegStop(&r->state, "CMYK pictures are not supported");
    cinfo.out_color_space = r->space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    const int channels = r->space == JCS_GRAYSCALE ? 1 : 3;
    // The size is checked before libjpeg sets up its own buffers, which it
    // keeps within a few times the picture's bytes.
    r->image = newImage(channels, VSK_8U, cinfo.image_width, cinfo.image_height, r->limits, r->why);
    if (!r->image) jpegStop(&r->state, r->why);
    cinfo.mem->max_memory_to_use =
        static_cast<long>(std::min<std::int64_t>(4 * r->limits.maxBytes + (16 << 20), LONG_MAX));
    jpeg_start_decompress(&cinfo);
    if (cinfo.output_width != cinfo.image_width || cinfo.output_height != cinfo.image_height ||
        cinfo.output_components != channels)
        jpegStop(&r->state, "unexpected output layout");
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = reinterpret_cast<JSAMPROW>(r->image->imageData) +
                       static_cast<std::size_t>(cinfo.output_scanline) * r->image->widthStep;
        if (jpeg_read_scanlines(&cinfo, &row, 1) != 1)
            jpegStop(&r->state, "the file ends too early");
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

std::string describe(const JpegRead& r) {
    const char* space = r.space == JCS_GRAYSCALE ? "grey"
                        : r.space == JCS_YCbCr   ? "YCbCr"
                        : r.space == JCS_RGB     ? "RGB"
                                                 : "other";
    return "JPEG, " + std::to_string(r.width) + " x " + std::to_string(r.height) + ", " +
           std::to_string(r.components) + " component(s) (" + space + "), " +
           (r.progressive ? "progressive" : "baseline");
}

// ---- writing -----------------------------------------------------------------------

struct JpegWrite {
    JpegState state;  // first
    jpeg_compress_struct cinfo;
    std::FILE* out;
    int quality;
    RowSource source;
    std::uint8_t* row;
};

bool writeJpegRows(JpegWrite* w) {
    jpeg_compress_struct& cinfo = w->cinfo;
    initErrors(&w->state);
    cinfo.err = &w->state.errors;
    if (setjmp(w->state.jump)) {
        jpeg_destroy_compress(&cinfo);
        std::free(w->row);
        w->row = nullptr;
        return false;
    }
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, w->out);
    const VskImage* image = w->source.image;
    cinfo.image_width = static_cast<JDIMENSION>(image->width);
    cinfo.image_height = static_cast<JDIMENSION>(image->height);
    cinfo.input_components = w->source.channels;
    cinfo.in_color_space = w->source.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, w->quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    w->row = static_cast<std::uint8_t*>(
        std::malloc(static_cast<std::size_t>(image->width) * w->source.channels));
    if (!w->row) jpegStop(&w->state, "out of memory");
    for (int y = 0; y < image->height; ++y) {
        gatherRow8(w->source, y, w->row);
        JSAMPROW row = w->row;
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    std::free(w->row);
    w->row = nullptr;
    return true;
}

}  // namespace

VskImage* decodeJpeg(const std::uint8_t* data, std::size_t size, const Limits& limits,
                     std::string* description, std::string* error) {
    JpegRead r{};
    r.data = data;
    r.size = size;
    r.limits = limits;
    if (!readJpeg(&r)) {
        if (error) *error = std::string("bad JPEG file: ") + r.state.message;
        return nullptr;
    }
    if (description) *description = describe(r);
    return r.image;
}

bool writeJpeg(const VskImage* image, int quality, std::FILE* out, std::string* error) {
    JpegWrite w{};
    w.out = out;
    w.quality = quality;
    std::string why;
    if (!planRows(image, false, &w.source, &why)) {
        if (error) *error = why + " as JPEG";
        return false;
    }
    if (writeJpegRows(&w)) return true;
    if (error) *error = std::string("cannot write JPEG: ") + w.state.message;
    return false;
}

}  // namespace vsk::file::detail
