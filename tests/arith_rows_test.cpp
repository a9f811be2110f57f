// The vector rows of the sample-by-sample operations and of the copy give
// the scalar rows' bits on every instruction set this processor runs (odd
// lengths, odd addresses, padded rows, in place), and rows that overlap
// without coinciding go sample by sample as the scalar loops do.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "../ops/element_rows.hpp"
#include "support/arith_model.hpp"
#include "support/levels.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using vsk::ElementRows;
using vsk::elementRowsFor;
using vsk::simd::SimdLevel;
namespace simd = vsk::simd;

namespace {

using Bytes = std::vector<std::uint8_t>;

const ElementRows& scalarRows() { return elementRowsFor(SimdLevel::Scalar); }

const int kSizes[] = {1, 1, 2, 2, 4};  // bytes of the addition's element types

}  // namespace

TEST(ArithRows, EveryKernelMatchesTheScalarRows) {
    // Three rows of n elements of up to 4 bytes, 8n + 5 bytes apart, through
    // the cached and the streamed stores.
    std::vector<std::pair<std::string, const ElementRows*>> tables;
    for (SimdLevel level : vsktest::distinctLevels(elementRowsFor))
        tables.emplace_back(simd::levelName(level), &elementRowsFor(level));
    for (SimdLevel level : vsktest::distinctLevels(vsk::streamingRowsFor))
        tables.emplace_back(std::string("streamed ") + simd::levelName(level),
                            &vsk::streamingRowsFor(level));
    std::mt19937 rng(3);
    const int rows = 3;
    for (const auto& [name, entry] : tables) {
        const ElementRows& table = *entry;
        for (int n : {1, 5, 8, 31, 32, 33, 64, 77, 200, 300})
            for (int offset = 0; offset < 4; ++offset)
                for (bool inPlace : {false, true}) {
                    SCOPED_TRACE(name + " n " + std::to_string(n) +
                                 " offset " + std::to_string(offset) + " in place " +
                                 std::to_string(inPlace));
                    const std::int64_t step = 8 * n + 5;
                    const std::size_t bytes = static_cast<std::size_t>(rows * step + offset);
                    Bytes a(bytes), b(bytes);
                    for (auto& x : a) x = static_cast<std::uint8_t>(rng());
                    for (auto& x : b) x = static_cast<std::uint8_t>(rng());
                    // Runs one kernel of each table on copies of a.
                    auto same = [&](auto run) {
                        Bytes want = a, got = a, wantOut(bytes, 9), gotOut(bytes, 9);
                        run(scalarRows(), want.data() + offset,
                            inPlace ? want.data() + offset : wantOut.data() + offset);
                        run(table, got.data() + offset,
                            inPlace ? got.data() + offset : gotOut.data() + offset);
                        return want == got && wantOut == gotOut;
                    };
                    for (int e = 0; e < 5; ++e)
                        for (int variant = 0; variant < 4; ++variant) {
                            const std::uint32_t k[2] = {static_cast<std::uint32_t>(rng()),
                                                        static_cast<std::uint32_t>(rng())};
                            EXPECT_TRUE(same([&](const ElementRows& t, void* s, void* d) {
                                t.add[e][variant & 1][variant >> 1](s, step, d, step, rows, n, k);
                            })) << "add " << e << " variant " << variant;
                        }
                    for (int e = 0; e < 3; ++e) {
                        const std::uint32_t k[3] = {static_cast<std::uint32_t>(rng()),
                                                    static_cast<std::uint32_t>(rng()),
                                                    static_cast<std::uint32_t>(rng())};
                        EXPECT_TRUE(same([&](const ElementRows& t, void* s, void* d) {
                            t.logic[e](s, step, d, step, rows, n, k);
                        })) << "logic " << e;
                        EXPECT_TRUE(same([&](const ElementRows& t, void* s, void* d) {
                            t.bitAnd[e](s, step, b.data() + offset, step, d, step, rows, n);
                        })) << "and " << e;
                    }
                    if (!inPlace) {
                        EXPECT_TRUE(same([&](const ElementRows& t, void* s, void* d) {
                            t.copy(s, step, d, step, rows, 4 * n);
                        })) << "copy";
                    }
                }
    }
}

TEST(ArithRows, EightBitAdditionAtEveryLimit) {
    // Every sample against every limit, with a random constant, both signs.
    Bytes in(256 + 7);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<std::uint8_t>(i * 7);
    Bytes want(in.size()), got(in.size());
    std::mt19937 rng(9);
    for (SimdLevel level : vsktest::distinctLevels(elementRowsFor))
        for (int e = 0; e < 2; ++e)
            for (int variant = 0; variant < 4; ++variant)
                for (std::uint32_t limit = 0; limit < 256; ++limit) {
                    const std::uint32_t k[2] = {limit, static_cast<std::uint32_t>(rng() & 255)};
                    const int n = static_cast<int>(in.size()) / kSizes[e];
                    scalarRows().add[e][variant & 1][variant >> 1](in.data(), 0, want.data(), 0, 1,
                                                                   n, k);
                    elementRowsFor(level).add[e][variant & 1][variant >> 1](in.data(), 0,
                                                                           got.data(), 0, 1, n, k);
                    ASSERT_EQ(got, want) << simd::levelName(level) << " element " << e
                                         << " variant " << variant << " limit " << limit;
                }
}

TEST(ArithRows, OverlappingRunsGoSampleBySample) {
    // The destination header starts one sample into the source's buffer:
    // each sample is computed from what the source holds when its turn
    // comes.
    for (ArithOp op : {ArithOp::Add, ArithOp::AndS, ArithOp::And}) {
        ImagePtr src = makeImage(1, VSK_8U, 0, 1, 101), dst = makeImage(1, VSK_8U, 0, 1, 100);
        ImagePtr other = makeImage(1, VSK_8U, 0, 1, 101);
        fillRandom(src.get(), 4);
        fillRandom(other.get(), 5);
        std::vector<std::int64_t> want;
        for (int x = 0; x < 101; ++x) want.push_back(get(src.get(), x, 0));
        for (int x = 0; x < 100; ++x)
            want[x + 1] = arithRule(op, VSK_8U, want[x], get(other.get(), x, 0), 200);
        char* own = dst->imageData;
        dst->imageData = src->imageData + 1;
        runArith(op, src.get(), other.get(), dst.get(), 200);
        dst->imageData = own;
        for (int x = 0; x < 101; ++x)
            ASSERT_EQ(get(src.get(), x, 0), want[x]) << arithName(op) << " sample " << x;
    }
}
