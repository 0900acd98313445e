// The partial results file of the per-attribute pass, its whole life.
//
// While an attribute's blocks are processed from the end of the files to
// their start, each block's commonality mask is appended to one file in the
// working directory (appendPartialResult); at the attribute's end the
// final commonalities writer reads the records back in file order and then
// removes the file. With file size S, block size B and r = S mod B, the full
// block at file offset o is the record at byte S - B - o, and the short head
// block (r bytes) the record at byte S - r.
//
// The file is never opened through a symbolic link: a link at its name is a
// file that cannot be opened. It is created with mode 0600. A record that
// cannot be appended, or read back, is lost without a message; a record
// whose write fails ends the run (base/fatal.h).
#ifndef OVRELL_ENGINE_PARTIAL_RESULTS_H_
#define OVRELL_ENGINE_PARTIAL_RESULTS_H_

#include <cstdint>

// The name written to, read back and removed at the attribute's end.
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

// The number of the last full record the read-back prints, counted from 0
// at the start of the file: (fileSize - blockSize) / blockSize, the
// difference taken in wrapping unsigned 64-bit arithmetic and the quotient
// cut to a signed 32-bit number. When the files are shorter than one block
// (a single short block whose length is not a multiple of 8) it wraps, to a
// negative number for some sizes (the loop is skipped) and to a large
// positive one for others.
inline std::int32_t lastPartialRecord(std::uint64_t fileSize, std::uint64_t blockSize) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>((fileSize - blockSize) / blockSize));
}

// Whether the read-back would go on over records that do not exist: the
// files are shorter than one block and the wrapped count is positive. Its
// output would only end when the disk is full, so a run refuses such
// inputs before it deletes anything.
inline bool readBackRunsOn(std::uint64_t fileSize, std::uint64_t blockSize) {
  return fileSize < blockSize && lastPartialRecord(fileSize, blockSize) > 0;
}

// Appends `size` bytes to `fileName`; silent when it cannot be opened.
void appendPartialResult(const unsigned char* data, std::uint64_t size, const char* fileName);

// Reads up to `length` bytes at `offset` (from the start when it is
// negative) into `piece`; what cannot be read keeps its old bytes.
void readPartialResult(unsigned char* piece, std::uint64_t length, std::int32_t offset);

// At an attribute's start: removes the stale name, ignoring any failure.
void removeStalePartialResults();

// At an attribute's end: a missing file is no error; any other failure
// ends the run with a message naming the file and the reason (status 1;
// the results written stay).
void removePartialResults();

// Ends the run with a message, before anything is deleted, when a partial
// results file left in the working directory belongs to another user: it
// would be appended to and could not be removed. A symbolic link there is
// left to the append, which never follows it.
void refuseForeignPartialResults();

// Only one run at a time uses the partial results file of a working
// directory: takes an exclusive lock on the directory itself (no file is
// made for it), held until the process ends. When another run holds it,
// says so once on standard error and waits. A directory that cannot be
// opened is not locked.
void lockWorkingDirectory();

#endif  // OVRELL_ENGINE_PARTIAL_RESULTS_H_
