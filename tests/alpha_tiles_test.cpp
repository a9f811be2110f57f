// Compositing and scaled multiplication on tiled images: block by block
// results equal the buffered run, a tile point produces one destination
// tile, refused tiles are reported where they happen, and every tile that is
// handed out is given back.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/alpha_support.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using namespace alphatest;

namespace {

struct RoiSpec {
    int coi, x, y, h, w;
};

// One image of a call: a buffered reference and the subject of the tiled
// run (tiled when a tile size is given, else a buffered copy), with the same
// pixels and ROI.
struct Role {
    ImagePtr reference, copy;
    std::unique_ptr<TiledImage> tiled;

    VskImage* subject() const { return tiled ? tiled->get() : copy.get(); }
    // The subject's pixels as a buffered image.
    ImagePtr result() const {
        if (!tiled) return ImagePtr();
        const VskImage* r = reference.get();
        ImagePtr out = makeImage(r->nChannels, r->depth, r->dataOrder, r->height, r->width);
        tiled->storeTo(out.get());
        return out;
    }
};

std::unique_ptr<Role> role(int n, int alpha, unsigned depth, int order, int h, int w,
                           std::uint32_t seed, RoiSpec roi = {0, 0, 0, 0, 0}, int tw = 0,
                           int th = 0) {
    auto r = std::make_unique<Role>();
    r->reference = makeImage(n, depth, order, h, w);
    fillRandom(r->reference.get(), seed);
    VskImage* subject;
    if (tw) {
        r->tiled = std::make_unique<TiledImage>(n, depth, order, h, w, tw, th);
        r->tiled->loadFrom(r->reference.get());
        subject = r->tiled->get();
    } else {
        r->copy = snapshot(r->reference.get());
        subject = r->copy.get();
    }
    for (VskImage* im : {r->reference.get(), subject}) {
        im->alphaChannel = alpha;
        if (roi.h) setRoi(im, roi.coi, roi.x, roi.y, roi.h, roi.w);
    }
    return r;
}

// Every sample of the subject equals the reference's.
void expectSame(const Role& r, const char* what) {
    const ImagePtr result = r.result();
    const VskImage* got = result ? result.get() : r.copy.get();
    const VskImage* want = r.reference.get();
    int bad = 0;
    for (int y = 0; y < want->height; ++y)
        for (int x = 0; x < want->width; ++x)
            for (int c = 0; c < want->nChannels; ++c)
                if (get(got, x, y, c) != get(want, x, y, c) && ++bad < 4)
                    ADD_FAILURE() << what << " (" << x << "," << y << ") channel " << c << ": "
                                  << get(got, x, y, c) << " want " << get(want, x, y, c);
    if (r.tiled) {
        EXPECT_EQ(r.tiled->held, 0) << what;
        EXPECT_EQ(r.tiled->badReleases, 0) << what;
    }
}

VskImage* plain(const std::unique_ptr<Role>& r) { return r ? r->reference.get() : nullptr; }
VskImage* subject(const std::unique_ptr<Role>& r) { return r ? r->subject() : nullptr; }

// A call-back wrapper that refuses one tile the n-th time it is asked for it
// for writing, and passes everything else to the image's own call-back.
struct Refusal {
    static inline VskTileCallback inner = nullptr;
    static inline int col = 0, row = 0, nth = 0, seen = 0;
    static void VSK_CALL callback(const VskImage* image, int c, int r, int mode) {
        if (mode == VSK_TILE_WRITE && c == col && r == row && ++seen == nth) {
            image->tileInfo->tileData = nullptr;
            return;
        }
        inner(image, c, r, mode);
    }
    static void install(VskImage* image, int c, int r, int n) {
        inner = image->tileInfo->callBack;
        col = c;
        row = r;
        nth = n;
        seen = 0;
        image->tileInfo->callBack = callback;
    }
};

}  // namespace

