#include "cli.hpp"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "imagefile.hpp"
#include "vsk_internal.h"

namespace vsk::cli {

namespace {

// ---- errors ------------------------------------------------------------------

struct Failure {
    std::string message;
    int status;
};

// A file or an operation failed (exit status 1).
[[noreturn]] void die(const std::string& message) { throw Failure{message, 1}; }
// The command line itself is wrong (exit status 2).
[[noreturn]] void badUsage(const std::string& message) { throw Failure{message, 2}; }

// Library reports are printed as they come.
int VSK_CALL printReport(int status, const char* func, const char* context, const char* file,
                         int line) {
    std::string text = context ? context : "";
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    for (std::size_t p; (p = text.find("\n")) != std::string::npos;) text.replace(p, 1, "; ");
    std::fprintf(stderr, "vsk: library: %s: %s [%s:%d, status %d: %s]\n", func ? func : "?",
                 text.empty() ? "(no details)" : text.c_str(), file ? file : "?", line, status,
                 vskErrorText(status));
    return status;
}

// ---- images ------------------------------------------------------------------

struct ImageDeleter {
    void operator()(VskImage* image) const {
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
    }
};
using Image = std::unique_ptr<VskImage, ImageDeleter>;

Image load(const std::string& path, std::string* description = nullptr) {
    std::string error;
    VskImage* image = vsk::file::load(path, &error, description);
    if (!image) die(error);
    const std::int64_t pixels = static_cast<std::int64_t>(image->width) * image->height;
    if (pixels >= 4'000'000)
        std::fprintf(stderr, "vsk: working on %s (%d x %d)...\n", path.c_str(), image->width,
                     image->height);
    return Image(image);
}

int toInt(const std::string& text, const std::string& what);

// Writes the result into the command's last file, in the format its name asks for.
void save(VskImage* image, const Args& a, const vsk::bmp::SaveOptions& bmp = {}) {
    const std::string& path = a.files.back();
    vsk::file::SaveOptions options;
    options.bmp = bmp;
    if (a.options.count("quality")) options.quality = toInt(a.options.at("quality"), "quality");
    tvskDeallocate(image, VSK_FREE_ROI);  // a file holds the whole image
    const bool alpha = image->alphaChannel || image->nChannels == 2 || image->nChannels == 4;
    if (alpha && vsk::file::formatOfName(path) == vsk::file::Format::Jpeg)
        std::fprintf(stderr, "vsk: note: JPEG has no alpha channel; %s keeps the colours only\n",
                     path.c_str());
    std::string error;
    if (!vsk::file::save(image, path, options, &error)) die(error);
}

// A new image like `like` (layout, origin) with the given channels, depth and size.
Image makeLike(const VskImage* like, int nChannels, unsigned depth, int height, int width,
               const char* model, const char* seq, int alphaChannel = 0) {
    if (height <= 0 || width <= 0)
        die("the result would be empty (" + std::to_string(width) + " x " + std::to_string(height) +
            ")");
    VskImage* image =
        tvskCreateImageHeader(nChannels, alphaChannel, depth, model, seq, like->dataOrder,
                              like->origin, like->align, height, width, nullptr, nullptr, nullptr);
    if (!image)
        die("cannot describe a " + std::to_string(width) + " x " + std::to_string(height) +
            " image");
    tvskAllocateImage(image, 0);
    if (!image->imageData) {
        tvskDeallocate(image, VSK_FREE_HEADER);
        die("out of memory for a " + std::to_string(width) + " x " + std::to_string(height) +
            " image");
    }
    return Image(image);
}

// A copy of an image (same layout and pixels).
Image duplicate(const VskImage* src) {
    Image copy = makeLike(src, src->nChannels, src->depth, src->height, src->width,
                          std::string(src->colorModel, 4).c_str(),
                          std::string(src->channelSeq, 4).c_str(), src->alphaChannel);
    std::memcpy(copy->imageData, src->imageData, static_cast<std::size_t>(src->dataSize));
    return copy;
}

std::string name4(const char* four) {
    std::string s(four, 4);
    s.erase(s.find_last_not_of('\0') + 1);
    return s;
}

// ---- argument parsing -------------------------------------------------------------

int toInt(const std::string& text, const std::string& what) {
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end || errno || v < INT32_MIN || v > UINT32_MAX)
        badUsage("invalid " + what + " '" + text + "' (expected an integer)");
    return static_cast<int>(static_cast<std::int64_t>(v));
}

std::vector<int> toInts(const std::string& text, std::size_t count, const std::string& what,
                        char sep = ',') {
    std::vector<int> out;
    std::size_t start = 0;
    while (true) {
        const std::size_t p = text.find(sep, start);
        out.push_back(toInt(text.substr(start, p == std::string::npos ? p : p - start), what));
        if (p == std::string::npos) break;
        start = p + 1;
    }
    if (out.size() != count)
        badUsage("invalid " + what + " '" + text + "' (expected " + std::to_string(count) +
                 " numbers)");
    return out;
}

std::pair<int, int> factor(const Args& a, const std::string& name, bool enlarge) {
    const auto it = a.options.find(name);
    const std::string text = it == a.options.end() ? "2/1" : it->second;
    const std::size_t slash = text.find('/');
    const int u = toInt(text.substr(0, slash), "factor");
    const int l = slash == std::string::npos ? 1 : toInt(text.substr(slash + 1), "factor");
    if (it == a.options.end() && !enlarge) return {1, 2};
    if (u <= 0 || l <= 0)
        badUsage("invalid factor '" + text + "' (expected U/L with positive U and L)");
    if (enlarge && u < l)
        badUsage("zoom enlarges: the factor " + text + " must be at least 1 (use decimate)");
    if (!enlarge && u > l)
        badUsage("decimate reduces: the factor " + text + " must be at most 1 (use zoom)");
    return {u, l};
}

int interpolation(const Args& a) {
    const auto it = a.options.find("interp");
    if (it == a.options.end()) return VSK_INTER_LINEAR;
    if (it->second == "nn" || it->second == "nearest") return VSK_INTER_NN;
    if (it->second == "linear") return VSK_INTER_LINEAR;
    if (it->second == "cubic") return VSK_INTER_CUBIC;
    badUsage("invalid interpolation '" + it->second + "' (expected nn, linear or cubic)");
}

std::string option(const Args& a, const std::string& name, const std::string& fallback) {
    const auto it = a.options.find(name);
    return it == a.options.end() ? fallback : it->second;
}

// Applies --roi x,y,w,h and --coi n to an image (a ROI is needed for a coi).
void applyRoi(VskImage* image, const Args& a) {
    const bool hasRoi = a.options.count("roi"), hasCoi = a.options.count("coi");
    if (!hasRoi && !hasCoi) return;
    int coi = hasCoi ? toInt(a.options.at("coi"), "channel of interest") : 0;
    if (coi < 0 || coi > image->nChannels)
        die("channel of interest " + std::to_string(coi) + " is outside 1.." +
            std::to_string(image->nChannels));
    std::vector<int> r = {0, 0, image->width, image->height};
    if (hasRoi) r = toInts(a.options.at("roi"), 4, "region (x,y,width,height)");
    if (r[2] <= 0 || r[3] <= 0 || r[0] < 0 || r[1] < 0 || r[0] >= image->width ||
        r[1] >= image->height)
        die("region " + a.options.at("roi") + " does not lie in the " +
            std::to_string(image->width) + " x " + std::to_string(image->height) + " image");
    // Regions count rows from the top of the picture; a bottom-up image keeps
    // the picture's top in its last memory row.
    if (image->origin == 1) {
        const int bottom = std::min(r[1] + r[3], image->height);
        r[3] = bottom - r[1];
        r[1] = image->height - bottom;
    }
    tvskDeallocate(image, VSK_FREE_ROI);
    image->roi = tvskCreateROI(coi, r[0], r[1], r[3], r[2]);
}

// Runs one library call and stops with a message if it reported an error.
void call(const std::string& what, const std::function<void()>& f) {
    vskSetErrStatus(0);
    f();
    if (tvskGetErrStatus() < 0)
        die(what + " failed (status " + std::to_string(tvskGetErrStatus()) + ")");
}

// ---- commands ---------------------------------------------------------------------

// Options that take no value.
const std::set<std::string> kFlags = {"help", "reverse", "premul", "divide", "median"};

// Same-size operations: the result starts as a copy of the input, and the
// operation works inside the region (and channel) of interest.
void unary(const Args& a, const std::string& what,
           const std::function<void(VskImage*, VskImage*)>& op) {
    Image src = load(a.files[0]);
    Image dst = duplicate(src.get());
    applyRoi(src.get(), a);
    applyRoi(dst.get(), a);
    call(what, [&] { op(src.get(), dst.get()); });
    save(dst.get(), a);
}

int infoCommand(const Args& a) {
    std::string description;
    const Image image = load(a.files[0], &description);
    const std::string alpha =
        image->alphaChannel ? ", alpha channel " + std::to_string(image->alphaChannel) : "";
    std::printf("%s: %s\n", a.files[0].c_str(), description.c_str());
    std::printf(
        "image: %d channel(s)%s, depth %d%s, %s order, colour model \"%s\", channels \"%s\", "
        "origin %d, align %d, row stride %d, %d bytes\n",
        image->nChannels, alpha.c_str(), image->depth & 0x7FFFFFFF,
        image->depth & VSK_DEPTH_SIGN ? "s" : "u", image->dataOrder ? "plane" : "pixel",
        name4(image->colorModel).c_str(), name4(image->channelSeq).c_str(), image->origin,
        image->align, image->widthStep, image->dataSize);
    return 0;
}

int copyCommand(const Args& a) {
    Image src = load(a.files[0]);
    applyRoi(src.get(), a);
    const VskROI* roi = src->roi;
    const int w = std::min(roi ? roi->width : src->width, src->width - (roi ? roi->xOffset : 0));
    const int h = std::min(roi ? roi->height : src->height, src->height - (roi ? roi->yOffset : 0));
    const bool one = roi && roi->coi;
    Image dst = makeLike(src.get(), one ? 1 : src->nChannels, src->depth, h, w,
                         one ? "GRAY" : name4(src->colorModel).c_str(),
                         one ? "G" : name4(src->channelSeq).c_str(), one ? 0 : src->alphaChannel);
    call("copy", [&] { tvskCopy(src.get(), dst.get(), nullptr); });
    save(dst.get(), a);
    return 0;
}

int fillCommand(const Args& a) {
    const int v = toInt(option(a, "value", "0"), "value");
    Image img = load(a.files[0]);
    applyRoi(img.get(), a);
    call("fill", [&] { tvskSet(img.get(), v, nullptr); });
    save(img.get(), a);
    return 0;
}

int mirrorCommand(const Args& a) {
    const int axis = toInt(option(a, "axis", "1"), "axis");
    if (axis < -1 || axis > 1)
        badUsage("invalid axis " + std::to_string(axis) + " (expected 0, 1 or -1)");
    unary(a, "mirror", [&](VskImage* s, VskImage* d) { tvskMirror(s, d, axis, nullptr); });
    return 0;
}

// Zoom (enlarge) and decimate: the result has the region's size times the factors.
void scale(const Args& a, bool enlarge) {
    const auto [xu, xl] = factor(a, "x", enlarge);
    const auto [yu, yl] = factor(a, "y", enlarge);
    const int interp = interpolation(a);
    Image src = load(a.files[0]);
    applyRoi(src.get(), a);
    const std::int64_t w = src->roi ? src->roi->width : src->width;
    const std::int64_t h = src->roi ? src->roi->height : src->height;
    const std::int64_t dw = w * xu / xl, dh = h * yu / yl;
    if (dw > 1 << 16 || dh > 1 << 16)
        die("the result would be too large (" + std::to_string(dw) + " x " + std::to_string(dh) +
            ")");
    Image dst =
        makeLike(src.get(), src->nChannels, src->depth, static_cast<int>(dh), static_cast<int>(dw),
                 name4(src->colorModel).c_str(), name4(src->channelSeq).c_str(), src->alphaChannel);
    if (enlarge)
        call("zoom", [&] { tvskZoom(src.get(), dst.get(), xu, xl, yu, yl, interp, nullptr); });
    else
        call("decimate",
             [&] { tvskDecimate(src.get(), dst.get(), xu, xl, yu, yl, interp, nullptr); });
    save(dst.get(), a);
}

int zoomCommand(const Args& a) {
    scale(a, true);
    return 0;
}

int decimateCommand(const Args& a) {
    scale(a, false);
    return 0;
}

int blurCommand(const Args& a) {
    const std::vector<int> size = toInts(option(a, "size", "5x5"), 2, "box size (ROWSxCOLS)", 'x');
    if (size[0] <= 0 || size[1] <= 0) badUsage("the box size must be positive");
    std::vector<int> anchor = {size[1] / 2, size[0] / 2};
    if (a.options.count("anchor")) anchor = toInts(a.options.at("anchor"), 2, "anchor (x,y)");
    const std::string border = option(a, "border", "replicate");
    const std::map<std::string, int> modes = {{"constant", VSK_BORDER_CONSTANT},
                                              {"replicate", VSK_BORDER_REPLICATE},
                                              {"reflect", VSK_BORDER_REFLECT},
                                              {"wrap", VSK_BORDER_WRAP}};
    if (!modes.count(border)) badUsage("invalid border mode '" + border + "'");
    unary(a, "blur", [&](VskImage* s, VskImage* d) {
        vskSetBorderMode(s, modes.at(border), 15, 0);
        tvskBlur(s, d, size[0], size[1], anchor[0], anchor[1], nullptr);
    });
    return 0;
}

int addSCommand(const Args& a) {
    const int v = toInt(option(a, "value", "0"), "value");
    unary(a, "addS", [&](VskImage* s, VskImage* d) { tvskAddS(s, d, v, nullptr); });
    return 0;
}

int subSCommand(const Args& a) {
    const int v = toInt(option(a, "value", "0"), "value");
    const int reverse = a.flags.count("reverse") ? 1 : 0;
    unary(a, "subS", [&](VskImage* s, VskImage* d) { tvskSubtractS(s, d, v, reverse, nullptr); });
    return 0;
}

int andSCommand(const Args& a) {
    const unsigned v = static_cast<unsigned>(toInt(option(a, "value", "0xFFFFFFFF"), "mask"));
    unary(a, "andS", [&](VskImage* s, VskImage* d) { tvskAndS(s, d, v, nullptr); });
    return 0;
}

int andCommand(const Args& a) {
    Image first = load(a.files[0]);
    Image second = load(a.files[1]);
    Image dst = duplicate(first.get());
    applyRoi(first.get(), a);
    applyRoi(second.get(), a);
    applyRoi(dst.get(), a);
    call("and", [&] { tvskAnd(first.get(), second.get(), dst.get(), nullptr); });
    save(dst.get(), a);
    return 0;
}

int compositeCommand(const Args& a) {
    const std::map<std::string, int> ops = {{"over", 0}, {"in", 1},  {"out", 2},
                                            {"atop", 3}, {"xor", 4}, {"plus", 5}};
    const std::string op = option(a, "op", "over");
    if (!ops.count(op)) badUsage("invalid operator '" + op + "'");
    Image first = load(a.files[0]);
    Image second = load(a.files[1]);
    Image dst = duplicate(second.get());
    const int premul = a.flags.count("premul") ? 1 : 0, divide = a.flags.count("divide") ? 1 : 0;
    // Constant alphas when asked for, or when an image has no alpha channel.
    if (a.options.count("alpha-a") || a.options.count("alpha-b") || !first->alphaChannel ||
        !second->alphaChannel) {
        const int alphaA = toInt(option(a, "alpha-a", first->alphaChannel ? "-1" : "255"), "alpha");
        const int alphaB =
            toInt(option(a, "alpha-b", second->alphaChannel ? "-1" : "255"), "alpha");
        call("composite", [&] {
            tvskAlphaCompositeC(first.get(), second.get(), dst.get(), ops.at(op), alphaA, alphaB,
                                premul, divide, nullptr);
        });
    } else {
        call("composite", [&] {
            tvskAlphaComposite(first.get(), second.get(), dst.get(), ops.at(op), nullptr, nullptr,
                               nullptr, premul, divide, nullptr);
        });
    }
    save(dst.get(), a);
    return 0;
}

int grayCommand(const Args& a) {
    Image src = load(a.files[0]);
    Image dst = makeLike(src.get(), 1, src->depth, src->height, src->width, "GRAY", "G");
    call("gray", [&] { tvskColorToGray(src.get(), dst.get(), nullptr); });
    save(dst.get(), a);
    return 0;
}

int colorCommand(const Args& a) {
    float f[3] = {0, 0, 0};
    if (a.options.count("fractions")) {
        const std::string t = a.options.at("fractions");
        if (std::sscanf(t.c_str(), "%f,%f,%f", &f[0], &f[1], &f[2]) != 3)
            badUsage("invalid fractions '" + t + "' (expected R,G,B)");
    }
    Image src = load(a.files[0]);
    if (src->nChannels != 1) die(a.files[0] + " is not a grey image (use gray first)");
    // Red first: the first channel takes the red fraction.
    Image dst = makeLike(src.get(), 3, src->depth, src->height, src->width, "RGB", "RGB");
    call("color", [&] { tvskGrayToColor(src.get(), dst.get(), f[0], f[1], f[2], nullptr); });
    save(dst.get(), a);
    return 0;
}

// A grey 1-bit result (colour input is turned grey first), with optional jitter.
void ditherToOneBit(Image src, const Args& a, int jitter) {
    Image grey;
    if (src->nChannels != 1) {
        grey = makeLike(src.get(), 1, VSK_8U, src->height, src->width, "GRAY", "G");
        call("gray", [&] { tvskColorToGray(src.get(), grey.get(), nullptr); });
    } else {
        grey = std::move(src);
    }
    Image dst = makeLike(grey.get(), 1, VSK_1U, grey->height, grey->width, "GRAY", "G");
    call("dither", [&] { vskReduceBits(grey.get(), dst.get(), jitter, 1, 0, nullptr); });
    save(dst.get(), a);
}

// An 8-bit plane-order image like `src` with the given depth.
Image planarLike(const VskImage* src, unsigned depth) {
    VskImage* image =
        tvskCreateImageHeader(src->nChannels, src->alphaChannel, depth, src->colorModel,
                              src->channelSeq, VSK_DATA_ORDER_PLANE, src->origin, src->align,
                              src->height, src->width, nullptr, nullptr, nullptr);
    if (image) tvskAllocateImage(image, 0);
    if (!image || !image->imageData) {
        tvskDeallocate(image, VSK_FREE_HEADER);
        die("out of memory");
    }
    return Image(image);
}

// Widens the 8-bit input to 16 bits (v x 257 maps 0..255 onto 0..65535) into
// plane order, where the dither filters see whole rows of every channel, and
// reduces it back with the dither filter.
void ditherToEightBits(const Image& src, const Args& a, int jitter, int type, int levels) {
    const int ch = src->nChannels;
    Image wide = planarLike(src.get(), VSK_16U);
    Image dst = planarLike(src.get(), VSK_8U);
    const std::int64_t s8 = src->widthStep, s16 = wide->widthStep;
    for (int c = 0; c < ch; ++c)
        for (int y = 0; y < src->height; ++y) {
            auto* out = reinterpret_cast<std::uint16_t*>(
                wide->imageData + (static_cast<std::int64_t>(c) * src->height + y) * s16);
            for (int x = 0; x < src->width; ++x) {
                const std::int64_t at =
                    src->dataOrder == VSK_DATA_ORDER_PLANE
                        ? (static_cast<std::int64_t>(c) * src->height + y) * s8 + x
                        : y * s8 + static_cast<std::int64_t>(x) * ch + c;
                out[x] =
                    static_cast<std::uint16_t>(static_cast<std::uint8_t>(src->imageData[at]) * 257);
            }
        }
    call("dither", [&] { vskReduceBits(wide.get(), dst.get(), jitter, type, levels, nullptr); });
    save(dst.get(), a);
}

int ditherCommand(const Args& a) {
    const int bits = toInt(option(a, "bits", "1"), "bits");
    if (bits != 1 && bits != 8) badUsage("--bits must be 1 or 8");
    const std::map<std::string, int> types = {
        {"none", 1}, {"fs", 2}, {"jjn", 4}, {"stucki", 8}, {"ordered", 16}};
    const std::string type = option(a, "type", bits == 1 ? "none" : "fs");
    if (!types.count(type)) badUsage("invalid dither type '" + type + "'");
    if (bits == 1 && types.at(type) != 1)
        badUsage("1-bit results take no dither filter (use --jitter)");
    const int levels = toInt(option(a, "levels", "2"), "levels");
    const int jitter = toInt(option(a, "jitter", "0"), "jitter");
    if (jitter < 0 || jitter > 8) badUsage("jitter must be 0..8");
    Image src = load(a.files[0]);
    if (src->depth != VSK_8U) die(a.files[0] + " is not an 8-bit image");
    if (bits == 1)
        ditherToOneBit(std::move(src), a, jitter);
    else
        ditherToEightBits(src, a, jitter, types.at(type), levels);
    return 0;
}

int paletteCommand(const Args& a) {
    const int colors = toInt(option(a, "colors", "256"), "colour count");
    const int bits = colors == 2 ? 1 : colors == 16 ? 4 : colors == 256 ? 8 : 0;
    if (!bits) badUsage("--colors must be 2, 16 or 256");
    Image src = load(a.files[0]);
    vsk::bmp::SaveOptions options;
    options.bitCount = bits;
    options.paletteConversion = a.flags.count("median") ? 2 : 1;
    save(src.get(), a, options);
    return 0;
}

int demoCommand(const Args& a) { return demo(a.files.empty() ? "vsk-demo" : a.files[0]); }

struct Command {
    const char* name;
    int inputs;   // input files before the output file
    int outputs;  // output files
    const char* usage;
    const char* help;
    std::vector<const char*> options;  // accepted options (those in kFlags take no value)
    int (*run)(const Args&);
    bool optionalOutput = false;  // the demo's directory may be left out
};

const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {"info", 1, 0, "vsk info FILE",
         "Describes an image file and the image the library makes of it.",
         {}, infoCommand},
        {"copy", 1, 1, "vsk copy IN OUT [--roi x,y,w,h] [--coi N]",
         "Copies the region (or one channel) of IN into a new image of the region's size.",
         {"--roi", "--coi"}, copyCommand},
        {"fill", 1, 1, "vsk fill IN OUT --value V [--roi x,y,w,h] [--coi N]",
         "Fills the region (or one channel) with a value, saturated to the depth.",
         {"--value", "--roi", "--coi"}, fillCommand},
        {"mirror", 1, 1, "vsk mirror IN OUT [--axis 0|1|-1] [--roi x,y,w,h] [--coi N]",
         "Flips about the horizontal axis (0: top row to bottom), the vertical axis (1) or "
         "both (-1).",
         {"--axis", "--roi", "--coi"}, mirrorCommand},
        {"zoom", 1, 1,
         "vsk zoom IN OUT [--x U/L] [--y U/L] [--interp nn|linear|cubic] [--roi x,y,w,h]",
         "Enlarges by the factors U/L (at least 1; default 2/1) with the chosen "
         "interpolation (default linear).",
         {"--x", "--y", "--interp", "--roi", "--coi"}, zoomCommand},
        {"decimate", 1, 1,
         "vsk decimate IN OUT [--x U/L] [--y U/L] [--interp nn|linear|cubic] "
         "[--roi x,y,w,h]",
         "Reduces by the factors U/L (at most 1; default 1/2) with the chosen interpolation "
         "(default linear).",
         {"--x", "--y", "--interp", "--roi", "--coi"}, decimateCommand},
        {"blur", 1, 1,
         "vsk blur IN OUT [--size ROWSxCOLS] [--anchor x,y] "
         "[--border constant|replicate|reflect|wrap] [--roi ...] [--coi N]",
         "Replaces each pixel by the mean of a box (default 5x5, anchored at its centre); "
         "pixels beyond the edges follow the border mode (default replicate).",
         {"--size", "--anchor", "--border", "--roi", "--coi"}, blurCommand},
        {"addS", 1, 1, "vsk addS IN OUT --value V [--roi x,y,w,h] [--coi N]",
         "Adds a constant with saturation.",
         {"--value", "--roi", "--coi"}, addSCommand},
        {"subS", 1, 1, "vsk subS IN OUT --value V [--reverse] [--roi x,y,w,h] [--coi N]",
         "Subtracts a constant with saturation (--reverse: the constant minus each sample).",
         {"--value", "--reverse", "--roi", "--coi"}, subSCommand},
        {"andS", 1, 1, "vsk andS IN OUT --value MASK [--roi x,y,w,h] [--coi N]",
         "ANDs every sample with a mask (decimal or 0x hex).",
         {"--value", "--roi", "--coi"}, andSCommand},
        {"and", 2, 1, "vsk and A B OUT [--roi x,y,w,h]",
         "ANDs two images of the same layout sample by sample.",
         {"--roi", "--coi"}, andCommand},
        {"composite", 2, 1,
         "vsk composite A B OUT [--op over|in|out|atop|xor|plus] [--alpha-a V] "
         "[--alpha-b V] [--premul] [--divide]",
         "Composes A with B. Alphas come from the images' alpha channels, or are constants "
         "given with --alpha-a/--alpha-b (0..255 at 8 bits).",
         {"--op", "--alpha-a", "--alpha-b", "--premul", "--divide"}, compositeCommand},
        {"gray", 1, 1, "vsk gray IN OUT",
         "Turns a colour image grey (luminance weights).",
         {}, grayCommand},
        {"color", 1, 1, "vsk color IN OUT [--fractions R,G,B]",
         "Spreads a grey image into three colour channels, each the grey value times its "
         "fraction (default: the luminance weights).",
         {"--fractions"}, colorCommand},
        {"dither", 1, 1,
         "vsk dither IN OUT [--bits 1|8] [--type none|fs|jjn|stucki|ordered] [--levels N] "
         "[--jitter 0..8]",
         "Reduces bits. --bits 1 (default): a grey 1-bit image (colour input is turned grey "
         "first), with optional jitter. --bits 8: the 8-bit input is widened to 16 bits and "
         "reduced back with the dither filter, re-quantised to 2^levels levels per channel "
         "(default fs, levels 2).",
         {"--bits", "--type", "--levels", "--jitter"}, ditherCommand},
        {"palette", 1, 1, "vsk palette IN OUT [--colors 2|16|256] [--median]",
         "Writes a BMP or PNG file with a colour table: the fixed table of that size, or "
         "(--median) a median-cut table built from the image; each pixel takes the nearest "
         "entry.",
         {"--colors", "--median"}, paletteCommand},
        {"demo", 0, 1, "vsk demo [DIR]",
         "Draws a test card, runs a tour of the commands on it and writes the results and an "
         "index.html contact sheet into DIR (default vsk-demo).",
         {}, demoCommand, true},
    };
    return table;
}

