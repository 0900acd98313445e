// The Project's life and its synthetic attribute; contracts in
// project/project.h.
#include "project/project.h"

Project::Project(Options& options) : options(options) {}

Project::~Project() { freeAttributeIndex(attributeIndex); }

void Project::addAllFilesAttribute() {
  ValueGroups* groups = new ValueGroups;
  std::string name = "_id";
  for (unsigned long counter = 0; attributeIndex[name] != nullptr; ++counter)
    name = "_id" + std::to_string(counter);
  attributeIndex[name] = groups;

  FileIndexList* all = new FileIndexList;
  (*groups)["s"] = all;
  for (std::size_t i = 0; i < files.size(); ++i) all->push_back(static_cast<std::uint32_t>(i));
  options.attributes.push_back(name);
}
