#include "driver/result_paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/fatal.h"
#include "base/file_identity.h"
#include "engine/budget.h"
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

void clearOldResult(const ResultPath& result) {
  const char* name = result.name.c_str();
  struct stat link {
  }, target{};
  if (::lstat(name, &link) != 0) return;
  const bool followed = ::stat(name, &target) == 0;
  if (S_ISLNK(link.st_mode) && !(followed && S_ISREG(target.st_mode))) return;
  if (!S_ISLNK(link.st_mode) && !S_ISREG(link.st_mode)) return;
  const int fd = S_ISLNK(link.st_mode) ? ::open(name, O_WRONLY | O_TRUNC | O_CLOEXEC) : -1;
  if (fd >= 0) ::close(fd);
  const bool cleared = S_ISLNK(link.st_mode) ? fd >= 0 : std::remove(name) == 0 || errno == ENOENT;
  if (!cleared)
    fatal("ovrell: cannot delete the old ", result.role, " '", result.name,
          "': ", std::strerror(errno), "; nothing was written\n");
}

void refuseEndlessReadBack(const Options& options, const std::vector<fs::path>& files) {
  if (options.disFile.empty() || files.empty()) return;
  struct stat status {};
  std::uint64_t fileSize = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (::stat(files[i].c_str(), &status) != 0) return;
    const std::uint64_t size = static_cast<std::uint64_t>(status.st_size);
    if (i > 0 && size != fileSize) return;
    fileSize = size;
  }
  if (fileSize == 0 || fileSize > kLargestFileSize) return;
  const unsigned width = valueWidthFor(true, fileSize);
  const auto n = static_cast<std::uint32_t>(files.size());
  const std::uint32_t raw = rawBlockSize(options.memLimit, n, width, options.linear);
  if (raw <= 7) return;  // too many files: the run says so
  const std::uint64_t blockSize = blockSizeFor(raw, fileSize);
  if (!readBackRunsOn(fileSize, blockSize)) return;
  // A limit that makes the raw block the largest multiple of 8 not above
  // the file size splits the files into a full block and a short one. The
  // files are 8 bytes or longer here: shorter ones wrap to a negative count.
  const std::uint64_t fixedCost = options.linear ? 16ULL * n : (n - 1ULL) * n * width / 2;
  const std::uint64_t divisor = 2ULL * n + 8ULL * width + 1;
  const std::uint64_t limit =
      std::min<std::uint64_t>(fixedCost + divisor * (fileSize / 8 * 8 + 1) - 1, UINT32_MAX);
  fatal("ovrell: files of ", fileSize, " bytes in one block of ", blockSize,
        " bytes: the commonalities would be read back without end; use -m ", limit,
        " or less; nothing was deleted or written\n");
}
