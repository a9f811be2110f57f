// Runs of packed 1-bit pixels (most significant bit first) copied between
// arbitrary bit positions, forwards or reversed. Bit positions count from the
// most significant bit of the first byte; bits outside the run keep their
// values, and no byte outside the run's bytes is read or written.
#pragma once

#include <cstdint>

namespace vsk {

// Destination bits d .. d + n - 1 receive source bits s .. s + n - 1.
void copyBits(std::uint8_t* dst, std::int64_t d, const std::uint8_t* src, std::int64_t s,
              std::int64_t n);

// Destination bit d + k receives source bit s + n - 1 - k, for k = 0 .. n - 1.
void copyBitsReversed(std::uint8_t* dst, std::int64_t d, const std::uint8_t* src,
                      std::int64_t s, std::int64_t n);

}  // namespace vsk
