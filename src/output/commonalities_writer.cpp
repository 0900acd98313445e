// Members of Ovrell; contracts in engine/ovrell.h.
#include <iostream>

#include "base/output.h"
#include "engine/ovrell.h"
#include "output/result_file_name.h"

std::ostream* Ovrell::openCommonalities(ResultFile& file, std::size_t position) {
  if (options.comFile.empty()) return &std::cout;
  // A file that cannot be opened swallows the piece without a message.
  if (!file.open(resultFileName(options.comFile, options.attributes.size(), position)))
    return nullptr;
  return &file.stream();
}
