// Splitting one project-file line into fields.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/project.h"

namespace {

using Fields = std::vector<std::string>;

const std::string kNoError = "<no error>";
const std::string kSingle = "unclosed single quote.";
const std::string kDouble = "unclosed double quote.";
const std::string kBackslash = "single backslash at the end of line.";

struct Outcome {
  std::string error;
  Fields fields;
};

// Tokenizes into a list that already holds stale entries, which must go.
Outcome tokenize(const std::string& line) {
  Fields fields = {"stale", "entries"};
  const char* error = Project::tokenizeLine(line, fields);
  return {error == nullptr ? kNoError : std::string(error), fields};
}

struct Case {
  std::string line;
  Fields fields;
};

void expectFields(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE("line: [" + c.line + "]");
    Outcome o = tokenize(c.line);
    EXPECT_EQ(o.error, kNoError);
    EXPECT_EQ(o.fields, c.fields);
  }
}

TEST(Tokenizer, LinesWithoutFieldsYieldNothing) {
  expectFields({
      {"", {}},
      {"   ", {}},
      {" \t,,\t , ", {}},
      {"# a comment 'with' \"quotes\" and \\", {}},
      {"  ,\t# comment after separators", {}},
  });
}

TEST(Tokenizer, SeparatorsSplitAndNeverMakeEmptyFields) {
  expectFields({
      {"a,b c\td", {"a", "b", "c", "d"}},
      {"a,,b", {"a", "b"}},
      {" , a \t,, b ,", {"a", "b"}},
      {"abc", {"abc"}},
  });
}

TEST(Tokenizer, QuotesDelimitFieldsAndPairsMakeEmptyFields) {
  expectFields({
      {"'' x", {"", "x"}},
      {"\"\"", {""}},
      {"''''", {"", ""}},
      {"\"a b\",'c,d'", {"a b", "c,d"}},
      {"'it''s'", {"it", "s"}},
      {"\"it's\"", {"it's"}},
      {"'say \"hi\"'", {"say \"hi\""}},
      {"ab'cd'ef", {"ab", "cd", "ef"}},
      {"\"ab\"cd", {"ab", "cd"}},
      {"\"a\"\"b\"", {"a", "b"}},
      {"'a\tb # c'", {"a\tb # c"}},
  });
}

TEST(Tokenizer, BackslashTakesTheNextByteLiterally) {
  expectFields({
      {"a\\ b", {"a b"}},
      {"\\#x", {"#x"}},
      {"a\\,b c", {"a,b", "c"}},
      {"\\'x", {"'x"}},
      {"\\\\", {"\\"}},
      {"\\ ", {" "}},
      {"\"a\\\"b\"", {"a\"b"}},
      {"'\\\\'", {"\\"}},
      {"'a\\'b'", {"a'b"}},
      {"\"a\\\\\" b", {"a\\", "b"}},
  });
}

TEST(Tokenizer, HashOutsideQuotesEndsTheLine) {
  expectFields({
      {"abc#def", {"abc"}},
      {"\"a#b\" c # d", {"a#b", "c"}},
      {"'#' x#'unclosed", {"#", "x"}},
      {"a #\"unclosed", {"a"}},
      {"a#\\", {"a"}},
  });
}

TEST(Tokenizer, OtherBytesAreOrdinary) {
  expectFields({
      {"x\r", {"x\r"}},
      {"a 2\r", {"a", "2\r"}},
      {std::string("a\0b c", 5), {std::string("a\0b", 3), "c"}},
      {std::string("\0", 1), {std::string("\0", 1)}},
      {"\x80\xff \xe9t\xe9", {"\x80\xff", "\xe9t\xe9"}},
      {"a\vb\fc\n", {"a\vb\fc\n"}},
  });
}

struct ErrorCase {
  std::string line;
  std::string error;
  Fields fields;
};

// After a quote error the list is emptied, but the field still being built
// is emitted at the end; the backslash error keeps the list and replaces a
// quote error.
TEST(Tokenizer, ErrorsTheirPrecedenceAndWhatIsLeftInTheList) {
  const std::vector<ErrorCase> cases = {
      {"ab\"cd", kDouble, {"cd"}},       {"x y \"", kDouble, {}},     {"'ab", kSingle, {"ab"}},
      {"x 'a b", kSingle, {"a b"}},      {"'it''", kSingle, {}},      {"ab\\", kBackslash, {"ab"}},
      {"x y\\", kBackslash, {"x", "y"}}, {"x \\", kBackslash, {"x"}}, {"'ab\\", kBackslash, {"ab"}},
      {"x 'ab\\", kBackslash, {"ab"}},   {"x \"\\", kBackslash, {}},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE("line: [" + c.line + "]");
    Outcome o = tokenize(c.line);
    EXPECT_EQ(o.error, c.error);
    EXPECT_EQ(o.fields, c.fields);
  }
}

TEST(Tokenizer, KeepsNoStateBetweenCalls) {
  Fields fields;
  ASSERT_NE(Project::tokenizeLine("'open", fields), nullptr);
  EXPECT_EQ(Project::tokenizeLine("a b", fields), nullptr);
  EXPECT_EQ(fields, (Fields{"a", "b"}));

  ASSERT_NE(Project::tokenizeLine("\"open", fields), nullptr);
  EXPECT_EQ(Project::tokenizeLine("c", fields), nullptr);
  EXPECT_EQ(fields, Fields{"c"});

  ASSERT_NE(Project::tokenizeLine("tail\\", fields), nullptr);
  EXPECT_EQ(Project::tokenizeLine(" d", fields), nullptr);
  EXPECT_EQ(fields, Fields{"d"});
}

}  // namespace
