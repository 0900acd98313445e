// One project as every program reads it: the data files, their attribute
// index, and the header's attribute names and the data lines' file names as
// the project file spells them. The file is read once, by
// `parseProjectFile`; what a program then does with the project is its own
// (ovrell: driver/run_project.h; the report: report/report_run.h).
//
// Every error ends the process inside the step that finds it. The Project
// owns `files` and the whole index; the Options record must outlive it.
#ifndef OVRELL_PROJECT_PROJECT_H_
#define OVRELL_PROJECT_PROJECT_H_

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "options/options.h"
#include "project/attribute_index.h"

class Project {
 public:
  explicit Project(Options& options);
  ~Project();
  Project(const Project&) = delete;
  Project& operator=(const Project&) = delete;

  // Reads the project file named in the options into `files`,
  // `attributeIndex`, `attributeNames` and `fileNames` (all must be empty).
  // Ends the process on any error.
  void parseProjectFile();
  // Ends the process unless every named attribute is a project-file column.
  void checkAttributes();
  // Adds "_id" (or the first free "_id0", "_id1", ...) with the single value
  // "s" grouping every file, and appends its name to the named attributes.
  void addAllFilesAttribute();

  // Splits one project-file line (without its line feed) into `fields`,
  // which is emptied first. Returns nullptr, or one of the error texts
  // "unclosed single quote.", "unclosed double quote." and
  // "single backslash at the end of line." (static storage).
  static const char* tokenizeLine(const std::string& line, std::vector<std::string>& fields);

  Options& options;
  std::vector<boost::filesystem::path> files;
  AttributeIndex attributeIndex;
  std::vector<std::string> attributeNames;  // the header's fields after the first, in order
  std::vector<std::string> fileNames;       // each data line's first field, as spelled
};

#endif  // OVRELL_PROJECT_PROJECT_H_
