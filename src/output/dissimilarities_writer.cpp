// Members of Ovrell; contracts in engine/ovrell.h.
#include "base/output.h"
#include "engine/ovrell.h"
#include "output/result_file_name.h"

void Ovrell::writeDissimilarities(VectorBuff& columnValues, std::uint64_t columns, VectorBuff& mask,
                                  std::uint64_t start, PositionQueue& queue,
                                  std::uint64_t& lastValue, std::size_t position,
                                  unsigned valueWidth, ResultFile& file) {
  if (options.disFile.empty()) return;
  if (!file.isOpen()) {
    const std::string name = resultFileName(options.disFile, options.attributes.size(), position);
    if (!file.open(name)) cannotOpenResultFile(name);
  }
  std::ostream& out = file.stream();
  findStretches(columnValues, columns, mask, start, queue, lastValue, valueWidth,
                [&](std::uint64_t first, std::uint64_t last) {
                  out << '(' << first << '-' << last << ")\n";
                });
}
