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

struct RoiShape {
    int coi, x, y, h, w;
};

// One image of a call: a buffered reference and the subject of the tiled
// run (tiled when a tile size is given, else a buffered copy), with the same
// pixels and ROI.
struct Role {
    ImagePtr reference, copy;
    std::unique_ptr<TiledImage> tiled;

    // The subject's pixels as a buffered image.
    ImagePtr result() const { return tiled ? pixelsOf(*tiled, reference.get()) : cloneImage(copy.get()); }
};
using RolePtr = std::unique_ptr<Role>;

RolePtr role(int n, int alpha, unsigned depth, int order, int h, int w, std::uint32_t seed,
             RoiShape roi = {}, int tw = 0, int th = 0) {
    auto r = std::make_unique<Role>();
    r->reference = image(n, alpha, depth, order, h, w, seed);
    if (roi.h) setRoi(r->reference.get(), roi.coi, roi.x, roi.y, roi.h, roi.w);
    r->copy = cloneImage(r->reference.get());
    if (tw) r->tiled = tiledCopy(r->reference.get(), tw, th);
    return r;
}

VskImage* plain(const RolePtr& r) { return r ? r->reference.get() : nullptr; }
VskImage* subject(const RolePtr& r) {
    return r ? (r->tiled ? r->tiled->get() : r->copy.get()) : nullptr;
}

// Runs an operation on the buffered images, then on the subjects.
template <class F>
void runBoth(F f) {
    f(plain);
    f(subject);
}

// Every sample of the subject equals the reference's; every tile came back.
void expectSame(const Role& r) {
    expectSamples(r.result().get(), r.reference.get(), {}, [](int, int, int) { return -1; });
    if (r.tiled) {
        EXPECT_EQ(r.tiled->held + r.tiled->badReleases, 0);
    }
}

// Wraps an image's call-back to refuse one tile the n-th time it is asked
// for writing.
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
        col = c, row = r, nth = n, seen = 0;
        image->tileInfo->callBack = callback;
    }
};

}  // namespace

TEST(AlphaTiles, TiledRunsEqualTheBufferedRun) {
    struct Case {
        const char* what;
        int tiles[6][2];  // tile sizes (0: buffered) of dst, A, B, alpha A, alpha B, alpha target
        int orderA, orderDst, op;
        bool divide, alphaImages;  // alpha images for A and B and a separate alpha target
    } cases[] = {
        {"tiled destination", {{16, 16}}, 0, 0, 0, false, false},
        {"sources gathered across tiles", {{0, 0}, {8, 8}, {16, 8}}, 1, 0, 3, false, false},
        {"all tiled, sizes differ", {{16, 8}, {8, 8}, {8, 16}, {24, 8}, {8, 8}, {8, 16}}, 1, 1, 4, true, true},
        {"alpha images tiled", {{0, 0}, {0, 0}, {0, 0}, {8, 8}, {16, 16}}, 0, 1, 1, false, true},
        {"alpha target tiled alone", {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {8, 8}}, 0, 0, 5, true, true},
    };
    std::uint32_t seed = 500;
    for (const Case& k : cases)
        for (unsigned depth : {VSK_8U, VSK_16U}) {
            SCOPED_TRACE(std::string(k.what) + " depth " + std::to_string(depth));
            const auto& t = k.tiles;
            RolePtr dst = role(4, 4, depth, k.orderDst, 37, 45, ++seed, {0, 5, 3, 40, 40}, t[0][0], t[0][1]);
            RolePtr a = role(4, 4, depth, k.orderA, 41, 43, ++seed, {0, 1, 2, 39, 42}, t[1][0], t[1][1]);
            RolePtr b = role(4, 4, depth, 0, 40, 50, ++seed, {0, 7, 0, 40, 41}, t[2][0], t[2][1]);
            RolePtr alphaA, alphaB, target;
            if (k.alphaImages) {
                alphaA = role(2, 2, depth, 0, 38, 44, ++seed, {0, 3, 1, 37, 41}, t[3][0], t[3][1]);
                alphaB = role(1, 0, depth, 1, 36, 40, ++seed, {}, t[4][0], t[4][1]);
                target = role(2, 1, depth, 0, 40, 41, ++seed, {0, 0, 4, 36, 40}, t[5][0], t[5][1]);
            }
            ErrorCapture capture;
            runBoth([&](auto im) {
                tvskAlphaComposite(im(a), im(b), im(dst), k.op, im(alphaA), im(alphaB), im(target), 0,
                                   k.divide, nullptr);
            });
            EXPECT_TRUE(capture.reports().empty());
            for (const RolePtr* r : {&dst, &a, &b, &alphaA, &alphaB, &target})
                if (*r) expectSame(**r);
            if (&k == &cases[0]) {
                // Blocks follow the destination's tiles from its ROI offset
                // on: each tile is taken once, in place, row by row.
                EXPECT_EQ(describe(dst->tiled->log), walkLog(5, 3, 34, 40, 16, 16, VSK_TILE_WRITE));
            }
        }
}

