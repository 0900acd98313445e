#include "report/project_explanation.h"

#include <algorithm>

#include "explain/data_files_source.h"

// Every attribute of the project file whose value no file leaves empty,
// with its values in the files' order.
std::vector<AttributeValues> attributeValues(const Project& project) {
  std::vector<AttributeValues> attributes;
  for (const std::string& name : project.attributeNames) {
    AttributeValues attribute{name, std::vector<std::string>(project.files.size())};
    std::size_t valued = 0;
    for (const auto& group : *project.attributeIndex.find(name)->second)
      for (std::uint32_t file : *group.second) attribute.values[file] = group.first, ++valued;
    if (valued == project.files.size() &&
        std::none_of(attribute.values.begin(), attribute.values.end(),
                     [](const std::string& value) { return value.empty(); }))
      attributes.push_back(std::move(attribute));
  }
  return attributes;
}

Explanation explainProject(const Project& project, const DataFiles& files, std::uint64_t fileSize,
                           const Options& options) {
  ExplainLimits limits;
  limits.memory = options.memLimit / 2;
  return explainFiles(DataFilesSource(files, fileSize), attributeValues(project), limits);
}
