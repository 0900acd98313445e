#include "driver/result_paths.h"

#include "base/fatal.h"
#include "base/file_identity.h"
#include "engine/partial_results.h"
#include "output/result_file_name.h"

namespace fs = boost::filesystem;

namespace {

// A file as the guard compares it: its role, its name as the user gave it,
// and its identity.
struct Identity {
  const char* role;
  std::string name;
  FileIdentity file;
};

Identity identityOf(const char* role, const std::string& name) {
  return Identity{role, name, fileIdentity(name)};
}

bool sameFile(const Identity& a, const Identity& b) { return ::sameFile(a.file, b.file); }

}  // namespace

std::vector<ResultPath> resultPathsOf(const Options& options) {
  std::vector<ResultPath> paths;
  const std::size_t count = options.attributes.size();
  for (std::size_t i = 0; !options.comFile.empty() && i < count; ++i)
    paths.push_back({"commonalities file", resultFileName(options.comFile, count, i), true, true});
  if (options.disFile.empty()) return paths;
  if (count >= 2) paths.push_back({"dissimilarities file", options.disFile, true, false});
  for (std::size_t i = 0; i < count; ++i)
    paths.push_back(
        {"dissimilarities file", resultFileName(options.disFile, count, i), count < 2, true});
  return paths;
}

void refuseCollisions(const Options& options, const std::vector<fs::path>& files,
                      const std::vector<ResultPath>& results) {
  std::vector<Identity> inputs{identityOf("project file", options.projectFile)};
  for (const fs::path& file : files) inputs.push_back(identityOf("data file", file.string()));
  if (!options.disFile.empty())
    inputs.push_back(identityOf("partial results file", kPartialResultsFile));

  std::vector<Identity> outputs;
  for (const ResultPath& result : results) outputs.push_back(identityOf(result.role, result.name));
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    for (const Identity& input : inputs)
      if (sameFile(outputs[i], input))
        fatal("ovrell: the ", outputs[i].role, " '", outputs[i].name, "' is the ", input.role, " '",
              input.name, "'; nothing was deleted or written\n");
    for (std::size_t j = 0; j < i; ++j)
      if (sameFile(outputs[i], outputs[j]))
        fatal("ovrell: the ", outputs[i].role, " '", outputs[i].name, "' and the ", outputs[j].role,
              " '", outputs[j].name, "' are the same file; nothing was deleted or written\n");
  }
}
