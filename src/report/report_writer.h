// The report's outputs: the text table, the JSON document, the picture and
// the Kaitai Struct description.
//
// A writer is told the run's facts once (`begin`), then each attribute's
// findings in the order named, as soon as its scan is done (so memory holds
// one attribute's findings at a time), then `end`. A writer may walk the
// findings as often as it likes; it writes through base/output.h, so a
// failed write ends the run.
#ifndef OVRELL_REPORT_REPORT_WRITER_H_
#define OVRELL_REPORT_REPORT_WRITER_H_

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "explain/explanation.h"
#include "report/findings.h"
#include "report/report_options.h"

// What every writer knows of the run: the file size, the data files as the
// project file names them, in its order, what changes between them (in the
// files' own offsets), and the -e chunk size that maps the findings'
// offsets to the files'.
struct ReportRun {
  std::uint64_t fileSize;
  std::vector<std::string> fileNames;
  const Explanation* explanation = nullptr;
  std::uint32_t chunkSize = 1;
};

class ReportWriter {
 public:
  virtual ~ReportWriter() = default;
  virtual void begin(const ReportRun& run) = 0;
  virtual void attribute(Findings& findings) = 0;
  virtual void end() = 0;
};

// The text table of report/text_writer.cpp; `colour`: ANSI colours.
std::unique_ptr<ReportWriter> textWriter(std::ostream& out, const ReportOptions& options,
                                         bool colour);
// The JSON document of report/json_writer.cpp.
std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out);
// The HTML picture of report/html_writer.cpp.
std::unique_ptr<ReportWriter> htmlWriter(std::ostream& out);
// The Kaitai Struct description of report/ksy_writer.cpp; its root type is
// named after `projectFile` (the name without directory and extension, as
// an identifier). The findings' offsets must be the files' own (no -e, -b);
// REQUIRES: the run's explanation.
std::unique_ptr<ReportWriter> ksyWriter(std::ostream& out, const std::string& projectFile);
// `text` as the inside of a JSON string: `"`, `\` and the control characters
// escaped as JSON escapes them (`\n`, `\u001b`, ...), valid UTF-8 as it is,
// and each byte that is not part of valid UTF-8 as the lone surrogate
// `\udcXX` (XX its value, 80 to ff), so that different byte strings stay
// different strings. `forTerminal` also escapes DEL and the C1 controls
// (U+0080 to U+009F), which a terminal may act on.
std::string jsonEscaped(const std::string& text, bool forTerminal = false);

// The checksum field of the explanation that holds every byte of the
// findings' bytes first..last (offsets as the scan saw them), or nullptr:
// informative bits there come from the checksum.
const ChecksumField* checksumHolding(const ReportRun& run, std::uint64_t first, std::uint64_t last);
// The colour of a kind of explained field, the same in the picture (CSS)
// and on the terminal (an ANSI code).
const char* kindColour(FieldKind kind);
const char* kindAnsi(FieldKind kind);

// The most cells the picture draws per attribute: the bytes a cell stands
// for, for files of `fileSize` bytes.
std::uint64_t bytesPerCellFor(std::uint64_t fileSize);

#endif  // OVRELL_REPORT_REPORT_WRITER_H_
