// ovrell-report end to end: planted fields in generated files, a real file
// format with a documented layout, names that are not plain text, and the
// mistakes it shares with ovrell.
#include <gtest/gtest.h>

#include <cstring>
#include <iomanip>
#include <random>

#include "report_runner.h"

namespace {

using nlohmann::json;

// 30 files of 64 KiB in three groups (file i in group "g" + i % 3) over
// one random image: a 16-bit field at 0x1000 whose every bit tells some
// groups apart, a 3-bit field in the middle of byte 0x2000 (bits 4..2), a
// counter byte at 0x3000 that varies inside the groups, 16 bytes of noise
// at 0x4000.
void writePlanted(const Sandbox& sb) {
  std::mt19937 random(7);
  std::string image(64 << 10, '\0'), project = "file g\n";
  for (char& byte : image) byte = static_cast<char>(random());
  const unsigned wide[] = {0x0000, 0xFFFF, 0x00FF}, narrow[] = {1, 2, 4};
  for (int i = 0; i < 30; ++i) {
    std::string data = image;
    data[0x1000] = static_cast<char>(wide[i % 3] >> 8);
    data[0x1001] = static_cast<char>(wide[i % 3]);
    data[0x2000] = static_cast<char>((image[0x2000] & 0xE3) | narrow[i % 3] << 2);
    data[0x3000] = static_cast<char>(i);
    for (int k = 0; k < 16; ++k) data[0x4000 + k] = static_cast<char>(random());
    sb.put("f" + std::to_string(i), data);
    project += "f" + std::to_string(i) + " g" + std::to_string(i % 3) + "\n";
  }
  sb.put("p.txt", project);
}

TEST(Report, FindsExactlyThePlantedFieldsAndRegions) {
  const Sandbox sb;
  writePlanted(sb);
  // -m 200000: several blocks, so that the scan crosses block ends.
  const json a = reportJson(sb, {"-p", "p.txt", "-m", "200000"})["attributes"][0];
  EXPECT_EQ(a["name"], "g");
  EXPECT_EQ(a["groups"][1], json::parse(R"({"value": "g1", "files": ["f1", "f4", "f7", "f10",
      "f13", "f16", "f19", "f22", "f25", "f28"]})"));
  const std::uint64_t noise = 16 * 8, counter = 5;
  EXPECT_EQ(a["bits"], (json{{"informative", 19},
                             {"varying", noise + counter},
                             {"constant", 8 * (64 << 10) - 19 - noise - counter}}));
  EXPECT_EQ(a["regions"].size(), 2u);
  EXPECT_EQ(a["regions"][0], json::parse(R"({"first_byte": 4096, "last_byte": 4097,
      "likely_chance": false, "decoded": {"encoding": "u16le", "first_byte": 4096,
      "last_byte": 4097, "values": {"g0": 0, "g1": 65535, "g2": 65280}, "is_value": false},
      "values": {"g0": "0000", "g1": "ffff", "g2": "00ff"}})"));
  EXPECT_EQ(a["regions"][1]["first_byte"], 0x2000);
  EXPECT_EQ(a["regions"][1]["last_byte"], 0x2000);
  EXPECT_EQ(a["fields"], json::parse(R"([
      {"byte_offset": 4096, "first_bit": 32768, "last_bit": 32783,
       "values": {"g0": "0000000000000000", "g1": "1111111111111111", "g2": "0000000011111111"}},
      {"byte_offset": 8192, "first_bit": 65539, "last_bit": 65541,
       "values": {"g0": "001", "g1": "010", "g2": "100"}}])"));

