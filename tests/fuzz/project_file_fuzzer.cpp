// Fuzz target: the project-file reader as the driver runs it; byte 0 chooses the path (bits 0-1),
// prefix (2-3), attributes named (4-6) and -i (7), the rest is the file. Messages, exit status
// (thrown by the exit hook), paths and index must equal those of a slow model.
#include <sys/stat.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "base/fatal.h"
#include "project/project.h"

namespace {

std::string work;  // the private directory, with a subdirectory "sub"
std::stringbuf errors, discarded;
using Index = std::map<std::string, std::map<std::string, std::vector<std::uint32_t>>>;

// The reader and the driver on `text`: messages, joined paths, index, the attribute names and
// the file names as spelled; false: the run ends.
bool model(const std::string& text, const std::string& base, bool empty, const char* const* named,
           std::string& out, std::vector<std::string>& files, Index& index,
           std::vector<std::string>& names, std::vector<std::string>& spelled) {
  std::istringstream in(text);
  std::vector<std::string> lines, header, fields;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  auto fail = [&](std::size_t n, const std::string& what) {
    out += (n ? "Error while parsing the line no:" + std::to_string(n) : "") + what + "\n";
    return false;
  };
  std::size_t n = 0;
  for (const char* error; n < lines.size() && header.empty(); ++n)
    if ((error = Project::tokenizeLine(lines[n], header)))
      return fail(n + 1, std::string(" of project file: ") + error);
  if (header.size() <= 1) out += "Project file must contain at least one attribute name.\n";
  for (std::size_t k = 1; k < header.size(); ++k) {
    if (header[k].empty()) return fail(0, "Attribute name must not be empty");
    if (index.count(header[k])) return fail(0, "Two attributes must not have the same name. ");
    index[header[k]];
    names.push_back(header[k]);
  }
  for (const char* error; n < lines.size(); ++n) {
    if ((error = Project::tokenizeLine(lines[n], fields)))
      return fail(n + 1, std::string(" of project file: ") + error);
    if (fields.empty()) continue;
    if (fields.size() != header.size())
      return fail(n + 1,
                  ". Number of attribute values does not correspond to number of attributes"
                  " defined in header. To specify empty attribute use ''. ");
    const std::string& f = fields[0];
    spelled.push_back(f);
    files.push_back(
        f.empty() || base.empty() || base.back() == '/' || f[0] == '/' ? base + f : base + "/" + f);
    for (std::size_t k = 1; k < fields.size(); ++k)
      if (!fields[k].empty() || empty) index[header[k]][fields[k]].push_back(files.size() - 1);
  }
  if (!*named) {  // no attribute named: the driver adds one that groups all files
    std::string name = "_id";
    for (unsigned long counter = 0; index.count(name); ++counter)
      name = "_id" + std::to_string(counter);
    auto& all = index[name]["s"];
    for (std::uint32_t i = 0; i < files.size(); ++i) all.push_back(i);
  }
  for (; *named; ++named)
    if (!index.count(*named))
      return fail(
          0, std::string("Attribute \"") + *named + "\" is not specified in the project file.");
  return true;
}

void check(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "project file oracle failed: %s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char dir[] = "/tmp/ovrell_project_fuzz_XXXXXX";
  check(mkdtemp(dir) && mkdir((std::string(dir) + "/sub").c_str(), 0700) == 0, "no directory");
  work = dir;
  std::atexit([] { boost::filesystem::remove_all(work); });
  std::cerr.rdbuf(&errors);
  std::cout.rdbuf(&discarded);
  setExitHandler([](int status) { throw status; });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  // clang-format off
  const std::string paths[][2] = {{work + "/list.txt", work}, {work + "/sub/list.txt", work + "/sub"},
      {work + "/sub//list.txt", work + "/sub"}, {work + "/sub/../list.txt", work + "/sub/.."}};
  const char* const prefixes[] = {"", "/mnt/set", "pre/", "/"};
  const char* const named[][3] = {{}, {"a"}, {"b", "a"}, {"_id"}, {"A"}, {"_id0", "a"}, {"A", "_id"}, {}};
  // clang-format on
  Options options;
  options.projectFile = paths[data[0] & 3][0];
  options.projectPrefix = prefixes[data[0] >> 2 & 3];
  options.includeEmptyValues = data[0] & 0x80;
  for (const char* const* name = named[data[0] >> 4 & 7]; *name; ++name)
    options.attributes.push_back(*name);
  std::ofstream(options.projectFile, std::ios::binary) << text;
  std::string out,
      base = options.projectPrefix.empty() ? paths[data[0] & 3][1] : options.projectPrefix;
  std::vector<std::string> files, joined, names, spelled;
  Index index, read;
  const bool ok = model(text, base, options.includeEmptyValues, named[data[0] >> 4 & 7], out, files,
                        index, names, spelled);
  errors.str("");
  Project project(options);
  int status = 0;
  try {
    project.parseProjectFile();
    if (options.attributes.empty()) project.addAllFilesAttribute();
    project.checkAttributes();
  } catch (int exit) {
    status = exit;
  }
  for (const auto& file : project.files) joined.push_back(file.string());
  for (const auto& [name, groups] : project.attributeIndex) {
    auto& copy = read[name];
    for (const auto& [value, list] : *groups) copy[value] = *list;
  }
  check(status == !ok && errors.str() == out, "the messages or the status differ");
  check(joined == files && read == index, "the paths or the index differ");
  check(project.attributeNames == names && project.fileNames == spelled,
        "the names as spelled differ");
  return 0;
}
