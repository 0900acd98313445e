// The memory budget: how wide a bit count must be, and how many bytes of
// every file one block holds.
//
// Pure arithmetic, no messages. The block-size computation deliberately runs
// in wrapping unsigned 32-bit arithmetic: a fixed cost above the limit wraps
// around to a large block instead of failing, and the caller clamps the
// block to the file size.
#ifndef OVRELL_ENGINE_BUDGET_H_
#define OVRELL_ENGINE_BUDGET_H_

#include <cstdint>

// Largest file size, in bytes, that any value width can count in bits.
constexpr std::uint64_t kLargestFileSize = 2305843009213693950ULL;  // 2^61 - 2

// Width in bytes (1, 2, 4 or 8) of a bit count of a file of `fileSize`
// bytes; 0 without dissimilarities. REQUIRES: fileSize <= kLargestFileSize
// when `dissimilarities` is set.
unsigned valueWidthFor(bool dissimilarities, std::uint64_t fileSize);

// Raw block size (M - F) / D in 32-bit arithmetic, where D = f × n + 8w + 1
// (f = 1 without dissimilarities, w = 0; f = 2 with them) and F is 16 × n
// for the linear algorithm or ((n - 1) × n × w) / 2 for the quadratic one.
// A value of 7 or less means too many files for the limit.
std::uint32_t rawBlockSize(std::uint32_t memLimit, std::uint32_t files, unsigned valueWidth,
                           bool linear);

// The raw block size clamped to the file size and rounded up to a multiple
// of 8: the rowSize of every full block.
std::uint64_t blockSizeFor(std::uint32_t rawBlock, std::uint64_t fileSize);

// Calls `action(Value{})` with Value the unsigned integer of `valueWidth`
// bytes (1, 2, 4 or 8) and returns true; any other width calls nothing and
// returns false, for the caller to report.
template <typename Action>
bool withValueType(unsigned valueWidth, Action&& action) {
  switch (valueWidth) {
    case 1:
      action(std::uint8_t{});
      return true;
    case 2:
      action(std::uint16_t{});
      return true;
    case 4:
      action(std::uint32_t{});
      return true;
    case 8:
      action(std::uint64_t{});
      return true;
  }
  return false;
}

#endif  // OVRELL_ENGINE_BUDGET_H_
