// Scratch files that leave nothing behind.
//
// A temporary file is made in $TMPDIR (or /tmp when that is unset or empty)
// with mode 0600 and unlinked at once, so that nobody else can open it and
// it goes when its descriptor is closed, however the process ends. The
// position queue spills to one; the report keeps its findings in them.
// Writes go through writeTemporary, which ends the run when one fails; when
// the program asks for a reserve (the report does, ovrell does not), it
// also ends the run, before writing, when the write would leave less than
// 5 % of the file system free, with a message that names the directory,
// the space needed and the space free.
#ifndef OVRELL_ENGINE_TEMPORARY_FILE_H_
#define OVRELL_ENGINE_TEMPORARY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

// The directory temporary files are made in.
std::string temporaryDirectory();

// A read-write descriptor of a new unlinked file in `dir`, or -1 with errno
// set when none can be made.
int unlinkedTemporaryFile(const std::string& dir);

// Whether writeTemporary keeps 5 % of the file system free (off at start).
void reserveTemporarySpace(bool reserve);

// Writes all `size` bytes at `offset` of the temporary file `fd` (made in
// temporaryDirectory()), or ends the run (base/output.h).
void writeTemporary(int fd, const void* data, std::size_t size, std::uint64_t offset);

// Reads all `size` bytes at `offset` of the temporary file `fd`, or ends the
// run.
void readTemporary(int fd, void* data, std::size_t size, std::uint64_t offset);

#endif  // OVRELL_ENGINE_TEMPORARY_FILE_H_
