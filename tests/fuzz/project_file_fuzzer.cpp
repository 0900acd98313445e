// Fuzz target: the whole project-file reader. The first input byte chooses
// how the file is named (with or without a directory part), the prefix, the
// attribute names to check and includeEmptyValues; the rest becomes the
// project file in a private temporary directory. The target then does what
// the driver does: parseProjectFile, addAllFilesAttribute when no attribute
// is named, checkAttributes. A fatal error throws out of the exit seam and
// ends just this input.
//
// Checks, besides the sanitizers and LeakSanitizer (also on the fatal path):
// the standard error text, the exit status, `files` and the whole attribute
// index equal those of a slow model built from the tokenized lines, whether
// the run succeeds or stops; every index is below the file count, every list
// is strictly ascending and non-empty (but the all-files group of a project
// without files), and no group has the empty value.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/fatal.h"
#include "project/project.h"

namespace {

struct FatalExit {
  int status;
};

[[noreturn]] void throwOnExit(int status) { throw FatalExit{status}; }

void check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "project file oracle failed: %s\n", what);
  std::abort();
}

// The private directory, with a subdirectory "sub", made once.
std::string workDirectory;
int startDirectory = -1;

void removeWorkDirectory() {
  std::remove((workDirectory + "/list.txt").c_str());
  std::remove((workDirectory + "/sub/list.txt").c_str());
  rmdir((workDirectory + "/sub").c_str());
  rmdir(workDirectory.c_str());
}

void makeWorkDirectory() {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/ovrell_project_fuzz_XXXXXX";
  check(mkdtemp(pattern.data()) != nullptr, "cannot make the temporary directory");
  workDirectory = pattern;
  check(mkdir((workDirectory + "/sub").c_str(), 0700) == 0, "cannot make sub");
  startDirectory = open(".", O_RDONLY | O_DIRECTORY);
  check(startDirectory >= 0, "cannot open the working directory");
  std::atexit(removeWorkDirectory);
}

// Runs one input inside the private directory, so that relative project
// paths resolve there.
struct InWorkDirectory {
  InWorkDirectory() { check(chdir(workDirectory.c_str()) == 0, "chdir"); }
  ~InWorkDirectory() { check(fchdir(startDirectory) == 0, "fchdir"); }
};

// How the project file is named, relative to the private directory, and the
// base directory its data paths are joined under when there is no prefix.
struct ProjectName {
  std::string path;  // as handed to the reader
  std::string base;
};

ProjectName projectName(unsigned choice) {
  switch (choice) {
    case 0:
      return {"list.txt", ""};
    case 1:
      return {"sub/list.txt", "sub"};
    case 2:
      return {workDirectory + "/sub/list.txt", workDirectory + "/sub"};
    default:
      return {"sub//list.txt", "sub"};
  }
}

const char* const kPrefixes[] = {"", "/mnt/set", "pre/", "/"};

// The attribute names to check: fixed ones, or taken from the model's header.
std::vector<std::string> attributeList(unsigned choice, const std::vector<std::string>& header) {
  switch (choice) {
    case 1:
      return {"a"};
    case 2:
      return {"b", "a"};
    case 3:
      return {"_id"};
    case 4:
      return {"A"};
    case 5:
      return header.size() > 1 ? std::vector<std::string>{header.back()}
                               : std::vector<std::string>{};
    case 6:
      return std::vector<std::string>(header.begin() + (header.empty() ? 0 : 1), header.end());
    default:
      return {};
  }
}

// The slow model of one whole run: what the reader and the driver must
// produce, and where they must stop.
struct Model {
  std::string errors;
  bool fatal = false;
  std::vector<std::string> files;
  std::map<std::string, std::map<std::string, std::vector<std::uint32_t>>> index;
  std::vector<std::string> header;  // empty: none found
};

std::string joined(const std::string& base, const std::string& field) {
  if (field.empty()) return base;
  if (base.empty() || base.back() == '/' || field[0] == '/') return base + field;
  return base + "/" + field;
}

Model model(const std::string& text, const std::string& base, bool includeEmpty) {
  std::vector<std::string> lines(1);
  for (char c : text) {
    if (c == '\n')
      lines.emplace_back();
    else
      lines.back() += c;
  }

  Model m;
  std::size_t n = 0;
  for (; n < lines.size() && m.header.empty(); ++n) {
    if (const char* error = Project::tokenizeLine(lines[n], m.header)) {
      m.errors += "Error while parsing the line no:" + std::to_string(n + 1) +
                  " of project file: " + error + "\n";
      m.fatal = true;
      m.header.clear();
      return m;
    }
  }
  if (m.header.size() <= 1) m.errors += "Project file must contain at least one attribute name.\n";
  for (std::size_t k = 1; k < m.header.size(); ++k) {
    const std::string& name = m.header[k];
    m.fatal = name.empty() || m.index.count(name) > 0;
    if (m.fatal) {
      m.errors += name.empty() ? "Attribute name must not be empty\n"
                               : "Two attributes must not have the same name. \n";
      return m;
    }
    m.index[name];
  }
  for (; n < lines.size(); ++n) {
    std::vector<std::string> fields;
    const std::string number = std::to_string(n + 1);
    if (const char* error = Project::tokenizeLine(lines[n], fields)) {
      m.errors += "Error while parsing the line no:" + number + " of project file: " + error + "\n";
      m.fatal = true;
      return m;
    }
    if (fields.empty()) continue;
    if (fields.size() != m.header.size()) {
      m.errors += "Error while parsing the line no:" + number +
                  ". Number of attribute values does not correspond to number of attributes "
                  "defined in header. To specify empty attribute use ''. \n";
      m.fatal = true;
      return m;
    }
    m.files.push_back(joined(base, fields[0]));
    for (std::size_t k = 1; k < fields.size(); ++k)
      if (!fields[k].empty() || includeEmpty)
        m.index[m.header[k]][fields[k]].push_back(static_cast<std::uint32_t>(m.files.size() - 1));
  }
  return m;
}

