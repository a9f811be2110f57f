// The blur's row kernels of every instruction set this processor has give
// the scalar kernels' bits on random rows: odd lengths and start offsets,
// every element type, pixels of one to five values, wrapping sums and
// reciprocals of boxes small, large and empty.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "../filter/boxrows.hpp"
#include "support/levels.hpp"

using namespace vsk;
using simd::SimdLevel;

namespace {

// The reciprocals a blur multiplies by: 1 / area in single precision, and
// infinity for an empty box.
const double kReciprocals[] = {1.0,
                               static_cast<float>(1.0 / 3),
                               static_cast<float>(1.0 / 25),
                               static_cast<float>(1.0 / 961),
                               static_cast<float>(1.0 / 40000),
                               std::numeric_limits<double>::infinity()};

template <class T>
std::vector<T> randomRow(std::mt19937& rng, std::size_t n) {
    std::vector<T> v(n);
    for (T& x : v) x = static_cast<T>(rng());
    return v;
}

// Sums of either kind: any 32-bit value, or sums that a box of 8-bit values gives.
std::vector<std::int32_t> randomSums(std::mt19937& rng, std::size_t n, bool small) {
    std::vector<std::int32_t> v(n);
    for (std::int32_t& x : v) x = static_cast<std::int32_t>(small ? rng() % 300000 : rng());
    return v;
}

template <class T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

template <class T>
void compareIntRows(const IntBoxRows<T>& fast, const IntBoxRows<T>& ref, std::mt19937& rng) {
    for (int trial = 0; trial < 60; ++trial) {
        const std::size_t at = rng() % 8, count = rng() % 160;
        SCOPED_TRACE(testing::Message() << "offset " << at << " count " << count);
        const auto src = randomRow<T>(rng, at + count), leave = randomRow<T>(rng, at + count);
        auto a = randomRow<std::uint32_t>(rng, at + count), b = a;
        fast.add(a.data() + at, src.data() + at, count);
        ref.add(b.data() + at, src.data() + at, count);
        EXPECT_EQ(a, b);
        fast.slide(a.data() + at, src.data() + at, leave.data() + at, count);
        ref.slide(b.data() + at, src.data() + at, leave.data() + at, count);
        EXPECT_EQ(a, b);
        const auto sums = randomSums(rng, at + count, trial % 2);
        for (double r : kReciprocals) {
            std::vector<T> x(at + count), y(at + count);
            fast.means(sums.data() + at, x.data() + at, count, r);
            ref.means(sums.data() + at, y.data() + at, count, r);
            EXPECT_EQ(x, y) << r;
        }
    }
}

}  // namespace

TEST(BlurKernels, IntegerRowsMatchScalar) {
    const BoxRows& ref = boxRowsScalar();
    for (SimdLevel level : vsktest::distinctLevels(boxRowsFor)) {
        SCOPED_TRACE(simd::levelName(level));
        const BoxRows& fast = boxRowsFor(level);
        std::mt19937 rng(5);
        compareIntRows(fast.u8, ref.u8, rng);
        compareIntRows(fast.s8, ref.s8, rng);
        compareIntRows(fast.u16, ref.u16, rng);
        compareIntRows(fast.s16, ref.s16, rng);
        // Row sums: pixels of n values, boxes of 0 to 9 pixels.
        for (int trial = 0; trial < 300; ++trial) {
            const int n = 1 + trial % 5, box = static_cast<int>(rng() % 10);
            const std::int64_t count = n * (1 + static_cast<std::int64_t>(rng() % 70));
            const std::int64_t span = std::int64_t{box} * n;
            SCOPED_TRACE(testing::Message() << "n " << n << " box " << box << " count " << count);
            const auto col =
                randomRow<std::uint32_t>(rng, static_cast<std::size_t>(count - n + span));
            auto a = randomSums(rng, static_cast<std::size_t>(count), false), b = a;
            fast.runSums(col.data(), a.data(), n, span, count);
            ref.runSums(col.data(), b.data(), n, span, count);
            ASSERT_EQ(a, b);
        }
    }
}

TEST(BlurKernels, FloatRowsMatchScalar) {
    const BoxRows& ref = boxRowsScalar();
    for (SimdLevel level : vsktest::distinctLevels(boxRowsFor)) {
        SCOPED_TRACE(simd::levelName(level));
        const BoxRows& fast = boxRowsFor(level);
        std::mt19937 rng(6);
        for (int trial = 0; trial < 200; ++trial) {
            const int n = 1 + trial % 5, box = static_cast<int>(rng() % 10);
            const std::size_t at = rng() % 8;
            const std::int64_t count = n * (1 + static_cast<std::int64_t>(rng() % 70));
            const std::int64_t span = std::int64_t{box} * n, all = count + span;
            SCOPED_TRACE(testing::Message() << "n " << n << " box " << box << " count " << count);
            const auto enter = randomRow<std::int32_t>(rng, at + all);
            const auto leave = randomRow<std::int32_t>(rng, at + all);
            // Column sums of several rows: single-precision values of any size.
            std::vector<float> a(at + all);
            for (float& x : a)
                x = static_cast<float>(static_cast<std::int32_t>(rng())) *
                    static_cast<float>(rng() % 40);
            std::vector<float> b = a;
            fast.addFloat(a.data() + at, enter.data() + at, all);
            ref.addFloat(b.data() + at, enter.data() + at, all);
            ASSERT_TRUE(sameBits(a, b));
            fast.slideFloat(a.data() + at, enter.data() + at, leave.data() + at, all);
            ref.slideFloat(b.data() + at, enter.data() + at, leave.data() + at, all);
            ASSERT_TRUE(sameBits(a, b));
            for (double r : kReciprocals) {
                std::vector<std::int32_t> x(at + count), y(at + count);
                fast.meansFloat(a.data() + at, x.data() + at, n, span, count, r);
                ref.meansFloat(a.data() + at, y.data() + at, n, span, count, r);
                ASSERT_EQ(x, y) << r;
            }
        }
    }
}
