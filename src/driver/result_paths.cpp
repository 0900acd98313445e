#include "driver/result_paths.h"

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

#include "base/fatal.h"
#include "engine/partial_results.h"
#include "output/result_file_name.h"

namespace fs = boost::filesystem;

namespace {

// A file as the guard compares it: its role, its name as the user gave it,
// its absolute normal name, and its inode when it is there.
struct Identity {
  const char* role;
  std::string name, normal;
  bool there;
  dev_t device;
  ino_t inode;
};

Identity identityOf(const char* role, const std::string& name) {
  boost::system::error_code error;
  fs::path normal = fs::weakly_canonical(fs::absolute(name), error);
  if (error) normal = fs::absolute(name).lexically_normal();
  struct stat status {};
  const bool there = ::stat(name.c_str(), &status) == 0;
  return Identity{role, name, normal.string(), there, status.st_dev, status.st_ino};
}

bool sameFile(const Identity& a, const Identity& b) {
  if (a.there && b.there) return a.device == b.device && a.inode == b.inode;
  return a.normal == b.normal;
}

}  // namespace

std::vector<ResultPath> resultPathsOf(const Options& options) {
  std::vector<ResultPath> paths;
  const std::size_t count = options.attributes.size();
  for (std::size_t i = 0; !options.comFile.empty() && i < count; ++i)
    paths.push_back({"commonalities file", resultFileName(options.comFile, count, i), true, true});
  if (options.disFile.empty()) return paths;
  if (count >= 2) paths.push_back({"dissimilarities file", options.disFile, true, false});
  for (std::size_t i = 0; i < count; ++i)
    paths.push_back({"dissimilarities file", resultFileName(options.disFile, count, i), count < 2,
                     true});
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
        fatal("ovrell: the ", outputs[i].role, " '", outputs[i].name, "' is the ", input.role,
              " '", input.name, "'; nothing was deleted or written\n");
    for (std::size_t j = 0; j < i; ++j)
      if (sameFile(outputs[i], outputs[j]))
        fatal("ovrell: the ", outputs[i].role, " '", outputs[i].name, "' and the ",
              outputs[j].role, " '", outputs[j].name,
              "' are the same file; nothing was deleted or written\n");
  }
}
