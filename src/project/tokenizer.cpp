// Project::tokenizeLine; its contract is in project/project.h.
#include "project/project.h"

namespace {
const char kUnclosedSingle[] = "unclosed single quote.";
const char kUnclosedDouble[] = "unclosed double quote.";
const char kLoneBackslash[] = "single backslash at the end of line.";
}  // namespace

const char* Project::tokenizeLine(const std::string& line, std::vector<std::string>& fields) {
  fields.clear();
  std::string field;
  bool inSingle = false;
  bool inDouble = false;
  bool escape = false;
  auto emit = [&] {
    fields.push_back(field);
    field.clear();
  };

  for (char c : line) {
    if (escape) {
      field += c;
      escape = false;
    } else if (inSingle || inDouble) {
      if (c == (inSingle ? '\'' : '"')) {
        emit();
        inSingle = inDouble = false;
      } else if (c == '\\') {
        escape = true;
      } else {
        field += c;
      }
    } else if (c == '#') {
      break;  // a comment ends the line; only the final emit remains
    } else if (c == '\'' || c == '"') {
      if (!field.empty()) emit();
      (c == '\'' ? inSingle : inDouble) = true;
    } else if (c == '\\') {
      escape = true;
    } else if (c == ' ' || c == '\t' || c == ',') {
      if (!field.empty()) emit();
    } else {
      field += c;
    }
  }

  const char* error = nullptr;
  if (inSingle) {
    error = kUnclosedSingle;
    fields.clear();
  }
  if (inDouble) {
    error = kUnclosedDouble;
    fields.clear();
  }
  if (escape) error = kLoneBackslash;
  if (!field.empty()) emit();
  return error;
}
