// Project files as scripts and careless hands write them: NUL and high bytes, lines of a mebibyte,
// CR LF line ends, thousands of attributes and data lines, paths with every odd character. Each
// run is compared whole: standard output, standard error, exit status and result files.
#include <set>

#include "case_runner.h"

namespace {

struct Expected {
  std::string out, err;
  int status;
};

void expectRun(const Sandbox& sb, const Args& args, const Expected& expected) {
  SCOPED_TRACE(::testing::PrintToString(args));
  const Outcome run = runOvrell(sb, args);
  EXPECT_EQ(std::make_tuple(run.out, run.err, run.status),
            std::make_tuple(expected.out, expected.err, expected.status));
}

std::string unknown(const std::string& name) {
  return "Attribute \"" + name + "\" is not specified in the project file.\n";
}

const char kFieldCount[] =
    ". Number of attribute values does not correspond to number of attributes defined in header. "
    "To specify empty attribute use ''. \n";

// Names and values are byte strings: a NUL does not end them and bytes 0x80-0xFF are kept. With
// the values "x\0y" and "x\0z" kept whole, attribute "\xE9t\xFF" has the groups {a, c} and {b}
// (mask FE); cut at the NUL it would have one group (mask 0E).
TEST(HostileProjectFiles, NulAndHighBytesInNamesAndValues) {
  const Sandbox sb;
  using namespace std::string_literals;
  put(sb, "p.txt",
      "file n\0ul \xE9t\xFF v\n"
      "a.bin 1 x\0y \x80\x81\n"
      "b.bin 1 x\0z \x80\x81\n"
      "c.bin 1 x\0y \xFF\n"s);
  put(sb, "a.bin", "\xF0");
  put(sb, "b.bin", "\x00"s);
  put(sb, "c.bin", "\xF1");
  expectRun(sb, {"-p", "p.txt", "-c", "res", "\xE9t\xFF", "v"}, {"", "", 0});
  EXPECT_EQ(slurp(sb.dir + "/res_0") + slurp(sb.dir + "/res_1"), "FE0F");
  expectRun(sb, {"-p", "p.txt", "-d", "dis", "\xE9t\xFF"}, {"FE", "", 0});
  EXPECT_EQ(slurp(sb.dir + "/dis"), "(3-3)\n(2-2)\n(1-1)\n(0-0)\n");
  expectRun(sb, {"-p", "p.txt", "n"}, {"", unknown("n"), 1});
  expectRun(sb, {"-p", "p.txt", "\xE9t"}, {"", unknown("\xE9t"), 1});
  put(sb, "q.txt", "file A\na.bin 'x\0\n"s);
  expectRun(sb, {"-p", "q.txt", "A"},
            {"", "Error while parsing the line no:2 of project file: unclosed single quote.\n", 1});
}

// A mebibyte of comment, of separators, of value, and of an unclosed quote.
TEST(HostileProjectFiles, LinesOfAMebibyte) {
  const Sandbox sb;
  const std::string big(1 << 20, 'v');
  std::string blanks;
  while (blanks.size() < big.size()) blanks += " \t,";
  put(sb, "p.txt",
      "# " + big + "\nfile A\n" + blanks + "\na.bin " + big + "\nb.bin " + big + "\nc.bin " +
          big.substr(1) + "w\n");
  put(sb, "a.bin", "\xF0");
  put(sb, "b.bin", "\xF1");
  put(sb, "c.bin", std::string(1, '\0'));
  expectRun(sb, {"-p", "p.txt", "A"}, {"FE", "", 0});
  put(sb, "q.txt", "file A\na.bin x\n\n'" + big + "\nb.bin x\n");
  expectRun(sb, {"-p", "q.txt", "A"},
            {"", "Error while parsing the line no:4 of project file: unclosed single quote.\n", 1});
}

// A carriage return is an ordinary byte: the last name of a CR LF header is "B\r", and "1\r" is a
// value of its own beside "1".
TEST(HostileProjectFiles, CrLfLineEnds) {
  const Sandbox sb;
  put(sb, "a.bin", "\xF0");
  put(sb, "b.bin", "\xF1");
  put(sb, "c.bin", std::string(1, '\0'));
  put(sb, "p.txt", "file A B\r\na.bin x 1\r\nb.bin x 2\r\nc.bin y 1\r\n");
  expectRun(sb, {"-p", "p.txt", "A"}, {"FE", "", 0});
  expectRun(sb, {"-p", "p.txt", "B\r"}, {"0F", "", 0});
  expectRun(sb, {"-p", "p.txt", "B"}, {"", unknown("B"), 1});
  put(sb, "q.txt", "file A B\na.bin x 1\r\nb.bin x 1\n");
  expectRun(sb, {"-p", "q.txt", "B"}, {"FF", "", 0});
  put(sb, "r.txt", "file A\r\na.bin x\r\n\r\nb.bin x\r\n");
  expectRun(sb, {"-p", "r.txt", "A"},
            {"", "Error while parsing the line no:3" + std::string(kFieldCount), 1});
}

// Ten thousand attributes, all named on the command line: one result file each. Even attributes
// group {a, b} against {c} (mask F0), odd ones {a} against {b, c} (mask 0F).
TEST(HostileProjectFiles, TenThousandAttributes) {
  const Sandbox sb;
  const int count = 10000;
  Args args{"-p", "p.txt", "-c", "res"};
  std::string header = "file", a = "a.bin", b = "b.bin", c = "c.bin";
  for (int i = 0; i < count; ++i) {
    args.push_back("a" + std::to_string(i));
    header += " " + args.back();
    a += " p";
    b += i % 2 ? " q" : " p";
    c += " q";
  }
  put(sb, "p.txt", header + "\n" + a + "\n" + b + "\n" + c + "\n");
  put(sb, "a.bin", std::string(1, '\0'));
  put(sb, "b.bin", "\x0F");
  put(sb, "c.bin", "\xFF");
  expectRun(sb, args, {"", "", 0});
  std::set<std::string> results;
  for (auto& entry : boost::filesystem::directory_iterator(sb.dir))
    results.insert(entry.path().filename().string());
  EXPECT_EQ(results.size(), count + 4u);
  for (int i = 0; i < count; ++i)
    ASSERT_EQ(slurp(sb.dir + "/res_" + std::to_string(i)), i % 2 ? "0F" : "F0") << i;
}

// Five thousand data lines under a project directory, with comments between them and empty values
// that join no group. Each group's files share a pattern, and ten carry a flipped bit; the mask
// is worked out bit by bit, and both dissimilarity algorithms must give the same lines.
TEST(HostileProjectFiles, FiveThousandDataLines) {
  const Sandbox sb;
  const int count = 5000, groups = 7, size = 4;
  std::string project = "# five thousand\nfile G\n";
  std::vector<std::string> data(count);
  std::vector<std::string> first(groups);
  std::vector<unsigned char> mask(size, 0xFF);
  for (int i = 0; i < count; ++i) {
    const int g = i % groups;
    for (int k = 0; k < size; ++k) data[i] += static_cast<char>(g * 37 + k * 11);
    if (i % 500 == 3) data[i][1] ^= static_cast<char>(1 << (i / 500) % 8);
    const bool grouped = i % 11 != 0;
    project += "f" + std::to_string(i) + ".bin " + (grouped ? "g" + std::to_string(g) : "''") +
               (i % 100 == 0 ? "\n# more\n" : "\n");
    put(sb, "d/f" + std::to_string(i) + ".bin", data[i]);
    if (!grouped) continue;
    if (first[g].empty()) first[g] = data[i];
    for (int k = 0; k < size; ++k) mask[k] &= ~(data[i][k] ^ first[g][k]);
  }
  put(sb, "d/list.txt", project);
  std::string hex;
  for (int k = 0; k < size; ++k) hex += printed(std::string(1, mask[k]), 1, k > 0) + " ";
  hex.pop_back();
  ASSERT_NE(hex, "FF FF FF FF");  // the flipped bits show
  expectRun(sb, {"-p", "d/list.txt", "G"}, {hex, "", 0});
  expectRun(sb, {"-p", "d/list.txt", "-d", "lin", "G"}, {hex, "", 0});
  expectRun(sb, {"-p", "d/list.txt", "-d", "quad", "-q", "G"}, {hex, "", 0});
  EXPECT_NE(slurp(sb.dir + "/lin"), "");
  EXPECT_EQ(slurp(sb.dir + "/lin"), slurp(sb.dir + "/quad"));
}

// Paths with blanks, quotes, ampersands, '#' and a leading '/', joined under the project's
// directory; then an absolute path from a project in the working directory, used as it stands.
// Groups: x {11, 13} -> FD, y {20, 20} -> FF, z {40, 48} -> F7, w {80, 80} -> FF; mask F5.
TEST(HostileProjectFiles, PathsWithOddCharacters) {
  const Sandbox sb;
  put(sb, "p/list.txt",
      "file A\n'my file.bin' x\n\"it's.bin\" x\na\\\"b.bin y\na&b.bin y\n'#1.bin' z\n"
      "x\\#2.bin z # a comment\n/lead.bin w\n/abs/deep.bin w\n");
  for (const char* item : {"my file.bin=\x11", "it's.bin=\x13", "a\"b.bin=\x20", "a&b.bin=\x20",
                           "#1.bin=\x40", "x#2.bin=\x48", "lead.bin=\x80", "abs/deep.bin=\x80"}) {
    const std::string entry = item;
    put(sb, "p/" + entry.substr(0, entry.find('=')), entry.substr(entry.find('=') + 1));
  }
  expectRun(sb, {"-p", "p/list.txt", "A"}, {"F5", "", 0});
  put(sb, "list.txt",
      "file A\n'" + sb.dir + "/p/my file.bin' x\n\"" + sb.dir + "/p/it's.bin\" y\n");
  expectRun(sb, {"-p", "list.txt", "A"}, {"FF", "", 0});
  expectRun(sb, {"-p", "list.txt", "-r", "/no/such/dir", "A"},
            {"",
             "File \"/no/such/dir" + sb.dir +
                 "/p/my file.bin\" specified in project file "
                 "does not exists\n",
             1});
  put(sb, "q.txt", "file A\n'a\"b&#c.bin' x\np/lead.bin x\n");
  expectRun(sb, {"-p", "q.txt", "A"},
            {"", "File \"a&\"b&&#c.bin\" specified in project file does not exists\n", 1});
}

}  // namespace
