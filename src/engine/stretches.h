// The stretch finder: from the column values of a dissimilarity kernel to
// the shortest stretches of masked bits that tell all groups apart.
#ifndef OVRELL_ENGINE_STRETCHES_H_
#define OVRELL_ENGINE_STRETCHES_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "engine/buffers.h"
#include "engine/position_queue.h"

// Calls found(first, last) for every inclusion-minimal distinguishing
// stretch that starts in this block, from its last masked bit to its first
// (so `first` decreases from call to call, also from block to block of one
// attribute), where first < last are bit positions 8 × byte + k (bit 7 - k)
// of the files. `columnValues` holds the `columns` values that a kernel
// computed from `mask`; `queue` and `lastValue` carry the current agreeing
// run from block to block.
using StretchFound = std::function<void(std::uint64_t first, std::uint64_t last)>;
void findStretches(const VectorBuff& columnValues, std::uint64_t columns, const VectorBuff& mask,
                   std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                   unsigned valueWidth, const StretchFound& found);
// The same with the masked bits given as the column gatherer's offsets
// (engine/gather_columns.h) of the mask rather than walked again: one value
// per offset.
void findStretches(const VectorBuff& columnValues, const std::vector<std::uint32_t>& offsets,
                   std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                   unsigned valueWidth, const StretchFound& found);

#endif  // OVRELL_ENGINE_STRETCHES_H_
