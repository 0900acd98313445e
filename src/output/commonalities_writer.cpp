// Members of Ovrell; contracts in engine/ovrell.h.
#include <iostream>

#include "base/output.h"
#include "engine/ovrell.h"
#include "output/result_file_name.h"

// The mask is not overwritten after printing: the commonalities-only pass
// computes every word of it afresh before it prints it again.
void Ovrell::writeCommonalities(VectorBuff& mask, std::size_t position) {
  if (options.comFile.empty()) {
    printBitRow(mask.data, mask.size, std::cout, false);
    return;
  }
  const std::string name = resultFileName(options.comFile, options.attributes.size(), position);
  // A file that cannot be opened swallows the piece without a message.
  ResultFile file;
  if (file.open(name)) printBitRow(mask.data, mask.size, file.stream(), false);
}