TEST(AlphaTiles, ConstantAlphasAndInPlaceOnTiles) {
    ErrorCapture capture;
    RolePtr dst = role(3, 0, VSK_8U, 1, 30, 33, 1, {0, 3, 9, 30, 30}, 16, 8);
    RolePtr a = role(4, 4, VSK_8U, 0, 30, 33, 2);
    RolePtr b = role(4, 4, VSK_8U, 0, 30, 33, 3, {0, 2, 0, 30, 30}, 8, 8);
    runBoth([&](auto im) { tvskAlphaCompositeC(im(a), im(b), im(dst), 0, 100, -1, 1, 1, nullptr); });
    expectSame(*dst);

    // A over B into B, B tiled: the image is taken once per block, for writing.
    RolePtr src = role(4, 4, VSK_16U, 0, 30, 33, 4, {0, 1, 1, 28, 30}, 8, 8);
    RolePtr both = role(4, 4, VSK_16U, 0, 30, 33, 5, {0, 4, 2, 26, 29}, 16, 16);
    runBoth([&](auto im) {
        tvskAlphaComposite(im(src), im(both), im(both), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
    });
    expectSame(*both);
    for (const TileCall& call : both->tiled->log) EXPECT_NE(call.mode, VSK_TILE_READ);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(AlphaTiles, TilePointProducesOneDestinationTile) {
    struct Case {
        int px, py;
        RoiShape dstRoi;
        Rect produced;  // destination pixels produced
    } cases[] = {
        {70, 10, {0, 0, 0, 150, 200}, {64, 0, 64, 64}},
        {70, 10, {0, 10, 5, 150, 200}, {64, 5, 59, 64}},
        {199, 149, {0, 0, 0, 150, 200}, {192, 128, 22, 8}},
        {130, 10, {0, 0, 0, 100, 100}, {}},   // past the common columns
        {5, 130, {0, 70, 70, 50, 50}, {}},    // the tile ends before the region
        {100, 100, {0, 70, 70, 100, 100}, {70, 70, 58, 58}},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.px) + "," + std::to_string(k.py));
        RolePtr dst = role(4, 4, VSK_8U, 0, 150, 200, 1, k.dstRoi, 64, 64);
        RolePtr a = role(4, 4, VSK_8U, 0, 150, 200, 2), b = role(4, 4, VSK_8U, 0, 150, 200, 3);
        const ImagePtr before = dst->result();
        const int point[2] = {k.px, k.py};
        ErrorCapture capture;
        runBoth([&](auto im) {
            tvskAlphaComposite(im(a), im(b), im(dst), 0, nullptr, nullptr, nullptr, 0, 0,
                               im == subject ? point : nullptr);
        });
        EXPECT_TRUE(capture.reports().empty());
        const Rect& p = k.produced;
        const ImagePtr want = cloneImage(before.get());
        for (int y = p.y; y < p.y + p.rows; ++y)
            for (int x = p.x; x < p.x + p.cols; ++x)
                for (int c = 0; c < 4; ++c) put(want.get(), x, y, c, get(plain(dst), x, y, c));
        expectSamples(dst->result().get(), want.get(), {}, [](int, int, int) { return -1; });
        std::vector<TileCall> calls;
        if (p.cols) calls = {{VSK_TILE_WRITE, p.x / 64, p.y / 64}, {VSK_TILE_RELEASE, p.x / 64, p.y / 64}};
        EXPECT_EQ(describe(dst->tiled->log), describe(calls));
    }

    // A tile point is ignored when the destination is not tiled.
    RolePtr dst = role(4, 4, VSK_8U, 0, 40, 40, 4), b = role(4, 4, VSK_8U, 0, 40, 40, 6);
    RolePtr a = role(4, 4, VSK_8U, 0, 40, 40, 5, {}, 8, 8);
    const int point[2] = {0, 0};
    runBoth([&](auto im) { tvskAlphaCompositeC(im(a), im(b), im(dst), 2, 200, 30, 0, 0, point); });
    expectSame(*dst);
}

