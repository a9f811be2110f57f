// Alpha compositing with alpha images or constant alphas, premultiplication
// and scaled multiplication: argument checks, where each alpha comes from,
// and the hand-over to the block engine and the drivers.
#include <algorithm>

#include "alpha_drivers.hpp"

namespace {

using vsk::Site;
using vsk::alpha::BlockLines;
using vsk::alpha::BlockSet;
using vsk::alpha::CompositeCall;
using vsk::alpha::Extent;
using vsk::alpha::Layout;
using vsk::alpha::layoutOf;

constexpr const char* kFile = "vskalpha";
const Site kComposite{"vskAlphaComposite", kFile};
const Site kCompositeC{"vskAlphaCompositeC", kFile};
const Site kPreMultiply{"vskPreMultiplyAlpha", kFile};
const Site kMultiply{"vskMultiplyScale", kFile};
const Site kMultiplyS{"vskMultiplySScale", kFile};

// ---- checks ------------------------------------------------------------------

// The per-image check run; an image that passes adds its size to the
// common size.
bool failsRun(const VskImage* image, const char* name, const Site& site, int line,
              Extent& size) {
    if (vsk::failsImageChecks(image, name, site, line)) return true;
    size.fold(image);
    return false;
}

// The condition texts about one source image, for each parameter name.
struct SourceTexts {
    const char* coiWithoutDstRoi;
    const char* dstCoiWithoutRoi;
    const char* dstCoiWithoutCoi;
    const char* alphaBelowOne;
    const char* alphaAboveChannels;
    const char* alphaNotLast;
    const char* colourCount;
    const char* channelCount;
    const char* depth;
};

#define VSK_SOURCE_TEXTS(n)                                                                  \
    {                                                                                        \
        n "->roi->coi > 0 && dstImage->roi == 0", "dstImage->roi->coi > 0 && " n "->roi == 0", \
            "dstImage->roi->coi > 0 && " n "->roi->coi == 0", n "->alphaChannel < 1",        \
            n "->alphaChannel > " n "->nChannels",                                           \
            n "->alphaChannel > 0 && " n "->alphaChannel != " n "->nChannels",               \
            "(" n "->nChannels - (" n "->alphaChannel != 0)) != (dstImage->nChannels - "     \
                  "(dstImage->alphaChannel != 0))",                                          \
            n "->nChannels != dstImage->nChannels", n "->depth != dstImage->depth"           \
    }

const SourceTexts kSrcA = VSK_SOURCE_TEXTS("srcImageA");
const SourceTexts kSrcB = VSK_SOURCE_TEXTS("srcImageB");
const SourceTexts kSrc = VSK_SOURCE_TEXTS("srcImage");
const SourceTexts kDst = VSK_SOURCE_TEXTS("dstImage");
const SourceTexts kAlphaA = VSK_SOURCE_TEXTS("alphaImageA");
const SourceTexts kAlphaB = VSK_SOURCE_TEXTS("alphaImageB");
const SourceTexts kAlphaDst = VSK_SOURCE_TEXTS("alphaImageDst");
const SourceTexts kImage = VSK_SOURCE_TEXTS("image");

#undef VSK_SOURCE_TEXTS

// The checks below list their rows in the order they run; rows about one
// image share its line.

bool alphaNotLast(const VskImage* image) {
    return image->alphaChannel > 0 && image->alphaChannel != image->nChannels;
}

// The image's alpha channel must exist.
bool failsAlphaChannel(const VskImage* image, const SourceTexts& t, const Site& site, int line) {
    return vsk::reportFirst(site, {{image->alphaChannel < 1, line, t.alphaBelowOne},
                                   {image->alphaChannel > image->nChannels, line,
                                    t.alphaAboveChannels}});
}

// A channel of interest on one side needs one on the other.
bool failsCoiAgreement(const VskImage* src, const VskImage* dst, const SourceTexts& t,
                       const Site& site, int line) {
    const bool dstCoi = dst->roi && dst->roi->coi > 0;
    return vsk::reportFirst(
        site, {{!dst->roi && src->roi && src->roi->coi > 0, line, t.coiWithoutDstRoi},
               {dstCoi && !src->roi, line, t.dstCoiWithoutRoi},
               {dstCoi && src->roi && src->roi->coi == 0, line, t.dstCoiWithoutCoi}});
}

bool allChannels(const VskImage* dst) { return vsk::roiCoi(dst) == 0; }

int colourChannels(const VskImage* image) {
    return image->nChannels - (image->alphaChannel != 0);
}

// Channels of interest, alpha channels last, and equal colour channel counts
// when all channels are processed.
bool failsChannelAgreement(const VskImage* a, const VskImage* b, const VskImage* dst,
                           const Site& site, int line) {
    const bool all = allChannels(dst);
    return failsCoiAgreement(a, dst, kSrcA, site, line) ||
           failsCoiAgreement(b, dst, kSrcB, site, line) ||
           vsk::reportFirst(
               site, {{alphaNotLast(a), line, kSrcA.alphaNotLast},
                      {alphaNotLast(b), line, kSrcB.alphaNotLast},
                      {alphaNotLast(dst), line, kDst.alphaNotLast},
                      {all && colourChannels(a) != colourChannels(dst), line, kSrcA.colourCount},
                      {all && colourChannels(b) != colourChannels(dst), line, kSrcB.colourCount}});
}

// The checks that open every operation on three images: the image runs of
// the destination, A and B, then their depths, at six consecutive lines.
bool failsImages(const VskImage* a, const VskImage* b, const VskImage* dst, const Site& site,
                 int line, Extent& size) {
    return failsRun(dst, "dstImage", site, line, size) ||
           failsRun(a, "srcImageA", site, line + 1, size) ||
           failsRun(b, "srcImageB", site, line + 2, size) ||
           vsk::reportFirst(site, {{dst->depth != 8 && dst->depth != 16, line + 3,
                                    "dstImage->depth != 8 && dstImage->depth != 16"},
                                   {a->depth != dst->depth, line + 4, kSrcA.depth},
                                   {b->depth != dst->depth, line + 5, kSrcB.depth}});
}

bool failsOptions(int compositeType, int premulAlpha, int divideMode, const Site& site,
                  int line) {
    return vsk::reportFirst(
        site, {{compositeType != 0 && compositeType != 1 && compositeType != 2 &&
                    compositeType != 3 && compositeType != 4 && compositeType != 5,
                line,
                "compositeType != 0 && compositeType != 1 && compositeType != 2 && "
                "compositeType != 3 && compositeType != 4 && compositeType != 5"},
               {premulAlpha != 0 && premulAlpha != 1, line + 1,
                "premulAlpha != 0 && premulAlpha != 1"},
               {divideMode != 0 && divideMode != 1, line + 2,
                "divideMode != 0 && divideMode != 1"}});
}

// ---- compositing plans -----------------------------------------------------------

// An alpha source or target: a channel of the image in a block slot.
struct Channel {
    int slot = -1;  // -1: none (a constant, or no target)
    int channel = 0;
};

// What one compositing call does, in terms of block slots; turned into a
// driver call for every block.
struct Plan {
    BlockSet set;
    int dst = 0, a = 0, b = 0;
    Channel alphaA, alphaB, target;
    CompositeCall call;  // options, channel count and flags; layouts filled per block
    int dstFirst = 0, aFirst = 0, bFirst = 0;