TEST(AlphaTiles, TiledRunsEqualTheBufferedRun) {
    struct Case {
        const char* what;
        // Tile sizes (0: buffered) of dst, A, B, alpha A, alpha B, alpha target.
        int tiles[6][2];
        int orderA, orderDst;
        int op;
        bool divide;
        bool alphaImages;  // alpha images for A and B and a separate alpha target
    } cases[] = {
        {"tiled destination", {{16, 16}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}}, 0, 0, 0, false,
         false},
        {"tiled sources gathered across tiles",
         {{0, 0}, {8, 8}, {16, 8}, {0, 0}, {0, 0}, {0, 0}}, 1, 0, 3, false, false},
        {"everything tiled, tile sizes differ",
         {{16, 8}, {8, 8}, {8, 16}, {24, 8}, {8, 8}, {8, 16}}, 1, 1, 4, true, true},
        {"alpha images tiled, destination buffered",
         {{0, 0}, {0, 0}, {0, 0}, {8, 8}, {16, 16}, {0, 0}}, 0, 1, 1, false, true},
        {"alpha target tiled alone", {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {8, 8}}, 0, 0, 5,
         true, true},
    };
    std::uint32_t seed = 500;
    for (const Case& k : cases)
        for (unsigned depth : {VSK_8U, VSK_16U}) {
            SCOPED_TRACE(std::string(k.what) + " depth " + std::to_string(depth));
            auto dst = role(4, 4, depth, k.orderDst, 37, 45, ++seed, {0, 5, 3, 40, 40},
                            k.tiles[0][0], k.tiles[0][1]);
            auto a = role(4, 4, depth, k.orderA, 41, 43, ++seed, {0, 1, 2, 39, 42}, k.tiles[1][0],
                          k.tiles[1][1]);
            auto b = role(4, 4, depth, 0, 40, 50, ++seed, {0, 7, 0, 40, 41}, k.tiles[2][0],
                          k.tiles[2][1]);
            std::unique_ptr<Role> alphaA, alphaB, target;
            if (k.alphaImages) {
                alphaA = role(2, 2, depth, 0, 38, 44, ++seed, {0, 3, 1, 37, 41}, k.tiles[3][0],
                              k.tiles[3][1]);
                alphaB = role(1, 0, depth, 1, 36, 40, ++seed, {}, k.tiles[4][0], k.tiles[4][1]);
                target = role(2, 1, depth, 0, 40, 41, ++seed, {0, 0, 4, 36, 40}, k.tiles[5][0],
                              k.tiles[5][1]);
            }
            ErrorCapture capture;
            tvskAlphaComposite(plain(a), plain(b), plain(dst), k.op, plain(alphaA), plain(alphaB),
                               plain(target), 0, k.divide, nullptr);
            tvskAlphaComposite(subject(a), subject(b), subject(dst), k.op, subject(alphaA), subject(alphaB),
                               subject(target), 0, k.divide, nullptr);
            EXPECT_TRUE(capture.reports().empty());
            for (const auto* r : {&dst, &a, &b, &alphaA, &alphaB, &target})
                if (*r) expectSame(**r, "image");
            if (&k == &cases[0]) {
                // Blocks follow the destination's tiles from its ROI offset on:
                // each tile is taken once, in place, row by row.
                std::vector<TileCall> calls;
                for (int r = 0; r < 3; ++r)
                    for (int c = 0; c < 3; ++c) {
                        calls.push_back({VSK_TILE_WRITE, c, r});
                        calls.push_back({VSK_TILE_RELEASE, c, r});
                    }
                EXPECT_EQ(describe(dst->tiled->log), describe(calls));
            }
        }
}