  // The table: its first region row, and the rows cut by --limit.
  const Outcome text = run(sb, REPORT_BINARY, {"-p", "p.txt", "--limit", "1", "g"});
  EXPECT_NE(text.out.find("  0x00001000-0x00001001       2  00 00"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("  ... 1 more region (--limit 0 shows all)\n"), std::string::npos);
  EXPECT_EQ(text.out.find("\033["), std::string::npos);  // not a terminal: no colour
}

// Two tar archives of one file for each of two modes, all else fixed: the
// groups differ in the mode field (bytes 100..107 of the header) and in the
// header checksum (bytes 148..155), and nowhere else.
TEST(Report, TarArchivesDifferInTheModeAndChecksumFields) {
  const Sandbox sb;
  sb.put("content", std::string(1000, 'x'));
  std::string project = "file mode\n";
  for (const char* mode : {"0644", "0755"}) {
    for (int copy = 0; copy < 2; ++copy) {
      const std::string name = std::string(mode) + "-" + std::to_string(copy) + ".tar";
      const std::string command = "cd '" + sb.dir + "' && tar --format=ustar --mode=" + mode +
                                  " --mtime=@0 --owner=0 --group=0 --numeric-owner -cf " + name +
                                  " content";
      ASSERT_EQ(std::system(command.c_str()), 0);
      project += name + " " + mode + "\n";
    }
  }
  sb.put("p.txt", project);
  const json a = reportJson(sb, {"-p", "p.txt"})["attributes"][0];
  ASSERT_EQ(a["regions"].size(), 2u) << a["regions"];
  EXPECT_GE(a["regions"][0]["first_byte"], 100);
  EXPECT_LE(a["regions"][0]["last_byte"], 107);
  EXPECT_EQ(a["regions"][0]["values"]["0644"].get<std::string>().substr(0, 4), "3634");
  EXPECT_EQ(a["regions"][0]["values"]["0755"].get<std::string>().substr(0, 4), "3735");
  EXPECT_GE(a["regions"][1]["first_byte"], 148);
  EXPECT_LE(a["regions"][1]["last_byte"], 155);
  EXPECT_EQ(a["bits"]["varying"], 0);
}

// File names and values with quotes, control characters and bytes that are
// not UTF-8 (alone, overlong, a surrogate, cut short) make a JSON document
// in which every value keeps a key of its own: such a byte is the lone
// surrogate \udcXX, and Python's surrogateescape gives the bytes back.
TEST(Report, JsonOfNamesThatAreNotPlainText) {
  const Sandbox sb;
  // In byte order; U+0800, U+E000 and U+10FFFF are the edges of valid UTF-8.
  const std::string values[] = {"a\"b\x01\xff",     "\xc0\x80",     "\xc3\xa9",
                                "\xe0\xa0\x80",     "\xe2\x82",     "\xed\xa0\x80",
                                "\xee\x80\x80",     "\xef\xbf\xbd", "\xf0\x9f\x98\x80",
                                "\xf4\x8f\xbf\xbf", "\xfe"};
  std::string project = "file v\n";
  for (int i = 0; i < 11; ++i) {
    const std::string file = i == 0 ? values[0] : std::to_string(i);
    sb.put(file, std::string(1, static_cast<char>(i)));
    project += "'" + file + "' '" + values[i] + "'\n";
  }
  sb.put("p.txt", project);
  ASSERT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "r.json"}).status, 0);
  const std::string json = slurp(sb.path("r.json"));
  EXPECT_NE(
      json.find(R"("groups": [{"value": "a\"b\u0001\udcff", "files": ["a\"b\u0001\udcff"]}, )"
                R"({"value": "\udcc0\udc80", "files": ["1"]}, {"value": "é", "files": ["2"]}, )"
                "{\"value\": \"\xe0\xa0\x80\", \"files\": [\"3\"]}, "
                R"({"value": "\udce2\udc82", "files": ["4"]}, )"
                R"({"value": "\udced\udca0\udc80", "files": ["5"]}, )"
                "{\"value\": \"\xee\x80\x80\", \"files\": [\"6\"]}, "
                "{\"value\": \"\xef\xbf\xbd\", \"files\": [\"7\"]}, "
                "{\"value\": \"\xf0\x9f\x98\x80\", \"files\": [\"8\"]}, "
                "{\"value\": \"\xf4\x8f\xbf\xbf\", \"files\": [\"9\"]}, "
                R"({"value": "\udcfe", "files": ["10"]}])"),
      std::string::npos)
      << json;
  const std::string script =
      "import json\na = json.load(open('" + sb.path("r.json") +
      "'))['attributes'][0]\nprint(len(a['regions'][0]['values']), "
      "b''.join(g['value'].encode('utf-8', 'surrogateescape') for g in a['groups']).hex())";
  std::FILE* python = popen(("python3 -c \"" + script + "\"").c_str(), "r");
  char line[512] = "";
  ASSERT_TRUE(python != nullptr && std::fgets(line, sizeof line, python) != nullptr);
  pclose(python);
  std::string bytes;
  for (const std::string& value : values) bytes += value;
  std::ostringstream hex;
  for (unsigned char c : bytes) hex << std::hex << std::setw(2) << std::setfill('0') << unsigned{c};
  EXPECT_EQ(std::string(line), "11 " + hex.str() + "\n");
}

