#include "driver/project.h"

#include <cstdio>

#include "engine/ovrell.h"
#include "output/result_file_name.h"

Project::Project(Options& options) : options(options) {}

Project::~Project() { freeAttributeIndex(attributeIndex); }

void Project::run() {
  Ovrell engine(options);
  parseProjectFile();
  if (options.attributes.empty()) addAllFilesAttribute();

  // The writers only append, so old results go first; deliberately before
  // the attribute names are checked. With several attributes only the
  // commonalities files carry the "_i" names here: the dissimilarities
  // files of earlier runs under "_i" names are kept and appended to.
  const std::size_t count = options.attributes.size();
  for (std::size_t i = 0; !options.comFile.empty() && i < count; ++i)
    std::remove(resultFileName(options.comFile, count, i).c_str());
  if (!options.disFile.empty()) std::remove(options.disFile.c_str());

  checkAttributes();
  engine.runAnalysis(files, attributeIndex);
}

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