// The file formats of this build, for the usage text.
std::string formats() {
    using vsk::file::Format;
    const bool png = vsk::file::available(Format::Png), jpeg = vsk::file::available(Format::Jpeg);
    std::string text =
        std::string("files: BMP") + (png ? ", PNG" : "") + (jpeg ? ", JPEG" : "") +
        ", read by their signature and written by the output's extension\n       (.bmp" +
        (png ? ", .png" : "") + (jpeg ? ", .jpg" : "") + ")";
    if (jpeg) text += "; --quality 1..100 sets a JPEG's quality (default 90)";
    if (!png || !jpeg)
        text += std::string("\n       ") +
                (png    ? "JPEG is"
                 : jpeg ? "PNG is"
                        : "PNG and JPEG are") +
                " not available in this build";
    return text;
}

void usage() {
    std::fprintf(stderr,
                 "usage: vsk COMMAND ARGS... (vsk COMMAND --help for details)\n"
                 "       vsk demo [DIR]   draw a test card, run a tour of the commands, write "
                 "DIR/index.html\n\ncommands:\n");
    for (const Command& c : commands())
        if (std::strcmp(c.name, "demo") != 0) std::fprintf(stderr, "  %s\n", c.usage);
    std::fprintf(stderr, "\n%s\n", formats().c_str());
}

