// Fuzz target: one project-file line through Project::tokenizeLine. An error is one of the three
// known texts; a second call on a stale list gives the same outcome; the fields of a line without
// error come back alike when written back quoted, or escaped byte by byte, or with a comment.
#include <cstdint>
#include <cstdio>
#include <set>

#include "project/project.h"

namespace {

void check(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "tokenizer oracle failed: %s\n", what);
  std::abort();
}

// Each field between `quote`s, a backslash before a quote or backslash; or, with quote 0, a
// backslash before every byte and '' for an empty field. Joined by `separator`.
std::string written(const std::vector<std::string>& fields, char quote, const char* separator) {
  std::string line;
  for (const std::string& field : fields) {
    line += (line.empty() ? "" : separator) + std::string(quote ? "" : field.empty() ? "''" : "");
    if (quote) line += quote;
    for (char c : field)
      line += (!quote || c == quote || c == '\\' ? "\\" : "") + std::string(1, c);
    if (quote) line += quote;
  }
  return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::set<std::string> errors = {"unclosed single quote.", "unclosed double quote.",
                                               "single backslash at the end of line."};
  const std::string line(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> fields, again = {"stale"};
  const char* error = Project::tokenizeLine(line, fields);
  check(Project::tokenizeLine(line, again) == error && again == fields, "a second call differs");
  check(!error || errors.count(error), "an unknown error text");
  for (const std::string& back : {written(fields, '\'', " "), written(fields, '"', ",\t"),
                                  written(fields, 0, ","), line + " #'\"\\"})
    check(error || (!Project::tokenizeLine(back, again) && again == fields), "a line written back");
  return 0;
}