TEST(AlphaTiles, RefusedTilesAreReportedWhereTheyHappen) {
    struct Case {
        bool constant, point, putBack;
        int line;
    } cases[] = {{false, false, false, 1293}, {false, true, false, 1257}, {true, false, false, 1065},
                 {true, true, false, 1043},   {false, false, true, 1306}};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.line);
        RolePtr dst = role(4, 4, VSK_8U, 0, 40, 40, 1, {}, 16, 16);
        RolePtr a = role(4, 4, VSK_8U, 0, 40, 40, 2, {0, 4, 4, 36, 36}, 8, 8);
        RolePtr b = role(4, 4, VSK_8U, 0, 40, 40, 3);
        RolePtr target = role(1, 1, VSK_8U, 0, 40, 40, 4, {0, 4, 0, 36, 36}, 8, 8);
        if (k.putBack)
            Refusal::install(subject(target), 1, 0, 2);  // gathered, then refused on the way back
        else
            a->tiled->refuse.insert({4, 3});  // first needed by the second block of band two
        const int point[2] = {20, 17};
        const ImagePtr untouched = dst->result();
        ErrorCapture capture;
        runBoth([&](auto im) {
            const int* p = im == subject && k.point ? point : nullptr;
            if (k.constant)
                tvskAlphaCompositeC(im(a), im(b), im(dst), 0, 9, 9, 0, 0, p);
            else
                tvskAlphaComposite(im(a), im(b), im(dst), 0, nullptr, nullptr, k.putBack ? im(target) : nullptr,
                                   0, 0, p);
        });
        EXPECT_EQ(reportsOf(capture), fault(k.constant ? "vskAlphaCompositeC" : "vskAlphaComposite",
                                            "ERROR in Tiling callBack", "vskalpha", k.line,
                                            VSK_STATUS_UNKNOWN));
        for (const RolePtr* t : {&dst, &a, &target})
            EXPECT_EQ((*t)->tiled->held + (*t)->tiled->badReleases, 0);
        if (!k.point && !k.putBack) {
            // Blocks before the refused one are done, the ones after are not.
            const ImagePtr got = dst->result();
            for (int c = 0; c < 4; ++c) {
                EXPECT_EQ(get(got.get(), 20, 5, c), get(plain(dst), 20, 5, c));  // band one
                EXPECT_EQ(get(got.get(), 5, 20, c), get(plain(dst), 5, 20, c));  // band two
                EXPECT_EQ(get(got.get(), 20, 20, c), get(untouched.get(), 20, 20, c));
                EXPECT_EQ(get(got.get(), 34, 20, c), get(untouched.get(), 34, 20, c));
            }
        }
    }
}

TEST(AlphaTiles, PremultiplyAndMultiplyOnTiles) {
    ErrorCapture capture;
    for (int order : {0, 1}) {
        RolePtr im = role(4, 4, VSK_8U, order, 33, 35, 1, {0, 3, 5, 30, 30}, 8, 16);
        runBoth([&](auto i) { vskPreMultiplyAlpha(i(im), -1, nullptr); });
        expectSame(*im);

        RolePtr dst = role(3, 0, VSK_16U, order, 33, 35, 2, {2, 1, 1, 30, 30}, 16, 16);
        RolePtr a = role(3, 0, VSK_16U, 0, 33, 35, 3, {1, 0, 0, 33, 35}, 8, 8);
        RolePtr b = role(3, 0, VSK_16U, 1, 33, 35, 4, {3, 2, 0, 33, 33});
        runBoth([&](auto i) { vskMultiplyScale(i(a), i(b), i(dst), nullptr); });
        expectSame(*dst);
    }
    EXPECT_TRUE(capture.reports().empty());

    // Tile faults of the internal operations, in the walk and for one tile.
    struct Case {
        int which;  // 0 premultiply, 1 multiply, 2 multiply by a constant
        const char* func;
        int walk, single;
    } cases[] = {{0, "vskPreMultiplyAlpha", 915, 899}, {1, "vskMultiplyScale", 803, 785},
                 {2, "vskMultiplySScale", 670, 653}};
    for (const Case& k : cases)
        for (bool point : {false, true}) {
            SCOPED_TRACE(k.func);
            RolePtr im = role(4, 4, VSK_8U, 0, 20, 20, 1, {}, 8, 8), other = role(4, 4, VSK_8U, 0, 20, 20, 2);
            im->tiled->refuse.insert({1, 1});
            const int at[2] = {9, 9};
            const int* p = point ? at : nullptr;
            ErrorCapture faults;
            if (k.which == 0) vskPreMultiplyAlpha(subject(im), 7, p);
            if (k.which == 1) vskMultiplyScale(subject(other), subject(other), subject(im), p);
            if (k.which == 2) vskMultiplySScale(subject(other), subject(im), 7, p);
            EXPECT_EQ(reportsOf(faults), fault(k.func, "ERROR in Tiling callBack", "vskalpha",
                                               point ? k.single : k.walk, VSK_STATUS_UNKNOWN));
            EXPECT_EQ(im->tiled->held, 0);
        }
}
