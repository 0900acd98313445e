#include "output/result_file_name.h"

#include "base/fatal.h"

std::string resultFileName(const std::string& base, std::size_t attributeCount,
                           std::size_t position) {
  if (attributeCount < 2) return base;
  return base + "_" + std::to_string(position);
}

void cannotOpenResultFile(const std::string& name) {
  fatal("Error wile opening file:'", name, "' for writing\n");
}
