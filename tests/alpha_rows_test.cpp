// The 8-bit compositing row kernels of every instruction set this processor
// runs give the scalar kernels' bits: the scaled product on every pair of
// samples, the dividing rows on every pair of alphas, and every kernel on
// random rows of odd widths at odd addresses, in place and streaming.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "../ops/alpha_rows.hpp"
#include "support/levels.hpp"

using namespace vsk::alpha;
using vsk::simd::SimdLevel;

namespace {

using Bytes = std::vector<std::uint8_t>;

const AlphaRows& scalar() { return alphaRowsFor(SimdLevel::Scalar); }

// Samples with many alphas at the ends of the range.
Bytes randomBytes(std::mt19937& rng, std::size_t n) {
    Bytes v(n);
    for (auto& x : v) {
        const unsigned r = rng() % 8;
        x = r == 0 ? 0 : r == 1 ? 255 : static_cast<std::uint8_t>(rng());
    }
    return v;
}

}  // namespace

TEST(AlphaRows, ScaledProductOfEveryPairOfSamples) {
    Bytes x(65536), y(65536), want(65536), got(65536);
    for (int i = 0; i < 65536; ++i) {
        x[i] = static_cast<std::uint8_t>(i);
        y[i] = static_cast<std::uint8_t>(i >> 8);
    }
    scalar().multiply(x.data(), y.data(), want.data(), 65536);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(want[i], x[i] * y[i] / 255) << i;
    for (SimdLevel level : vsktest::distinctLevels(alphaRowsFor)) {
        alphaRowsFor(level).multiply(x.data(), y.data(), got.data(), 65536);
        EXPECT_EQ(got, want) << vsk::simd::levelName(level);
    }
}

TEST(AlphaRows, DividingRowsOnEveryPairOfAlphas) {
    std::mt19937 rng(5);
    Bytes A = randomBytes(rng, 4 * 65536), B = randomBytes(rng, 4 * 65536);
    for (int i = 0; i < 65536; ++i) {
        A[4 * i + 3] = static_cast<std::uint8_t>(i);
        B[4 * i + 3] = static_cast<std::uint8_t>(i >> 8);
    }
    Bytes want(A.size()), got(A.size());
    for (SimdLevel level : vsktest::distinctLevels(alphaRowsFor))
        for (int op = 0; op < 6; ++op)
            for (int premul = 0; premul < 2; ++premul) {
                scalar().rgbaDivide[op][premul](A.data(), B.data(), want.data(), 65536, false);
                alphaRowsFor(level).rgbaDivide[op][premul](A.data(), B.data(), got.data(), 65536,
                                                           false);
                EXPECT_EQ(got, want) << vsk::simd::levelName(level) << " op " << op << " premul "
                                     << premul;
            }
}

TEST(AlphaRows, EveryKernelMatchesTheScalarRows) {
    std::mt19937 rng(11);
    const int widths[] = {1, 3, 7, 8, 9, 15, 16, 17, 31, 33, 77, 130};
    for (SimdLevel level : vsktest::distinctLevels(alphaRowsFor)) {
        const AlphaRows& rows = alphaRowsFor(level);
        for (int width : widths)
            for (int offset = 0; offset < 4; ++offset) {
                SCOPED_TRACE(std::string(vsk::simd::levelName(level)) + " width " +
                             std::to_string(width) + " offset " + std::to_string(offset));
                const std::size_t n = static_cast<std::size_t>(width), o = offset;
                // Contiguous samples of one channel.
                const Bytes A = randomBytes(rng, n + o), a = randomBytes(rng, n + o);
                const Bytes B = randomBytes(rng, n + o), b = randomBytes(rng, n + o);
                Bytes want(n + o), got(n + o);
                auto same = [&](auto run) {
                    want.assign(n + o, 7);
                    got.assign(n + o, 7);
                    run(scalar(), want.data() + o);
                    run(rows, got.data() + o);
                    return got == want;
                };
                for (int op = 0; op < 6; ++op)
                    for (int hasB = 0; hasB < 2; ++hasB) {
                        EXPECT_TRUE(same([&](const AlphaRows& t, std::uint8_t* d) {
                            t.alpha[op][hasB](a.data() + o, b.data() + o, d, width);
                        })) << "alpha op " << op << " hasB " << hasB;
                        for (int premul = 0; premul < 2; ++premul)
                            EXPECT_TRUE(same([&](const AlphaRows& t, std::uint8_t* d) {
                                t.colour[op][premul][hasB](A.data() + o, a.data() + o,
                                                           B.data() + o, b.data() + o, d, width);
                            })) << "colour op " << op << " premul " << premul << " hasB " << hasB;
                    }
                EXPECT_TRUE(same([&](const AlphaRows& t, std::uint8_t* d) {
                    t.multiply(A.data() + o, a.data() + o, d, width);
                }));

                // Interleaved pixels, into a third row, streamed, and in place.
                const Bytes P = randomBytes(rng, 4 * n + o), Q = randomBytes(rng, 4 * n + o);
                for (int op = 0; op < 6; ++op)
                    for (int variant = 0; variant < 16; ++variant) {
                        const int premul = variant & 1;
                        const bool stream = variant & 2, inPlace = variant & 4, divide = variant & 8;
                        auto run = [&](const AlphaRows& t, Bytes& out) {
                            out = inPlace ? P : Bytes(4 * n + o, 7);
                            const std::uint8_t* from = inPlace ? out.data() + o : P.data() + o;
                            const RgbaRow8 row = divide ? t.rgbaDivide[op][premul] : t.rgba[op][premul];
                            row(from, Q.data() + o, out.data() + o, width, stream);
                        };
                        run(scalar(), want);
                        run(rows, got);
                        EXPECT_EQ(got, want) << "rgba op " << op << " variant " << variant;
                    }
            }
    }
}
