#include "support/golden.hpp"

#include <cctype>
#include <iterator>

#include "core.hpp"

using namespace vsktest;

namespace golden {

void Fnv1a::bytes(const void* data, std::size_t n) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < n; ++i) {
        h_ ^= p[i];
        h_ *= 0x100000001b3ull;
    }
}

void Fnv1a::number(std::int64_t v, int size) {
    for (int i = 0; i < size; ++i) {
        const auto b = static_cast<unsigned char>(static_cast<std::uint64_t>(v) >> (8 * i));
        bytes(&b, 1);
    }
}

void Fnv1a::text(const std::string& s) {
    number(static_cast<std::int64_t>(s.size()));
    bytes(s.data(), s.size());
}

void hashSamples(Fnv1a& h, const VskImage* image, int width, int height,
                 const std::function<std::int64_t(int x, int y, int c)>& at) {
    const int size = image->depth == VSK_1U ? 1 : vsk::depthBytes(image->depth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < image->nChannels; ++c) h.number(at(x, y, c), size);
}

void hashReports(Fnv1a& h, const std::vector<Report>& reports) {
    h.number(static_cast<std::int64_t>(reports.size()));
    for (const Report& r : reports) {
        h.number(r.status);
        h.text(r.func);
        h.text(r.context);
        h.text(r.file);
        h.number(r.line);
    }
    h.number(tvskGetErrStatus());
}

void hashImage(Fnv1a& h, const VskImage* image) {
    for (int v : {image->nChannels, image->alphaChannel, static_cast<int>(image->depth),
                  image->dataOrder, image->origin, image->align, image->height, image->width,
                  image->widthStep, image->dataSize})
        h.number(v);
    h.bytes(image->colorModel, 4);
    h.bytes(image->channelSeq, 4);
    hashSamples(h, image, image->width, image->height,
                [image](int x, int y, int c) { return vsktest::get(image, x, y, c); });
}

std::vector<Shape> shapesOf(const Sweep& sweep) {
    std::vector<Shape> shapes;
    for (int d = 0; d < 6; ++d) {
        if (!(sweep.depths & (1u << d))) continue;
        for (int n = 1; n < 32; ++n) {
            if (!(sweep.channels & (1u << n)) || (kDepthCodes[d] == VSK_1U && n != 1)) continue;
            for (int order = 0; order <= (sweep.planeOrder ? 1 : 0); ++order)
                shapes.push_back({kDepthCodes[d], n, order});
        }
    }
    return shapes;
}

Picture::Picture(const Shape& s, int align, bool tiled, std::uint32_t seed, int width, int height)
    : width_(width),
      height_(height),
      plain_(makeImage(s.channels, s.depth, s.order, height, width, 0, align)) {
    fillRandom(plain_.get(), seed);
    if (tiled) {
        tiled_ = std::make_unique<TiledImage>(s.channels, s.depth, s.order, height, width, kTile,
                                              kTile, align);
        tiled_->loadFrom(plain_.get());
        plain_.reset();
    }
}

void Picture::hash(Fnv1a& h) const {
    hashSamples(h, get(), width_, height_, [this](int x, int y, int c) {
        return tiled_ ? tiled_->get(x, y, c) : vsktest::get(plain_.get(), x, y, c);
    });
}

void place(VskImage* image, const Roi& roi) {
    if (!roi.set) return;
    const int n = image->nChannels;
    const int coi = roi.coi < 0 ? n : (roi.coi > n ? n : roi.coi);
    setRoi(image, coi, roi.x, roi.y, roi.height, roi.width);
}

void setName(char (&field)[4], const char* text) {
    for (char& c : field) c = *text ? *text++ : '\0';
}

void setNames(VskImage* image, const char* model, const char* seq) {
    setName(image->colorModel, model);
    setName(image->channelSeq, seq);
}

namespace {

// ROI placements for images of w x h pixels: source (and second source)
// first, then destination.
struct RoiPair {
    Roi src, dst;
};
std::vector<RoiPair> roisFor(int w, int h) {
    return {
        {{false, 0, 0, 0, 0, 0}, {false, 0, 0, 0, 0, 0}},
        {{true, 0, 2, 1, h - 6, w - 10}, {true, 0, 6, 4, h - 6, w - 10}},
        {{true, 0, w - 9, h - 5, 5, 9}, {true, 0, 0, 0, 5, 9}},
        {{true, 2, 3, 2, h - 7, w - 11}, {true, -1, 9, 5, h - 7, w - 11}},
        {{true, 0, w - 7, h - 5, 8, 10}, {true, 0, w - 6, h - 4, 8, 10}},
    };
}

enum Storage { kBuffered, kTiledSources, kTiledDestination };

// Calls body(src, src2, dst) for every input of the sweep.
void forEachRun(const Sweep& sweep,
                const std::function<void(Picture&, Picture&, Picture&)>& body) {
    std::uint32_t seed = 1;
    const std::vector<RoiPair> rois = roisFor(sweep.width, sweep.height);
    for (const Shape& shape : shapesOf(sweep)) {
        Shape dstShape = shape;
        if (sweep.dstChannels) dstShape.channels = sweep.dstChannels;
        if (sweep.dstDepth) dstShape.depth = sweep.dstDepth;
        for (std::size_t r = 0; r < rois.size(); ++r) {
            const int align = r % 2 ? 8 : 4;
            for (int storage : {kBuffered, kTiledSources, kTiledDestination}) {
                if (storage != kBuffered && !sweep.tiled) continue;
                const bool tiledSources = storage == kTiledSources;
                Picture src(shape, align, tiledSources, seed++, sweep.width, sweep.height);
                Picture src2(shape, align, tiledSources, seed++, sweep.width, sweep.height);
                Picture dst(dstShape, align, storage == kTiledDestination, seed++, sweep.width,
                            sweep.height);
                place(src.get(), rois[r].src);
                place(src2.get(), rois[r].src);
                place(dst.get(), rois[r].dst);
                body(src, src2, dst);
            }
        }
    }
}

}  // namespace

std::uint64_t runCase(const GoldenCase& c) {
    Fnv1a h;
    if (c.custom) {
        c.custom(h);
        return h.value();
    }
    ErrorCapture capture;
    forEachRun(c.sweep, [&](Picture& src, Picture& src2, Picture& dst) {
        capture.clear();
        c.apply(src.get(), src2.get(), dst.get());
        hashReports(h, capture.reports());
        for (const Picture* p : {&src, &src2, &dst}) {
            p->hash(h);
            if (c.sweep.names) {
                h.bytes(p->get()->colorModel, 4);
                h.bytes(p->get()->channelSeq, 4);
            }
        }
    });
    return h.value();
}

void PrintTo(const GoldenCase& c, std::ostream* os) { *os << c.name; }

std::string testName(const testing::TestParamInfo<GoldenCase>& info) {
    std::string name;
    for (const char* p = info.param.name; *p; ++p)
        name += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
    return name;
}

}  // namespace golden
