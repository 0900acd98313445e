#include "explain/kinds.h"

#include "explain/counters.h"
#include "explain/entropy.h"
#include "explain/run_window.h"
#include "explain/text_runs.h"
#include "explain/timestamps.h"

namespace {

constexpr std::uint64_t kMargin = 24;  // bytes read on either side: the longest date

}  // namespace

const char* runKindName(RunKind kind) {
  static const char* const names[] = {"counter", "timestamp", "text", "random", "unexplained"};
  return names[static_cast<int>(kind)];
}

RunClass classifyRun(const ByteSource& source, const ByteRun& run,
                     const std::vector<AttributeValues>& attributes) {
  RunClass out;
  const RunWindow w = readRunWindow(source, run, kMargin);
  const bool printable = isPrintableRun(w);
  // Text first: printable bytes read as an integer look like a recent time.
  if (printable && findTextTimestamp(w, out)) return out;
  const bool text = printable && w.length() > 1;
  if (!text && w.length() <= 8 &&
      (findCounterByAttribute(w, attributes, out) || findCounter(w, out) ||
       findBinaryTimestamp(w, out)))
    return out;
  out.firstByte = run.first;
  out.lastByte = run.last;
  if (printable)
    out.kind = RunKind::kText;
  else if (looksRandom(w))
    out.kind = RunKind::kRandom;
  return out;
}

RunClass classifyRun(const ByteSource& source, const ByteRun& run) {
  return classifyRun(source, run, {});
}
