#include "driver/run_project.h"

#include "base/fatal.h"
#include "base/result_files.h"
#include "driver/result_paths.h"
#include "engine/ovrell.h"
#include "engine/partial_results.h"
#include "output/result_sinks.h"
#include "project/project.h"

void runProject(Options& options) {
  Project project(options);
  Ovrell engine(options);
  project.parseProjectFile();
  if (options.attributes.empty()) project.addAllFilesAttribute();
  const std::vector<boost::filesystem::path>& files = project.files;

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
    if (result.deleted) clearOldResult(result.role, result.name);
    if (result.written) written.push_back(result.name);
  }
  registerResultFiles(written, options.disFile.empty() ? "" : kPartialResultsFile);
  installSignalCleanup();

  project.checkAttributes();
  CommonalitiesOutput masks(options);
  DissimilaritiesOutput stretches(options);
  engine.runAnalysis(files, project.attributeIndex, masks,
                     options.disFile.empty() ? nullptr : &stretches);
}