// The mistakes both programs can be given: the same message and status. The
// data files are a.bin and b.bin (one byte each) unless a case adds others.
// The report's own lines of the shared command line: help (also with no
// argument), version and its own option's error with the "try" line.
TEST(Report, HelpVersionAndItsOwnOptionError) {
  const Sandbox sb;
  const std::string usage =
      "Usage: prog -p PROJECT [options] [ATTRIBUTE ...]\n"
      "Which bits of the project's files tell the groups of each attribute apart.\n"
      "With no attribute named, every attribute of the project file is reported.\n"
      " Options:\n  -h [ --help ] ";
  for (const auto& args : {std::vector<std::string>{}, std::vector<std::string>{"-h", "-v"}}) {
    const Outcome help = run(sb, REPORT_BINARY, args);
    EXPECT_EQ(help.out.substr(0, usage.size()) + std::to_string(help.status), usage + "0");
  }
  const Outcome version = run(sb, REPORT_BINARY, {"-v", "--limit", "x"});
  EXPECT_EQ(version.out,
            "Ovrell-report - version 1.1.1, which bits of equal-length binary files "
            "encode an attribute\n");
  const Outcome limit = run(sb, REPORT_BINARY, {"--limit", "1x", "-p", "none.txt"});
  EXPECT_EQ(limit.err + std::to_string(limit.status),
            "the argument ('1x') for option '--limit' is invalid\n"
            "try `prog -h' for more information.\n1");
}

TEST(Report, SharedMistakesGiveOvrellsMessages) {
  struct Case {
    std::string project;
    std::vector<std::string> args;
    std::string files = "";
  };
  const Case cases[] = {
      {"file A\na.bin 1\nb.bin 2\n", {"-m", "5XB"}},
      {"file A\na.bin 1\nb.bin 2\n", {"-m", "0"}},
      {"file A\na.bin 1\nb.bin 2\n", {"-m", "100"}},
      {"file A\na.bin 1\nb.bin 2\n", {"-e", "3"}},
      {"file A\na.bin 1\nb.bin 2\n", {"--frobnicate"}},
      {"file A\na.bin 1\nb.bin 2\n", {"B"}},
      {"file A\na.bin 1\nb.bin 2\n", {"-p", ""}},
      {"file A\na.bin 1\nb.bin 2\n", {"-p", "none.txt"}},
      {"file A\na.bin 1\nb.bin 2\n", {"-p", "."}},
      {"file A\na.bin 'x\nb.bin 2\n", {}},
      {"file A\na.bin 1 2\nb.bin 2\n", {}},
      {"file A A\na.bin 1 2\nb.bin 2 3\n", {}},
      {"file A\na.bin 1\n", {}},
      {"file A\na.bin 1\nc.bin 2\n", {}},
      {"file A\na.bin 1\nlong.bin 2\n", {}, "long.bin"},
      {"file A\ne1 1\ne2 2\n", {}, "e1 e2"},
      {"file A\na.bin 1\nb.bin 2\n", {"-r", "nowhere"}},
  };
  for (const Case& c : cases) {
    const Sandbox sb;
    sb.put("p.txt", c.project);
    sb.put("a.bin", "a");
    sb.put("b.bin", "b");
    if (!c.files.empty()) {
      sb.put("long.bin", "ab");
      sb.put("e1", "");
      sb.put("e2", "");
    }
    std::vector<std::string> args{"-p", "p.txt"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    if (c.args.size() >= 2 && c.args[0] == "-p") args = c.args;
    std::vector<std::string> ovrellArgs = args;
    ovrellArgs.insert(ovrellArgs.end(), {"-d", "dis"});
    if (std::find(args.begin(), args.end(), "B") == args.end()) {
      args.push_back("A");
      ovrellArgs.push_back("A");
    }
    const Outcome expected = run(sb, OVRELL_BINARY, ovrellArgs);
    const Outcome got = run(sb, REPORT_BINARY, args);
    EXPECT_EQ(std::make_pair(got.err, got.status), std::make_pair(expected.err, expected.status))
        << c.project << ::testing::PrintToString(args);
    EXPECT_NE(expected.err + expected.out, "");
  }
}

}  // namespace