// The driver's steps after reading, on the model.
void modelDriver(Model& m, std::vector<std::string>& attributes) {
  if (attributes.empty()) {
    std::string name = "_id";
    for (unsigned long counter = 0; m.index.count(name) > 0; ++counter)
      name = "_id" + std::to_string(counter);
    auto& all = m.index[name]["s"];
    for (std::size_t i = 0; i < m.files.size(); ++i) all.push_back(static_cast<std::uint32_t>(i));
    attributes.push_back(name);
  }
  for (const std::string& name : attributes) {
    if (m.index.count(name) == 0) {
      m.errors += "Attribute \"" + name + "\" is not specified in the project file.\n";
      m.fatal = true;
      return;
    }
  }
}

void checkIndex(const Project& project, const Model& m, bool includeEmpty) {
  const std::size_t fileCount = project.files.size();
  for (const auto& [name, groups] : project.attributeIndex) {
    check(groups != nullptr, "an attribute without groups");
    for (const auto& [value, list] : *groups) {
      // Only the all-files group of a project without files is empty.
      check(list != nullptr && (!list->empty() || fileCount == 0), "an empty group");
      check(includeEmpty || !value.empty(), "a group of the empty value");
      for (std::size_t i = 0; i < list->size(); ++i) {
        check((*list)[i] < fileCount, "a file index beyond the file list");
        check(i == 0 || (*list)[i - 1] < (*list)[i], "a group not strictly ascending");
      }
    }
  }

  check(project.files.size() == m.files.size(), "file count differs from the model");
  for (std::size_t i = 0; i < m.files.size(); ++i)
    check(project.files[i].string() == m.files[i], "joined path differs from the model");
  check(project.attributeIndex.size() == m.index.size(), "attribute count differs from the model");
  for (const auto& [name, groups] : m.index) {
    const auto found = project.attributeIndex.find(name);
    check(found != project.attributeIndex.end(), "an attribute of the model is missing");
    check(found->second->size() == groups.size(), "group count differs from the model");
    for (const auto& [value, list] : groups) {
      const auto group = found->second->find(value);
      check(group != found->second->end(), "a group of the model is missing");
      check(*group->second == list, "a group's files differ from the model");
    }
  }
}

std::stringbuf errors;
std::stringbuf discarded;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  makeWorkDirectory();
  std::cerr.rdbuf(&errors);
  std::cout.rdbuf(&discarded);
  setExitHandler(throwOnExit);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // Bits 0-1: project name; 2-3: prefix; 4-6: attribute list; 7: includeEmptyValues.
  const unsigned choice = data[0];
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  InWorkDirectory inWork;

  Options options;
  const ProjectName name = projectName(choice & 3);
  options.projectFile = name.path;
  options.projectPrefix = kPrefixes[(choice >> 2) & 3];
  options.includeEmptyValues = (choice & 0x80) != 0;
  {
    std::FILE* file = std::fopen(name.path.c_str(), "wb");
    check(file != nullptr, "cannot write the project file");
    check(std::fwrite(text.data(), 1, text.size(), file) == text.size(), "short write");
    check(std::fclose(file) == 0, "cannot close the project file");
  }

  const std::string base = options.projectPrefix.empty() ? name.base : options.projectPrefix;
  Model expected = model(text, base, options.includeEmptyValues);
  options.attributes = attributeList((choice >> 4) & 7, expected.header);
  std::vector<std::string> attributes = options.attributes;
  if (!expected.fatal) modelDriver(expected, attributes);

  errors.str("");
  discarded.str("");
  Project project(options);
  int status = 0;
  try {
    project.parseProjectFile();
    if (options.attributes.empty()) project.addAllFilesAttribute();
    project.checkAttributes();
  } catch (const FatalExit& exit) {
    status = exit.status;
  }
  check(status == (expected.fatal ? 1 : 0), "the run's exit differs from the model");
  check(errors.str() == expected.errors, "the messages differ from the model");
  if (!expected.fatal) check(options.attributes == attributes, "the named attributes differ");
  checkIndex(project, expected, options.includeEmptyValues);
  return 0;
}
