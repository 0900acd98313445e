// The partial results file of the per-attribute pass.
//
// While an attribute's blocks are processed from the end of the files to
// their start, each block's commonality mask is appended to one file in the
// working directory; at the attribute's end the final commonalities writer
// reads the records back in file order and deletes the file. With file size
// S, block size B and r = S mod B, the full block at file offset o is the
// record at byte S - B - o, and the short head block (r bytes) the record at
// byte S - r.
#ifndef OVRELL_ENGINE_PARTIAL_RESULTS_H_
#define OVRELL_ENGINE_PARTIAL_RESULTS_H_

#include <cstdint>

// The name written to, read back and deleted at the attribute's end.
constexpr char kPartialResultsFile[] = "__partialResult1_tmp";
// The name removed at an attribute's start: it differs by the case of one
// letter, so on a case-sensitive file system an old partial results file is
// not cleared but appended to. Kept so on purpose.
constexpr char kStalePartialResultsFile[] = "__partialresult1_tmp";

// The read-back addresses the file with 32-bit signed offsets: `offset` cut
// to its low 32 bits. Past 2 GiB the offset turns negative, the seek fails
// and the read starts at the beginning of the file.
inline std::int32_t partialResultsOffset(std::uint64_t offset) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(offset));
}

#endif  // OVRELL_ENGINE_PARTIAL_RESULTS_H_
