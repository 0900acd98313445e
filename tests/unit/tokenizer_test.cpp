#include <gtest/gtest.h>

#include "project/project.h"

// Project-file lines with their outcome: the error if there is one, then every field in brackets.
TEST(Tokenizer, SplitsFieldsAndReportsErrors) {
  const std::string b = "single backslash at the end of line.";
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {" \t,,\t , # 'x' \"y\" \\", ""}, {" a,b,,c\t d ", "[a][b][c][d]"},
      {"'' x \"\" \"a b\",'c,d'", "[][x][][a b][c,d]"},
      {"'it''s' \"it's\" 'say \"hi\"'", "[it][s][it's][say \"hi\"]"},
      {"ab'cd'ef\"gh\"", "[ab][cd][ef][gh]"}, {"a\\ b\\,c \\#x \\'y", "[a b,c][#x]['y]"},
      {"\"a\\\"b\" 'a\\'b\\\\'", "[a\"b][a'b\\]"}, {"\"a#b\" c#'open\\", "[a#b][c]"},
      {std::string("x\r a\0b \x80\xff", 9), std::string("[x\r][a\0b][\x80\xff]", 13)},
      {"ab\"cd", "unclosed double quote.[cd]"}, {"x 'a b", "unclosed single quote.[a b]"},
      {"x y\\", b + "[x][y]"}, {"x 'ab\\", b + "[ab]"}, {"x \"\\", b}};
  // clang-format on
  for (const auto& [line, expected] : cases) {
    std::vector<std::string> fields = {"stale"};
    const char* error = Project::tokenizeLine(line, fields);
    std::string outcome = error ? error : "";
    for (const std::string& f : fields) outcome += "[" + f + "]";
    EXPECT_EQ(outcome, expected) << "line [" << line << "]";
  }
}