TEST(AlphaTiles, ConstantAlphasAndInPlaceOnTiles) {
    ErrorCapture capture;
    // Constant alphas with a tiled destination and a tiled B.
    auto dst = role(3, 0, VSK_8U, 1, 30, 33, 1, {0, 3, 9, 30, 30}, 16, 8);
    auto a = role(4, 4, VSK_8U, 0, 30, 33, 2);
    auto b = role(4, 4, VSK_8U, 0, 30, 33, 3, {0, 2, 0, 30, 30}, 8, 8);
    tvskAlphaCompositeC(plain(a), plain(b), plain(dst), 0, 100, -1, 1, 1, nullptr);
    tvskAlphaCompositeC(subject(a), subject(b), subject(dst), 0, 100, -1, 1, 1, nullptr);
    expectSame(*dst, "constant destination");

    // A over B into B, B tiled: the image is taken once per block, for writing.
    auto srcA = role(4, 4, VSK_16U, 0, 30, 33, 4, {0, 1, 1, 28, 30}, 8, 8);
    auto inPlace = role(4, 4, VSK_16U, 0, 30, 33, 5, {0, 4, 2, 26, 29}, 16, 16);
    tvskAlphaComposite(plain(srcA), plain(inPlace), plain(inPlace), 0, nullptr, nullptr, nullptr, 0, 0,
                       nullptr);
    tvskAlphaComposite(subject(srcA), subject(inPlace), subject(inPlace), 0, nullptr, nullptr, nullptr, 0, 0,
                       nullptr);
    expectSame(*inPlace, "in place");
    for (const TileCall& call : inPlace->tiled->log) EXPECT_NE(call.mode, VSK_TILE_READ);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(AlphaTiles, TilePointProducesOneDestinationTile) {
    struct Case {
        int px, py;
        RoiSpec dstRoi;
        int x0, y0, x1, y1;  // destination pixels produced (x1, y1 exclusive), or none
    } cases[] = {
        {70, 10, {0, 0, 0, 150, 200}, 64, 0, 128, 64},
        {70, 10, {0, 10, 5, 150, 200}, 64, 5, 128, 64},
        {199, 149, {0, 0, 0, 150, 200}, 192, 128, 200, 150},
        {130, 10, {0, 0, 0, 100, 100}, 0, 0, 0, 0},   // past the common columns
        {5, 130, {0, 70, 70, 50, 50}, 0, 0, 0, 0},     // tile ends before the region
        {100, 100, {0, 70, 70, 100, 100}, 70, 70, 128, 128},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.px) + "," + std::to_string(k.py));
        auto dst = role(4, 4, VSK_8U, 0, 150, 200, 1, k.dstRoi, 64, 64);
        auto a = role(4, 4, VSK_8U, 0, 150, 200, 2);
        auto b = role(4, 4, VSK_8U, 0, 150, 200, 3);
        const ImagePtr before = dst->result();
        ErrorCapture capture;
        tvskAlphaComposite(plain(a), plain(b), plain(dst), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
        const int point[2] = {k.px, k.py};
        tvskAlphaComposite(subject(a), subject(b), subject(dst), 0, nullptr, nullptr, nullptr, 0, 0, point);
        EXPECT_TRUE(capture.reports().empty());
        const ImagePtr after = dst->result();
        int bad = 0;
        for (int y = 0; y < 150; ++y)
            for (int x = 0; x < 200; ++x) {
                const bool produced = x >= k.x0 && x < k.x1 && y >= k.y0 && y < k.y1;
                const VskImage* want = produced ? dst->reference.get() : before.get();
                for (int c = 0; c < 4; ++c)
                    if (get(after.get(), x, y, c) != get(want, x, y, c)) ++bad;
            }
        EXPECT_EQ(bad, 0);
        std::vector<TileCall> calls;
        if (k.x1 > k.x0)
            calls = {{VSK_TILE_WRITE, k.x0 / 64, k.y0 / 64}, {VSK_TILE_RELEASE, k.x0 / 64, k.y0 / 64}};
        EXPECT_EQ(describe(dst->tiled->log), describe(calls));
    }

    // A tile point is ignored when the destination is not tiled.
    auto dst = role(4, 4, VSK_8U, 0, 40, 40, 4);
    auto a = role(4, 4, VSK_8U, 0, 40, 40, 5, {}, 8, 8);
    auto b = role(4, 4, VSK_8U, 0, 40, 40, 6);
    const int point[2] = {0, 0};
    tvskAlphaCompositeC(plain(a), plain(b), plain(dst), 2, 200, 30, 0, 0, nullptr);
    tvskAlphaCompositeC(subject(a), subject(b), subject(dst), 2, 200, 30, 0, 0, point);
    expectSame(*dst, "buffered destination");
}

TEST(AlphaTiles, RefusedTilesAreReportedWhereTheyHappen) {
    struct Case {
        const char* what;
        bool constant, point, putBack;
        int line;
    } cases[] = {
        {"walk", false, false, false, 1293},
        {"single block", false, true, false, 1257},
        {"constant walk", true, false, false, 1065},
        {"constant single block", true, true, false, 1043},
        {"putting a gathered block back", false, false, true, 1306},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        auto dst = role(4, 4, VSK_8U, 0, 40, 40, 1, {}, 16, 16);
        auto a = role(4, 4, VSK_8U, 0, 40, 40, 2, {0, 4, 4, 36, 36}, 8, 8);
        auto b = role(4, 4, VSK_8U, 0, 40, 40, 3);
        auto target = role(1, 1, VSK_8U, 0, 40, 40, 4, {0, 4, 0, 36, 36}, 8, 8);
        if (k.putBack)
            Refusal::install(target->subject(), 1, 0, 2);  // gathered fine, refused on return
        else
            a->tiled->refuse.insert({4, 3});  // first needed by the second block of band two
        const int point[2] = {20, 17};
        ErrorCapture capture;
        if (k.constant)
            tvskAlphaCompositeC(subject(a), subject(b), subject(dst), 0, 9, 9, 0, 0, k.point ? point : nullptr);
        else
            tvskAlphaComposite(subject(a), subject(b), subject(dst), 0, nullptr, nullptr,
                               k.putBack ? subject(target) : nullptr, 0, 0, k.point ? point : nullptr);
        ASSERT_EQ(capture.reports().size(), 1u);
        const Report& r = capture.reports()[0];
        EXPECT_EQ(r.status, VSK_STATUS_UNKNOWN);
        EXPECT_EQ(r.context, "ERROR in Tiling callBack");
        EXPECT_EQ(r.line, k.line);
        EXPECT_EQ(r.func, k.constant ? "vskAlphaCompositeC" : "vskAlphaComposite");
        EXPECT_EQ(r.file, "vskalpha");
        for (const auto* t : {&dst, &a, &target}) {
            EXPECT_EQ((*t)->tiled->held, 0);
            EXPECT_EQ((*t)->tiled->badReleases, 0);
        }
        if (!k.point && !k.putBack) {
            // Blocks before the refused one are done, the ones after are not.
            const ImagePtr got = dst->result();
            const ImagePtr untouched = snapshot(plain(dst));
            if (k.constant)
                tvskAlphaCompositeC(plain(a), plain(b), plain(dst), 0, 9, 9, 0, 0, nullptr);
            else
                tvskAlphaComposite(plain(a), plain(b), plain(dst), 0, nullptr, nullptr, nullptr, 0, 0,
                                   nullptr);
            for (int c = 0; c < 4; ++c) {
                EXPECT_EQ(get(got.get(), 20, 5, c), get(plain(dst), 20, 5, c));    // band one
                EXPECT_EQ(get(got.get(), 5, 20, c), get(plain(dst), 5, 20, c));    // band two
                EXPECT_EQ(get(got.get(), 20, 20, c), get(untouched.get(), 20, 20, c));
                EXPECT_EQ(get(got.get(), 34, 20, c), get(untouched.get(), 34, 20, c));
            }
        }
    }
}