namespace {

TEST(Report, RefusesToWriteOverItsInputsAndStopsWhenAWriteFails) {
  const Sandbox sb;
  sb.put("p.txt", "file A\na 1\nb 2\n");
  sb.put("a", "a");
  sb.put("b", "b");
  const Outcome r = run(sb, REPORT_BINARY, {"-p", "p.txt", "--html", "./a"});
  EXPECT_EQ(std::make_pair(r.err, r.status),
            std::make_pair(std::string("ovrell-report: the HTML file './a' is the data file 'a'; "
                                       "nothing was deleted or written\n"),
                           1));
  EXPECT_EQ(slurp(sb.path("a")), "a");
  // A device is written to, not replaced; a failed write ends the run.
  const Outcome full = run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "/dev/full"});
  EXPECT_EQ(
      std::make_pair(full.err, full.status),
      std::make_pair(
          std::string("ovrell-report: cannot write '/dev/full': No space left on device\n"), 1));
}

}  // namespace

namespace {

// The whole table of a small project with --bits, byte for byte: text
// beside printable bytes only (0x20 is, 0x7f is not), singular and plural.
TEST(Report, TableWithFields) {
  const Sandbox sb;
  sb.put("p.txt", "file kind\na one\nb one\nc two\n");
  sb.put("a", std::string("A \0\x10\x7f", 5));
  sb.put("b", std::string("A \0\x10\x7f", 5));
  sb.put("c", std::string("Cd\0\x13\x7e", 5));
  EXPECT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt", "--bits"}).out,
            "3 files of 5 bytes (40 bits)\n\n"
            "What changes between files: 2 fields\n"
            "  0x00000000-0x00000001  text  \"A \", \"Cd\"\n"
            "  0x00000003-0x00000004  unexplained\n"
            "\n"
            "attribute kind: 2 groups\n"
            "  one  2 files\n"
            "  two  1 file\n"
            "  bits: 6 informative (2.00 expected by chance), 34 constant, 0 varying\n"
            "  2 regions, 5 fields, 6 stretches\n"
            "  bytes                  length  one                   two\n"
            "  0x00000000-0x00000001       2  41 20  \"A \"           43 64  \"Cd\"\n"
            "    as text at 0x00000000-0x00000001: \"A \", \"Cd\"\n"
            "    bits 6-6                  1  0                     1\n"
            "    bits 9-9                  1  0                     1\n"
            "    bits 13-13                1  0                     1\n"
            "  0x00000003-0x00000004       2  10 7f                 13 7e\n"
            "    as u16le at 0x00000003-0x00000004: 32528, 32275\n"
            "    bits 30-31                2  00                    11\n"
            "    bits 39-39                1  1                     0\n");
}

// Names and values reach the terminal as JSON escapes them (the C1 controls
// and DEL too, U+00A0 not), and `"` and `\` are escaped in the text column.
TEST(Report, TableEscapesWhatATerminalWouldActOn) {
  const Sandbox sb;
  sb.put("p.txt", "file 'v\x01'\na '\x1b[31m'\nb '\x7f\xc2\x9b\xc2\xa0\xff'\nc '\x1b[31m'\n");
  sb.put("a", "\"\\");
  sb.put("c", "\"\\");
  sb.put("b", "AB");
  EXPECT_EQ(
      run(sb, REPORT_BINARY, {"-p", "p.txt"}).out,
      "3 files of 2 bytes (16 bits)\n\n"
      "What changes between files: 1 field\n"
      "  0x00000000-0x00000001  text  \"\\\"\\\\\", \"AB\"\n"
      "\n"
      "attribute v\\u0001: 2 groups\n"
      "  \\u001b[31m            2 files\n"
      "  \\u007f\\u009b\xc2\xa0\\udcff  1 file\n"
      "  bits: 8 informative (2.67 expected by chance), 8 constant, 0 varying\n"
      "  1 region, 3 fields, 8 stretches\n"
      "  bytes                  length  \\u001b[31m            \\u007f\\u009b\xc2\xa0\\udcff\n"
      "  0x00000000-0x00000001       2  22 5c  \"\\\"\\\\\"         41 42  \"AB\"\n"
      "    as text at 0x00000000-0x00000001: \"\\\"\\\\\", \"AB\"\n");
}

}  // namespace

