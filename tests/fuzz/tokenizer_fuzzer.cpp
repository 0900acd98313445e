// Fuzz target: feeds the whole input, as one project-file line, to
// Project::tokenizeLine.
//
// Checks, besides the sanitizers: the error is none or one of the three known
// texts; an unclosed quote leaves at most the one trailing field; a second
// call on a list with stale entries gives the same outcome; and a line that
// tokenizes without error round-trips: its fields written back quoted with
// single quotes, with double quotes, or unquoted with every byte escaped, and
// joined with separators, tokenize to the same fields; a trailing comment
// changes nothing.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "project/project.h"

namespace {

using Fields = std::vector<std::string>;

void check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "tokenizer oracle failed: %s\n", what);
  std::abort();
}

// Writes each field back between `quote`s, a backslash before `quote` and
// before a backslash, and joins them with `separator`.
std::string quoted(const Fields& fields, char quote, const std::string& separator) {
  std::string line;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) line += separator;
    line += quote;
    for (char c : fields[i]) {
      if (c == quote || c == '\\') line += '\\';
      line += c;
    }
    line += quote;
  }
  return line;
}

// Writes each field with a backslash before every byte (an empty field as
// ''), joined with a comma.
std::string escaped(const Fields& fields) {
  std::string line;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) line += ',';
    if (fields[i].empty()) line += "''";
    for (char c : fields[i]) {
      line += '\\';
      line += c;
    }
  }
  return line;
}

// The line tokenizes without error to exactly `expected`.
void expectTokens(const std::string& line, const Fields& expected, const char* what) {
  Fields fields = {"stale"};
  check(Project::tokenizeLine(line, fields) == nullptr, what);
  check(fields == expected, what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  Fields fields;
  const char* error = Project::tokenizeLine(line, fields);

  Fields again = {"stale", ""};
  const char* errorAgain = Project::tokenizeLine(line, again);
  check(again == fields, "a second call gives other fields");
  check((error == nullptr) == (errorAgain == nullptr) &&
            (error == nullptr || std::strcmp(error, errorAgain) == 0),
        "a second call gives another error");

  if (error != nullptr) {
    const std::string text = error;
    check(text == "unclosed single quote." || text == "unclosed double quote." ||
              text == "single backslash at the end of line.",
          "unknown error text");
    if (text != "single backslash at the end of line.")
      check(fields.size() <= 1 && (fields.empty() || !fields[0].empty()),
            "an unclosed quote leaves more than its own field");
    return 0;
  }

  for (const std::string& field : fields)
    check(!field.empty() || line.find_first_of("'\"") != std::string::npos,
          "an empty field without any quote in the line");

  expectTokens(quoted(fields, '\'', " "), fields, "single-quoted round trip");
  expectTokens(quoted(fields, '"', ",\t"), fields, "double-quoted round trip");
  expectTokens(escaped(fields), fields, "escaped round trip");
  expectTokens(line + " #'\"\\", fields, "a trailing comment changes the fields");
  return 0;
}