const Command* find(const std::string& name) {
    for (const Command& c : commands())
        if (name == c.name) return &c;
    return nullptr;
}

// Splits the words after the command into files, options and flags.
Args parse(const Command& cmd, const std::vector<std::string>& argv) {
    Args a;
    for (std::size_t i = 1; i < argv.size(); ++i) {
        const std::string& t = argv[i];
        if (t == "-h") {
            a.flags.insert("help");
        } else if (t.rfind("--", 0) == 0 && t.size() > 2) {
            std::string name = t.substr(2), value;
            const std::size_t eq = name.find('=');
            if (eq != std::string::npos) {
                value = name.substr(eq + 1);
                name = name.substr(0, eq);
            }
            // Every command that writes an image file takes --quality.
            bool known =
                name == "help" || (name == "quality" && cmd.outputs && !cmd.optionalOutput);
            for (const char* o : cmd.options) known |= name == o + 2;
            if (known && kFlags.count(name)) {
                a.flags.insert(name);
                continue;
            }
            if (!known)
                badUsage(std::string(cmd.name) + ": unknown option --" + name + " (see vsk " +
                         cmd.name + " --help)");
            if (eq == std::string::npos) {
                if (i + 1 >= argv.size())
                    badUsage(std::string(cmd.name) + ": option --" + name + " needs a value");
                value = argv[++i];
            }
            a.options[name] = value;
        } else {
            a.files.push_back(t);
        }
    }
    return a;
}

}  // namespace

