#include "driver/result_paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

#include "base/fatal.h"
#include "base/result_files.h"
#include "engine/budget.h"
#include "engine/partial_results.h"
#include "output/result_file_name.h"

namespace fs = boost::filesystem;

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
  OutputGuard guard;
  guard.addInput("project file", options.projectFile);
  for (const fs::path& file : files) guard.addInput("data file", file.string());
  if (!options.disFile.empty()) guard.addInput("partial results file", kPartialResultsFile);
  for (const ResultPath& result : results) guard.addOutput(result.role, result.name);
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
  fatalNamed("files of ", fileSize, " bytes in one block of ", blockSize,
             " bytes: the commonalities would be read back without end; use -m ", limit,
             " or less; nothing was deleted or written");
}
