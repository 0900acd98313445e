#include "explain/checksum_search.h"

#include <algorithm>
#include <memory>

std::uint64_t SearchState::stretchStart(std::uint64_t s) const {
  // The last run that starts before s.
  const auto after =
      std::partition_point(runs.begin(), runs.end(), [&](const ByteRun& r) { return r.first < s; });
  if (after == runs.begin()) return 0;
  const ByteRun& r = *(after - 1);
  return r.last + 1 > s ? s : r.last + 1;
}

std::uint64_t SearchState::nextChanging(std::uint64_t b) const {
  const auto r = std::partition_point(runs.begin(), runs.end(),
                                      [&](const ByteRun& run) { return run.last < b; });
  return r == runs.end() ? source.length() : std::max(r->first, b);
}

std::uint64_t SearchState::checksumOf(std::size_t file, const ChecksumCandidate& c,
                                      std::uint64_t first, std::uint64_t end,
                                      const CandidateField& field) const {
  SumKey key;
  if (!c.isCrc && !c.around) {
    key = {file,
           int(c.sum.kind),
           c.sum.width,
           c.sum.unit,
           c.sum.bigEndian,
           int(c.sum.complement),
           first,
           end};
    const auto known = sums_.find(key);
    if (known != sums_.end()) return known->second;
  }
  std::unique_ptr<Crc> crc;
  std::unique_ptr<SumAccumulator> sum;
  std::uint64_t reg = 0;
  if (c.isCrc) {
    crc = std::make_unique<Crc>(c.crc);
    reg = crc->start();
  } else {
    sum = std::make_unique<SumAccumulator>(c.sum);
  }
  std::vector<unsigned char> buffer(kChunk);
  for (std::uint64_t at = first; at < end; at += kChunk) {
    const std::size_t count = std::min<std::uint64_t>(kChunk, end - at);
    source.read(file, at, count, buffer.data());
    if (c.around)
      for (std::uint64_t p = std::max(at, field.pos);
           p < std::min(at + count, field.pos + field.size); ++p)
        buffer[p - at] = c.blanks ? ' ' : 0;
    if (crc)
      reg = crc->update(reg, buffer.data(), count);
    else
      sum->feed(buffer.data(), count);
  }
  if (crc) return crc->finish(reg);
  if (!c.around) sums_[key] = sum->value();
  return sum->value();
}