    // Colour channels: every channel but the destination's alpha channel, or
    // the channel of interest of each image. A channel of interest that is
    // the destination's alpha channel leaves no colour to compose, as the
    // colour pass never writes the alpha channel.
    void chooseChannels(const VskImage* srcA, const VskImage* srcB, const VskImage* dstImage) {
        const int coi = vsk::roiCoi(dstImage);
        if (coi == 0) {
            call.colours = colourChannels(dstImage);
            return;
        }
        call.colours = coi == dstImage->alphaChannel ? 0 : 1;
        dstFirst = coi - 1;
        aFirst = vsk::roiCoi(srcA) - 1;
        bFirst = vsk::roiCoi(srcB) - 1;
    }

    CompositeCall callFor(VskImage* const* images, int rows, int cols) const {
        CompositeCall c = call;
        c.rows = rows;
        c.cols = cols;
        c.dst = layoutOf(images[dst]).from(dstFirst);
        c.a = layoutOf(images[a]).from(aFirst);
        c.b = layoutOf(images[b]).from(bFirst);
        auto place = [&](const Channel& ch) {
            return ch.slot < 0 ? Layout{} : layoutOf(images[ch.slot]).only(ch.channel);
        };
        c.alphaA = place(alphaA);
        c.alphaB = place(alphaB);
        c.target = place(target);
        return c;
    }
};

// The alpha channel of a separate alpha image: its own, or the first.
int alphaImageChannel(const VskImage* image) {
    return image->alphaChannel > 0 ? image->alphaChannel - 1 : 0;
}

bool planeOrder(const VskImage* image) { return image->dataOrder == VSK_DATA_ORDER_PLANE; }

bool interleavedRgba(const VskImage* image) {
    return !planeOrder(image) && image->nChannels == 4 && image->alphaChannel == 4;
}

void runPlan(const Plan& plan, const Extent& size, const int* tilePoint, const Site& site,
             const BlockLines& lines, void (*run)(const CompositeCall&)) {
    vsk::alpha::runBlocks(plan.set, size, tilePoint, site, lines,
                          [&](VskImage* const* images, int rows, int cols) {
                              run(plan.callFor(images, rows, cols));
                          });
}

// ---- scaled multiplication ---------------------------------------------------------

// Multiplies the processed samples of x by those of y into d (d may be x),
// y being an image or, when null, the constant `value`: every channel, or
// the channel of interest of each image. Interleaved images (with equal
// channel counts) are taken as one run of width x channels samples per row.
vsk::alpha::MultiplyCall multiplyCall(VskImage* x, VskImage* y, const Layout& value, VskImage* d,
                                      int rows, int cols) {
    vsk::alpha::MultiplyCall m;
    m.bits = vsk::depthBits(d->depth);
    m.rows = rows;
    m.cols = cols;
    m.x = layoutOf(x);
    m.y = y ? layoutOf(y) : value;
    m.d = layoutOf(d);
    m.channels = d->nChannels;
    if (!allChannels(d)) {
        m.channels = 1;
        m.x = m.x.from(vsk::roiCoi(x) - 1);
        if (y) m.y = m.y.from(vsk::roiCoi(y) - 1);
        m.d = m.d.from(vsk::roiCoi(d) - 1);
    } else if (!planeOrder(x) && !planeOrder(d) && !(y && planeOrder(y))) {
        m.cols *= d->nChannels;
        m.channels = 1;
        m.x.step = m.d.step = 1;
        if (y) m.y.step = 1;
    }
    return m;
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskAlphaComposite(VskImage* srcImageA, VskImage* srcImageB,
                                         VskImage* dstImage, int compositeType,
                                         VskImage* alphaImageA, VskImage* alphaImageB,
                                         VskImage* alphaImageDst, int premulAlpha,
                                         int divideMode, const int* tilePoint) {
    const Site& s = kComposite;
    Extent size;
    if (failsImages(srcImageA, srcImageB, dstImage, s, 1146, size)) return;
    if (!alphaImageA) {
        if (failsAlphaChannel(srcImageA, kSrcA, s, 1158)) return;
    } else if (failsRun(alphaImageA, "alphaImageA", s, 1153, size) ||
               vsk::reportFirst(s,
                                {{alphaImageA->depth != dstImage->depth, 1154, kAlphaA.depth}})) {
        return;
    }
    if (alphaImageB) {
        if (failsRun(alphaImageB, "alphaImageB", s, 1162, size) ||
            vsk::reportFirst(s, {{alphaImageB->depth != dstImage->depth, 1163, kAlphaB.depth}}))
            return;
    } else if (!alphaImageA && failsAlphaChannel(srcImageB, kSrcB, s, 1169)) {
        return;
    }
    if (alphaImageDst &&
        (failsRun(alphaImageDst, "alphaImageDst", s, 1173, size) ||
         vsk::reportFirst(s, {{alphaImageDst->depth != dstImage->depth, 1174, kAlphaDst.depth}}) ||
         failsAlphaChannel(alphaImageDst, kAlphaDst, s, 1175)))
        return;
    if (failsChannelAgreement(srcImageA, srcImageB, dstImage, s, 1180) ||
        failsOptions(compositeType, premulAlpha, divideMode, s, 1181))
        return;

    // Where the alphas come from and where the result alpha goes; the result
    // alpha is written only where there is a place for it.
    Plan plan;
    VskImage* targetImage = alphaImageDst ? alphaImageDst
                            : dstImage->alphaChannel ? dstImage
                                                     : nullptr;
    plan.dst = plan.set.add(dstImage, VSK_TILE_WRITE);
    if (targetImage)
        plan.target = {plan.set.add(targetImage, VSK_TILE_WRITE), targetImage->alphaChannel - 1};
    plan.a = plan.set.add(srcImageA, VSK_TILE_READ);
    plan.b = plan.set.add(srcImageB, VSK_TILE_READ);
    plan.alphaA = alphaImageA
                      ? Channel{plan.set.add(alphaImageA, VSK_TILE_READ),
                                alphaImageChannel(alphaImageA)}
                      : Channel{plan.a, srcImageA->alphaChannel - 1};
    if (alphaImageB)
        plan.alphaB = {plan.set.add(alphaImageB, VSK_TILE_READ), alphaImageChannel(alphaImageB)};
    else if (!alphaImageA)
        plan.alphaB = {plan.b, srcImageB->alphaChannel - 1};

    CompositeCall& c = plan.call;
    c.op = compositeType;
    c.bits = vsk::depthBits(dstImage->depth);
    c.premul = premulAlpha != 0;
    c.divide = divideMode != 0;
    c.hasB = plan.alphaB.slot >= 0;
    c.hasTarget = targetImage != nullptr;
    plan.chooseChannels(srcImageA, srcImageB, dstImage);
    c.allPlane = planeOrder(dstImage) && planeOrder(srcImageA) && planeOrder(srcImageB) &&
                 (!alphaImageA || planeOrder(alphaImageA)) &&
                 (!alphaImageB || planeOrder(alphaImageB)) &&
                 (!targetImage || planeOrder(targetImage));
    c.rgba = allChannels(dstImage) && targetImage == dstImage &&
             !alphaImageA && !alphaImageB && interleavedRgba(dstImage) &&
             interleavedRgba(srcImageA) && interleavedRgba(srcImageB);
    runPlan(plan, size, tilePoint, s, {1257, 1293, 1306}, vsk::alpha::composite);
}

VSK_API void VSK_CALL tvskAlphaCompositeC(VskImage* srcImageA, VskImage* srcImageB,
                                          VskImage* dstImage, int compositeType, int alphaA,
                                          int alphaB, int premulAlpha, int divideMode,
                                          const int* tilePoint) {
    const Site& s = kCompositeC;
    Extent size;
    if (failsImages(srcImageA, srcImageB, dstImage, s, 981, size) ||
        (alphaA < 0 && failsAlphaChannel(srcImageA, kSrcA, s, 987)) ||
        (alphaB < 0 && failsAlphaChannel(srcImageB, kSrcB, s, 988)) ||
        failsChannelAgreement(srcImageA, srcImageB, dstImage, s, 989) ||
        failsOptions(compositeType, premulAlpha, divideMode, s, 990))
        return;

    Plan plan;
    plan.dst = plan.set.add(dstImage, VSK_TILE_WRITE);
    plan.a = plan.set.add(srcImageA, VSK_TILE_READ);
    plan.b = plan.set.add(srcImageB, VSK_TILE_READ);
    if (alphaA < 0) plan.alphaA = {plan.a, srcImageA->alphaChannel - 1};
    if (alphaB < 0) plan.alphaB = {plan.b, srcImageB->alphaChannel - 1};
    CompositeCall& c = plan.call;
    c.op = compositeType;
    c.bits = vsk::depthBits(dstImage->depth);
    c.premul = premulAlpha != 0;
    c.divide = divideMode != 0;
    c.constA = alphaA;
    c.constB = alphaB;
    plan.chooseChannels(srcImageA, srcImageB, dstImage);
    runPlan(plan, size, tilePoint, s, {1043, 1065, 1078}, vsk::alpha::compositeConstant);
}

void VSK_CALL vskPreMultiplyAlpha(VskImage* image, int alpha, const int* tilePoint) {
    const Site& s = kPreMultiply;
    Extent size;
    if (failsRun(image, "image", s, 856, size) ||
        vsk::reportFirst(s, {{image->depth != 8 && image->depth != 16, 857,
                              "image->depth != 8 && image->depth != 16"},
                             {alphaNotLast(image), 858, kImage.alphaNotLast},
                             {alpha < 0 && image->alphaChannel < 1, 859, kImage.alphaBelowOne},
                             {alpha < 0 && image->alphaChannel > image->nChannels, 859,
                              kImage.alphaAboveChannels}}))
        return;

    const int bits = vsk::depthBits(image->depth);
    const int alphaIndex = image->alphaChannel - 1;  // -1 without alpha channel
    // The constant, limited to the sample maximum, as a sample of the depth.
    const int limited = std::min(alpha, bits == 8 ? 255 : 65535);
    const std::uint8_t value8 = static_cast<std::uint8_t>(limited);
    const std::uint16_t value16 = static_cast<std::uint16_t>(limited);
    const Layout constant =
        vsk::alpha::constantLayout(bits == 8 ? static_cast<const void*>(&value8) : &value16);
    BlockSet set;
    set.add(image, VSK_TILE_WRITE);
    vsk::alpha::runBlocks(set, size, tilePoint, s, {899, 915, 924},
                          [&](VskImage* const* images, int rows, int cols) {
                              const Layout own = layoutOf(images[0]);
                              vsk::alpha::MultiplyCall m;
                              m.bits = bits;
                              m.rows = rows;
                              m.cols = cols;
                              m.channels = colourChannels(images[0]);
                              m.x = m.d = own;
                              m.y = alpha < 0 ? own.only(alphaIndex) : constant;
                              vsk::alpha::multiply(m);
                              if (alpha >= 0 && alphaIndex >= 0)
                                  vsk::alpha::fill(bits, own.only(alphaIndex), constant, rows,
                                                   cols);
                          });
}

void VSK_CALL vskMultiplyScale(VskImage* srcImageA, VskImage* srcImageB, VskImage* dstImage,
                               const int* tilePoint) {
    const Site& s = kMultiply;
    Extent size;
    if (failsImages(srcImageA, srcImageB, dstImage, s, 726, size) ||
        failsCoiAgreement(srcImageA, dstImage, kSrcA, s, 732) ||
        failsCoiAgreement(srcImageB, dstImage, kSrcB, s, 733) ||
        vsk::reportFirst(s, {{allChannels(dstImage) && srcImageA->nChannels != dstImage->nChannels,
                              735, kSrcA.channelCount},
                             {allChannels(dstImage) && srcImageB->nChannels != dstImage->nChannels,
                              736, kSrcB.channelCount}}))
        return;

    BlockSet set;
    const int d = set.add(dstImage, VSK_TILE_WRITE);
    const int a = set.add(srcImageA, VSK_TILE_READ);
    const int b = set.add(srcImageB, VSK_TILE_READ);
    vsk::alpha::runBlocks(set, size, tilePoint, s, {785, 803, 812},
                          [&](VskImage* const* images, int rows, int cols) {
                              vsk::alpha::multiply(multiplyCall(images[a], images[b], Layout{},
                                                                images[d], rows, cols));
                          });
}

void VSK_CALL vskMultiplySScale(VskImage* srcImage, VskImage* dstImage, int value,
                                const int* tilePoint) {
    const Site& s = kMultiplyS;
    Extent size;
    if (failsRun(dstImage, "dstImage", s, 601, size) ||
        failsRun(srcImage, "srcImage", s, 602, size) ||
        vsk::reportFirst(s, {{dstImage->depth != 8 && dstImage->depth != 16, 603,
                              "dstImage->depth != 8 && dstImage->depth != 16"},
                             {srcImage->depth != dstImage->depth, 604, kSrc.depth}}) ||
        failsCoiAgreement(srcImage, dstImage, kSrc, s, 605) ||
        vsk::reportFirst(s, {{allChannels(dstImage) && srcImage->nChannels != dstImage->nChannels,
                              607, kSrc.channelCount}}))
        return;

    const int bits = vsk::depthBits(dstImage->depth);
    // Compared unsigned, deliberately: a negative value acts as the maximum,
    // and the multiplication then copies the source.
    const unsigned max = bits == 8 ? 255u : 65535u;
    const unsigned limited = static_cast<unsigned>(value) > max ? max : static_cast<unsigned>(value);
    const std::uint8_t value8 = static_cast<std::uint8_t>(limited);
    const std::uint16_t value16 = static_cast<std::uint16_t>(limited);
    const Layout constant =
        vsk::alpha::constantLayout(bits == 8 ? static_cast<const void*>(&value8) : &value16);
    BlockSet set;
    const int d = set.add(dstImage, VSK_TILE_WRITE);
    const int src = set.add(srcImage, VSK_TILE_READ);
    vsk::alpha::runBlocks(set, size, tilePoint, s, {653, 670, 679},
                          [&](VskImage* const* images, int rows, int cols) {
                              vsk::alpha::multiply(
                                  multiplyCall(images[src], nullptr, constant, images[d], rows, cols));
                          });
}

}  // extern "C"
