// The analysis engine: one run over a project's data files.
//
// `runAnalysis` is the whole computation over a project's files and
// attribute index: it checks the files, sizes the blocks from the memory
// limit and runs the pass that fits, the commonalities-only pass
// (engine/commonalities_pass.h) or, when a stretch sink is given, the
// dissimilarity pass (engine/dissimilarity_pass.h), which hand what they
// find to the sinks (engine/sinks.h). The other methods are the steps that
// the report shares. The engine borrows the Options record (which must
// outlive it; checkInput may reset its chunk size) and owns its tile
// reader; every other buffer is made and freed by the run, and the files
// are read through the run's open data files (base/data_files.h). Errors
// end the process inside the method that finds them.
#ifndef OVRELL_ENGINE_OVRELL_H_
#define OVRELL_ENGINE_OVRELL_H_

#include <cstdint>

#include "base/data_files.h"
#include "engine/sinks.h"
#include "engine/tile_reader.h"
#include "options/options.h"
#include "project/attribute_index.h"

class Ovrell {
 public:
  explicit Ovrell(Options& options) : options(options) {}
  // The options the engine runs with (checkInput may have reset the chunk
  // size).
  const Options& runOptions() const { return options; }
  // The reader of the run's blocks, in the byte order checkInput settled.
  TileReader& tiles() { return tiles_; }

  // Opens the files for the run (DataFiles) and runs over them; the masks
  // go to `masks`, and the stretches, when `stretches` is not null, to it.
  void runAnalysis(const FileList& files, AttributeIndex& attributeIndex, MaskSink& masks,
                   StretchSink* stretches);

  // The common size of at least two existing files, always > 0, each opened
  // for the run. Ends the process otherwise; all files empty ends it with
  // status 0.
  std::uint64_t checkFiles(DataFiles& files);
  // checkFiles, then the chunk size of -e: when the file size is not a
  // multiple of it, a warning, and chunkSize becomes 1. Sets the tile
  // reader's byte order.
  std::uint64_t checkInput(DataFiles& files);
  // The block size for a run over `fileCount` files of `fileSize` bytes;
  // ends the process when the file is too large or the limit too small.
  // Sets valueWidth (0 without dissimilarities).
  std::uint64_t computeBlockSize(std::uint64_t fileCount, std::uint64_t fileSize,
                                 unsigned& valueWidth, bool dissimilarities);

 private:
  Options& options;
  TileReader tiles_;
};

#endif  // OVRELL_ENGINE_OVRELL_H_
