#include "engine/partial_results.h"

#include <fstream>

#include "engine/ovrell.h"

void Ovrell::appendPartialResult(const unsigned char* data, std::uint64_t size,
                                 const char* fileName) {
  // A file that cannot be opened loses the record without a message; the
  // read-back then formats whatever its buffer holds.
  std::ofstream out(fileName, std::ios::out | std::ios::binary | std::ios::app);
  if (out) out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}