TEST(AlphaTiles, PremultiplyAndMultiplyOnTiles) {
    ErrorCapture capture;
    for (int order : {0, 1}) {
        auto image = role(4, 4, VSK_8U, order, 33, 35, 1, {0, 3, 5, 30, 30}, 8, 16);
        vskPreMultiplyAlpha(plain(image), -1, nullptr);
        vskPreMultiplyAlpha(subject(image), -1, nullptr);
        expectSame(*image, "premultiplied");

        auto dst = role(3, 0, VSK_16U, order, 33, 35, 2, {2, 1, 1, 30, 30}, 16, 16);
        auto a = role(3, 0, VSK_16U, 0, 33, 35, 3, {1, 0, 0, 33, 35}, 8, 8);
        auto b = role(3, 0, VSK_16U, 1, 33, 35, 4, {3, 2, 0, 33, 33});
        vskMultiplyScale(plain(a), plain(b), plain(dst), nullptr);
        vskMultiplyScale(subject(a), subject(b), subject(dst), nullptr);
        expectSame(*dst, "scaled product");

        const int point[2] = {17, 17};
        auto d2 = role(2, 0, VSK_8U, order, 33, 35, 5, {}, 16, 16);
        auto s2 = role(2, 0, VSK_8U, order, 33, 35, 6, {}, 8, 8);
        const ImagePtr before = d2->result();
        vskMultiplySScale(subject(s2), subject(d2), 100, point);
        vskMultiplySScale(plain(s2), plain(d2), 100, nullptr);
        const ImagePtr after = d2->result();
        for (int y = 0; y < 33; y += 4)
            for (int x = 0; x < 35; x += 3) {
                const bool inTile = x >= 16 && x < 32 && y >= 16 && y < 32;
                EXPECT_EQ(get(after.get(), x, y, 1),
                          get(inTile ? plain(d2) : before.get(), x, y, 1));
            }
    }
    EXPECT_TRUE(capture.reports().empty());

    // Tile faults of the internal operations.
    struct Case {
        int which;  // 0 premultiply, 1 multiply, 2 multiply by a constant
        bool point;
        const char* func;
        int line;
    } cases[] = {
        {0, false, "vskPreMultiplyAlpha", 915}, {0, true, "vskPreMultiplyAlpha", 899},
        {1, false, "vskMultiplyScale", 803},    {1, true, "vskMultiplyScale", 785},
        {2, false, "vskMultiplySScale", 670},   {2, true, "vskMultiplySScale", 653},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.func);
        auto image = role(4, 4, VSK_8U, 0, 20, 20, 1, {}, 8, 8);
        auto other = role(4, 4, VSK_8U, 0, 20, 20, 2);
        image->tiled->refuse.insert({1, 1});
        const int point[2] = {9, 9};
        const int* p = k.point ? point : nullptr;
        ErrorCapture faults;
        if (k.which == 0) vskPreMultiplyAlpha(subject(image), 7, p);
        if (k.which == 1) vskMultiplyScale(subject(other), subject(other), subject(image), p);
        if (k.which == 2) vskMultiplySScale(subject(other), subject(image), 7, p);
        ASSERT_EQ(faults.reports().size(), 1u);
        EXPECT_EQ(faults.reports()[0].func, k.func);
        EXPECT_EQ(faults.reports()[0].line, k.line);
        EXPECT_EQ(faults.reports()[0].status, VSK_STATUS_UNKNOWN);
        EXPECT_EQ(image->tiled->held, 0);
    }
}
