// CommonalitiesOutput and DissimilaritiesOutput; contracts in
// output/result_sinks.h.
#include "output/result_sinks.h"

#include <sys/resource.h>

#include <algorithm>
#include <iostream>

#include "output/result_file_name.h"

namespace {
// Result files written at once by one read of a block.
constexpr std::uint64_t kMostOpenResults = 64;
}  // namespace

CommonalitiesOutput::CommonalitiesOutput(const Options& options)
    : options_(options), formatter_(options.format, options.space) {}

std::size_t CommonalitiesOutput::piecesAtOnce(std::size_t dataFiles) const {
  // Attributes that share standard output print one whole block each, in
  // turn; attributes with files of their own share one read, as many at a
  // time as can keep their files open beside the data files.
  if (options_.comFile.empty()) return 1;
  rlimit limit{};
  const std::uint64_t open = getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 1024;
  const std::uint64_t spare = open > dataFiles + 16 ? open - dataFiles - 16 : 1;
  return static_cast<std::size_t>(std::min<std::uint64_t>(spare, kMostOpenResults));
}

bool CommonalitiesOutput::openPiece(std::size_t position) {
  if (options_.comFile.empty()) {
    pieces_.push_back(&std::cout);
    return true;
  }
  // A file that cannot be opened swallows the piece without a message.
  files_.push_back(std::make_unique<ResultFile>());
  if (!files_.back()->open(
          resultFileName(options_.comFile, options_.attributes.size(), position))) {
    files_.pop_back();
    return false;
  }
  pieces_.push_back(&files_.back()->stream());
  return true;
}

void CommonalitiesOutput::closePieces() {
  for (std::unique_ptr<ResultFile>& file : files_) file->close();
  files_.clear();
  pieces_.clear();
}

void CommonalitiesOutput::openMask(std::size_t position) {
  mask_ = &std::cout;
  if (options_.comFile.empty()) return;
  const std::string name = resultFileName(options_.comFile, options_.attributes.size(), position);
  maskFile_ = std::make_unique<ResultFile>();
  if (!maskFile_->open(name)) cannotOpenResultFile(name);
  mask_ = &maskFile_->stream();
}

void CommonalitiesOutput::closeMask() {
  if (maskFile_ != nullptr) maskFile_->close();
  maskFile_.reset();
  mask_ = nullptr;
}

void DissimilaritiesOutput::openBlock(std::size_t position) {
  const std::string name = resultFileName(options_.disFile, options_.attributes.size(), position);
  file_ = std::make_unique<ResultFile>();
  if (!file_->open(name)) cannotOpenResultFile(name);
}
