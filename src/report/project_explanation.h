// The explanation of a project's files, as the report and the patch program
// make it: every attribute of the project file whose value no file leaves
// empty, with its values in the files' order, and what changes between the
// files in their own offsets (whatever -b and -e say), within half the
// memory limit for the reading windows.
#ifndef OVRELL_REPORT_PROJECT_EXPLANATION_H_
#define OVRELL_REPORT_PROJECT_EXPLANATION_H_

#include <cstdint>
#include <vector>

#include "base/data_files.h"
#include "explain/explanation.h"
#include "explain/values.h"
#include "options/options.h"
#include "project/project.h"

std::vector<AttributeValues> attributeValues(const Project& project);

// REQUIRES: the input checks done, every data file `fileSize` bytes long.
Explanation explainProject(const Project& project, const DataFiles& files, std::uint64_t fileSize,
                           const Options& options);

#endif  // OVRELL_REPORT_PROJECT_EXPLANATION_H_
