// Project::run and Project::addAllFilesAttribute; contracts in
// project/project.h.
#include "project/project.h"

#include "base/output.h"
#include "driver/result_paths.h"
#include "engine/ovrell.h"
#include "engine/partial_results.h"
#include "output/result_sinks.h"

Project::Project(Options& options) : options(options) {}

Project::~Project() { freeAttributeIndex(attributeIndex); }

void Project::run() {
  Ovrell engine(options);
  parseProjectFile();
  if (options.attributes.empty()) addAllFilesAttribute();

  const std::vector<ResultPath> results = resultPathsOf(options);
  refuseCollisions(options, files, results);
  refuseEndlessReadBack(options, files);
  // One run at a time writes the partial results file of a directory; the
  // lock comes before the old results go, so that a waiting run deletes
  // nothing of the one it waits for.
  if (!options.disFile.empty()) {
    lockWorkingDirectory();
    refuseForeignPartialResults();
  }

  // The writers only append, so old results go first; deliberately before
  // the attribute names are checked. With several attributes only the
  // commonalities files carry the "_i" names here: the dissimilarities
  // files of earlier runs under "_i" names are kept and appended to. An old
  // result that cannot be deleted ends the run here, before anything is
  // appended to it.
  std::vector<std::string> written;
  for (const ResultPath& result : results) {
    if (result.deleted) clearOldResult(result);
    if (result.written) written.push_back(result.name);
  }
  registerResultFiles(written, options.disFile.empty() ? "" : kPartialResultsFile);
  installSignalCleanup();

  checkAttributes();
  CommonalitiesOutput masks(options);
  DissimilaritiesOutput stretches(options);
  engine.runAnalysis(files, attributeIndex, masks, options.disFile.empty() ? nullptr : &stretches);
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