int run(const std::vector<std::string>& argv) {
    if (argv.empty() || argv[0] == "--help" || argv[0] == "-h" || argv[0] == "help") {
        usage();
        return argv.empty() ? 2 : 0;
    }
    vskSetErrorHandler(printReport);
    try {
        const Command* cmd = find(argv[0]);
        if (!cmd) {
            std::fprintf(stderr, "vsk: unknown command '%s'\n", argv[0].c_str());
            usage();
            return 2;
        }
        const Args a = parse(*cmd, argv);
        if (a.flags.count("help")) {
            std::printf("%s\n%s\n", cmd->usage, cmd->help);
            return 0;
        }
        const int files = static_cast<int>(a.files.size()), expected = cmd->inputs + cmd->outputs;
        if (files != expected && !(cmd->optionalOutput && files == expected - 1)) {
            std::fprintf(stderr, "vsk: %s: expected %s%d file(s)\nusage: %s\n", cmd->name,
                         cmd->optionalOutput ? "at most " : "", expected, cmd->usage);
            return 2;
        }
        if (a.options.count("quality")) {
            const int quality = toInt(a.options.at("quality"), "quality");
            if (quality < 1 || quality > 100) badUsage("--quality must be 1..100");
            if (vsk::file::formatOfName(a.files.back()) != vsk::file::Format::Jpeg)
                badUsage("--quality applies to JPEG files only");
        }
        return cmd->run(a);
    } catch (const Failure& f) {
        std::fprintf(stderr, "vsk: %s: %s\n", argv[0].c_str(), f.message.c_str());
        return f.status;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "vsk: %s: out of memory\n", argv[0].c_str());
        return 1;
    }
}

}  // namespace vsk::cli
