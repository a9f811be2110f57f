// Runs of 1-bit pixels between any two bit positions, checked against a
// bit-by-bit model on buffers exactly as long as the runs need.
#include <gtest/gtest.h>

#include <vector>

#include "bitrun.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

int bitAt(const Bytes& b, std::int64_t i) { return (b[i / 8] >> (7 - i % 8)) & 1; }
void setAt(Bytes& b, std::int64_t i, int v) {
    const auto m = static_cast<std::uint8_t>(0x80u >> (i % 8));
    b[i / 8] = static_cast<std::uint8_t>(v ? (b[i / 8] | m) : (b[i / 8] & ~m));
}

// The bytes that hold a run of `count` bits at `offset`, and nothing more,
// so that any access past them is caught by the sanitizer build.
Bytes randomRun(int offset, int count, unsigned seed) {
    Bytes b(static_cast<std::size_t>((offset + count + 7) / 8));
    for (auto& v : b) v = static_cast<std::uint8_t>((seed = seed * 1103515245u + 12345u) >> 16);
    return b;
}

const int kCounts[] = {0, 1, 2, 7, 8, 9, 15, 16, 17, 63, 64, 65, 71, 72, 130, 4103, 4200};

}  // namespace

TEST(BitRun, CopySwapAndReverseBetweenEveryPairOfBitOffsets) {
    for (int so = 0; so < 8; ++so)
        for (int dof = 0; dof < 8; ++dof)
            for (int count : kCounts) {
                SCOPED_TRACE(testing::Message() << "src bit " << so << " dst bit " << dof
                                                << " count " << count);
                const Bytes src = randomRun(so, count, 7u * so + 1);
                const Bytes dst = randomRun(dof, count, 13u * dof + 5);

                Bytes wantDst = dst, wantSrc = src, wantReversed = dst;
                for (int i = 0; i < count; ++i) {
                    setAt(wantDst, dof + i, bitAt(src, so + i));
                    setAt(wantSrc, so + i, bitAt(dst, dof + i));
                    setAt(wantReversed, dof + i, bitAt(src, so + count - 1 - i));
                }
                Bytes got = dst, a = src;
                vsk::copyBits(src.data(), so, got.data(), dof, count);
                ASSERT_EQ(got, wantDst);

                got = dst;
                vsk::copyBitsReversed(src.data(), so, got.data(), dof, count);
                ASSERT_EQ(got, wantReversed);

                got = dst;
                vsk::swapBits(a.data(), so, got.data(), dof, count);
                ASSERT_EQ(got, wantDst);
                ASSERT_EQ(a, wantSrc);
            }
}

TEST(BitRun, FillKeepsTheBitsAroundTheRun) {
    for (int offset = 0; offset < 8; ++offset)
        for (int count : kCounts)
            for (bool value : {false, true}) {
                const Bytes before = randomRun(offset, count, 3u * offset + count);
                Bytes want = before, got = before;
                for (int i = 0; i < count; ++i) setAt(want, offset + i, value);
                vsk::fillBits(got.data(), offset, count, value);
                ASSERT_EQ(got, want) << "bit " << offset << " count " << count << " value " << value;
            }
}

// The byte kernel of the reversed copy, at every instruction-set level the
// processor has, against the scalar one; sources hold exactly the bytes read.
TEST(BitRun, ReversedBytesOfEveryLevelEqualTheScalarKernel) {
    using vsk::simd::SimdLevel;
    const auto scalar = vsk::bitRowsFor(SimdLevel::Scalar).reverseBytes;
    const SimdLevel best = vsk::simd::bestLevel(vsk::simd::cpuFeatures());
    for (int level = 1; level <= static_cast<int>(best); ++level) {
        const auto kernel = vsk::bitRowsFor(static_cast<SimdLevel>(level)).reverseBytes;
        for (int shift = 0; shift < 8; ++shift)
            for (int count : {1, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 517}) {
                SCOPED_TRACE(testing::Message() << vsk::simd::levelName(static_cast<SimdLevel>(level))
                                                << " shift " << shift << " count " << count);
                const Bytes src = randomRun(0, 8 * (count + (shift ? 1 : 0)), 31u * count + shift);
                const std::uint8_t* last = src.data() + count - 1;
                Bytes want(count + 2), got(count + 2);
                scalar(last, shift, want.data() + 1, count);
                kernel(last, shift, got.data() + 1, count);
                ASSERT_EQ(got, want);
            }
    }
}

TEST(BitRun, ByteAlignedRunsOverlappingInOneBufferMoveAsThroughACopy) {
    // Rows of a widthStep shorter than a row share bytes; either direction
    // leaves the run the source held.
    for (const auto& [from, to] : {std::pair{0, 32}, std::pair{32, 0}, std::pair{8, 16}}) {
        SCOPED_TRACE(testing::Message() << from << " to " << to);
        Bytes buffer = randomRun(0, 128, 11), want = buffer;
        for (int i = 0; i < 64; ++i) setAt(want, to + i, bitAt(buffer, from + i));
        vsk::copyBits(buffer.data(), from, buffer.data(), to, 64);
        EXPECT_EQ(buffer, want);
    }
}