namespace {

// Files of two sizes whose differing byte is the one before the last: the
// first two columns grow to hold the offsets, positions and lengths (sparse
// files; the one past 4 GiB takes about 30 s and is excluded with -E
// HugeFiles).
void expectTableOfSparseFiles(off_t size, bool bits, const std::string& table) {
  const Sandbox sb;
  sb.put("p.txt", "file g\nh1 a\nh2 b\nh3 a\n");
  for (const char* name : {"h1", "h2", "h3"}) {
    sb.put(name, "");
    ASSERT_EQ(truncate(sb.path(name).c_str(), size), 0);
  }
  std::fstream(sb.path("h2"), std::ios::in | std::ios::out | std::ios::binary).seekp(size - 2)
      << '\x01';
  std::vector<std::string> args{"-p", "p.txt"};
  if (bits) args.push_back("--bits");
  const std::string out = run(sb, REPORT_BINARY, args).out;
  EXPECT_EQ(out.substr(out.find("  bytes")), table);
}

TEST(Report, TableColumnsGrowWithTheFileSize) {
  expectTableOfSparseFiles(20000002, true,
                           "  bytes                         length  a                     b\n"
                           "  0x01312d00-0x01312d00              1  00                    01\n"
                           "    as u64be at 0x01312cf9-0x01312d00: 0, 1\n"
                           "    bits 160000007-160000007         1  0                     1\n");
}

TEST(Report, HugeFilesTableColumns) {
  expectTableOfSparseFiles((off_t{1} << 32) + 4, false,
                           "  bytes                       length  a        b\n"
                           "  0x100000002-0x100000002          1  00       01\n"
                           "    as u64be at 0xfffffffb-0x100000002: 0, 1\n");
}

}  // namespace

namespace {

// Two random files of 64 MiB in two groups, with TMPDIR on a tmpfs of its
// own: the temporary files (at most 8 bytes per byte of a file, 512 MiB)
// and the 5 % the report leaves free fit in 540 MiB, and 16 MiB stops the
// run before the file system is full, with the space it needed, leaving
// nothing in the directory and no JSON file.
TEST(Report, TemporaryFilesStayWithinTheirBoundAndTheirFileSystem) {
  if (::geteuid() != 0 || std::system("unshare -m true 2>/dev/null") != 0)
    GTEST_SKIP() << "mounting a tmpfs needs root and unshare -m";
  const Sandbox sb;
  std::mt19937_64 random(3);
  for (const char* name : {"f0", "f1"}) {
    std::string data(64 << 20, '\0');
    for (std::size_t at = 0; at < data.size(); at += 8) {
      const std::uint64_t word = random();
      std::memcpy(&data[at], &word, 8);
    }
    sb.put(name, data);
  }
  sb.put("p.txt", "file a\nf0 x\nf1 y\n");
  boost::filesystem::create_directory(sb.path("tmp"));
  for (const std::string size : {"540m", "16m"}) {
    // Not through the runner, which caps files at 64 MiB.
    const std::string script =
        "mount -t tmpfs -o size=" + size + " tmpfs tmp && TMPDIR=\"$PWD/tmp\" \"$0\" -p p.txt " +
        (size == "540m" ? "" : "--json r.json ") + ">out 2>err; s=$?; ls -A tmp >left; exit $s";
    const int status = std::system(
        ("cd '" + sb.dir + "' && unshare -m sh -c '" + script + "' " + REPORT_BINARY).c_str());
    const Outcome r{slurp(sb.path("left")), slurp(sb.path("err")), WEXITSTATUS(status)};
    if (size == "540m") {
      EXPECT_EQ(std::make_pair(r.err, r.status), std::make_pair(std::string(), 0));
      EXPECT_EQ(slurp(sb.path("out")).substr(0, 50),
                "2 files of 67108864 bytes (536870912 bits)\n\nWhat c");
    } else {
      EXPECT_EQ(std::make_pair(r.err, r.status),
                std::make_pair("ovrell-report: too little space for temporary files in '" + sb.dir +
                                   "/tmp': 1 MiB needed, 0 MiB free; set TMPDIR to a larger file "
                                   "system\n",
                               1));
      for (const auto& entry : boost::filesystem::directory_iterator(sb.dir))
        EXPECT_EQ(entry.path().filename().string().find("r.json"), std::string::npos);
    }
    EXPECT_EQ(r.out, "");  // nothing left in the temporary directory
  }
}

}  // namespace
