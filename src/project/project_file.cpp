// Project::parseProjectFile and Project::checkAttributes; contracts in
// project/project.h.
#include <fstream>

#include "base/fatal.h"
#include "project/project.h"

namespace {

[[noreturn]] void lineError(unsigned long lineNumber, const char* error) {
  fatal("Error while parsing the line no:", lineNumber, " of project file: ", error, "\n");
}

[[noreturn]] void fieldCountError(unsigned long lineNumber) {
  fatal(
      "Error while parsing the line no:", lineNumber,
      ". Number of attribute values does not correspond to number of attributes defined in header. To specify empty attribute use ''. \n");
}

// A data path joined under the base directory; a leading '/' of the field
// does not make it absolute ("data" and "/x/a.bin" give "data/x/a.bin").
std::string joinPath(const std::string& base, const std::string& field) {
  std::string path = base;
  if (field.empty()) return path;
  const bool addSeparator = !path.empty() && path.back() != '/';
  if (addSeparator) path += '/';
  path += field;
  if (addSeparator && field.front() == '/') path.erase(base.size(), 1);
  return path;
}

}  // namespace

void Project::parseProjectFile() {
  const std::string base = options.projectPrefix.empty()
                               ? boost::filesystem::path(options.projectFile).parent_path().string()
                               : options.projectPrefix;
  std::ifstream in(options.projectFile);
  if (!in.is_open()) fatal("Unable to open project file!\n");

  std::string line;
  std::vector<std::string> fields;
  unsigned long lineNumber = 0;
  auto readLine = [&] {
    std::getline(in, line);
    ++lineNumber;
    if (const char* error = tokenizeLine(line, fields)) lineError(lineNumber, error);
  };

  std::size_t headerWidth = 0;
  while (in.good()) {
    readLine();
    if (!fields.empty()) {
      headerWidth = fields.size();
      break;
    }
  }
  if (headerWidth <= 1) warn("Project file must contain at least one attribute name.\n");

  std::vector<ValueGroups*> columns;  // the groups of header fields 2 ... n
  for (std::size_t k = 1; k < headerWidth; ++k) {
    const std::string& name = fields[k];
    if (name.empty()) fatal("Attribute name must not be empty\n");
    if (attributeIndex.find(name) != attributeIndex.end())
      fatal("Two attributes must not have the same name. \n");
    ValueGroups* groups = new ValueGroups;
    attributeIndex[name] = groups;
    columns.push_back(groups);
    attributeNames.push_back(name);
  }

  while (in.good()) {
    readLine();
    if (fields.empty()) continue;
    if (fields.size() != headerWidth) fieldCountError(lineNumber);
    files.emplace_back(joinPath(base, fields[0]));
    fileNames.push_back(fields[0]);
    const auto index = static_cast<std::uint32_t>(files.size() - 1);
    for (std::size_t k = 1; k < headerWidth; ++k) {
      const std::string& value = fields[k];
      if (value.empty() && !options.includeEmptyValues) continue;
      FileIndexList*& list = (*columns[k - 1])[value];
      if (list == nullptr) list = new FileIndexList;
      list->push_back(index);
    }
  }
}

void Project::checkAttributes() {
  for (const std::string& name : options.attributes) {
    if (attributeIndex.find(name) == attributeIndex.end())
      fatal("Attribute \"", name, "\" is not specified in the project file.\n");
  }
}
