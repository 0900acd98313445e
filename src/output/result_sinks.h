// ovrell's sinks: the masks as text in the chosen format, the stretches as
// lines "(first-last)", to the result files of -c and -d or to standard
// output.
//
// With several attributes each has its own file, named by
// output/result_file_name.h; without -c every mask goes to standard output.
// A commonalities file that cannot be opened for a block loses that block's
// piece without a message; one that cannot be opened for a whole mask, and
// a dissimilarities file that cannot be opened, end the run. Every write is
// checked (base/output.h). The options must outlive the sinks and keep
// their result names and attributes.
#ifndef OVRELL_OUTPUT_RESULT_SINKS_H_
#define OVRELL_OUTPUT_RESULT_SINKS_H_

#include <memory>
#include <ostream>
#include <vector>

#include "base/output.h"
#include "engine/sinks.h"
#include "options/options.h"
#include "output/bit_row_formatter.h"

class CommonalitiesOutput : public MaskSink {
 public:
  explicit CommonalitiesOutput(const Options& options);

  std::size_t piecesAtOnce(std::size_t dataFiles) const override;
  bool openPiece(std::size_t position) override;
  bool maskIsText() const override { return formatter_.rowIsText(); }
  std::uint64_t textBound(std::uint64_t length) const override {
    return formatter_.sizeBound(length);
  }
  std::size_t formatPart(const unsigned char* mask, std::uint64_t length, bool endsPiece,
                         char* to) const override {
    return formatter_.formatPart(mask, length, endsPiece, to);
  }
  void putPart(std::size_t piece, const char* text, std::size_t size,
               std::uint64_t length) override {
    formatter_.put(text, size, length, *pieces_[piece]);
  }
  void closePieces() override;

  void openMask(std::size_t position) override;
  void putMask(const unsigned char* mask, std::uint64_t length) override {
    formatter_.print(mask, length, *mask_);
  }
  void closeMask() override;

 private:
  const Options& options_;
  const BitRowFormatter formatter_;
  std::vector<std::unique_ptr<ResultFile>> files_;  // of the open pieces, with -c
  std::vector<std::ostream*> pieces_;
  std::unique_ptr<ResultFile> maskFile_;  // of the whole mask, with -c
  std::ostream* mask_ = nullptr;
};

class DissimilaritiesOutput : public StretchSink {
 public:
  explicit DissimilaritiesOutput(const Options& options) : options_(options) {}

  void openBlock(std::size_t position) override;
  void stretch(std::uint64_t first, std::uint64_t last) override {
    file_->stream() << '(' << first << '-' << last << ")\n";
  }
  void closeBlock() override { file_.reset(); }

 private:
  const Options& options_;
  std::unique_ptr<ResultFile> file_;  // a fresh stream for every block
};

#endif  // OVRELL_OUTPUT_RESULT_SINKS_H_
