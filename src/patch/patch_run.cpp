#include "patch/patch_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "base/fatal.h"
#include "base/replaced_outputs.h"
#include "base/result_files.h"
#include "engine/ovrell.h"
#include "patch/patch_check.h"
#include "project/project.h"
#include "report/attribute_scan.h"
#include "report/project_explanation.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kHeldCopies = 3;

std::vector<ReportGroup> groupsOf(const ValueGroups& values) {
  std::vector<ReportGroup> groups;
  for (const auto& value : values) groups.push_back(ReportGroup{value.first, value.second});
  std::sort(groups.begin(), groups.end(),
            [](const ReportGroup& a, const ReportGroup& b) { return a.value < b.value; });
  return groups;
}

// Ends the process when a set value is not a group of its attribute.
void checkSettings(Project& project, const PatchOptions& patch) {
  for (const Setting& setting : patch.settings) {
    const ValueGroups& values = *project.attributeIndex.find(setting.attribute)->second;
    if (values.find(setting.value) != values.end()) continue;
    std::string names;
    for (const ReportGroup& group : groupsOf(values))
      names += (names.empty() ? "" : ", ") + group.value;
    fatalNamed("the attribute '", setting.attribute, "' has no group '", setting.value,
               "'; its groups are ", names);
  }
}

void guardOutput(const Options& options, const FileList& files, const PatchOptions& patch) {
  OutputGuard guard;
  guard.addInput("project file", options.projectFile);
  for (const auto& file : files) guard.addInput("data file", file.string());
  guard.addInput("input file", patch.input);
  guard.addOutput("output file", patch.output);
}

// The input, the output and the mark of the set bits are held whole: they
// take their share of the memory limit before the scan sizes its blocks.
void reserveHeldCopies(Options& options, std::uint64_t fileSize) {
  const std::uint64_t held = kHeldCopies * fileSize;
  if (held >= options.memLimit)
    fatalNamed("files of ", fileSize, " bytes are held ", kHeldCopies,
               " times in memory, which the memory limit of ", options.memLimit,
               " bytes does not allow; use a larger -m");
  options.memLimit -= static_cast<std::uint32_t>(held);
}

Bytes readInput(const std::string& name, std::uint64_t fileSize) {
  const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd < 0 || ::fstat(fd, &status) != 0)
    fatalNamed("cannot read the input file '", name, "': ", std::strerror(errno));
  if (!S_ISREG(status.st_mode)) fatalNamed("the input file '", name, "' is not a regular file");
  if (static_cast<std::uint64_t>(status.st_size) != fileSize)
    fatalNamed("the input file '", name, "' is ", status.st_size,
               " bytes long, the project's files ", fileSize);
  Bytes bytes(fileSize);
  for (std::uint64_t done = 0; done < fileSize;) {
    const ssize_t got = ::read(fd, bytes.data() + done, fileSize - done);
    if (got <= 0)
      fatalNamed("cannot read the input file '", name,
                 "': ", got == 0 ? "it was cut short" : std::strerror(errno));
    done += static_cast<std::uint64_t>(got);
  }
  ::close(fd);
  return bytes;
}

// Scans the attribute and sets its informative bits in `file` to the
// group's, marking them in `set`; ends the run when an attribute set before
// gave one of them another value.
void patchAttribute(AttributeScan& scan, Project& project, const Setting& setting, Bytes& file,
                    Bytes& set) {
  Findings findings(groupsOf(*project.attributeIndex.find(setting.attribute)->second));
  findings.name = setting.attribute;
  scan.scan(findings);
  if (findings.informative == 0)
    failRun("the attribute '", setting.attribute,
            "' has no informative bit: no bit is the same in every file of each group and "
            "different between groups; nothing was written");
  std::size_t g = 0;
  while (findings.groups[g].value != setting.value) ++g;
  const std::uint32_t source = (*findings.groups[g].files)[0];
  for (std::uint64_t p = 0; p < findings.bytes.count(); ++p) {
    const std::uint64_t offset = offsetAt(findings, p);
    const unsigned char informative = informativeAt(findings, p);
    const unsigned char value = findings.data->at(source, offset);
    if (((file[offset] ^ value) & informative & set[offset]) != 0)
      failRun("the group '", setting.value, "' of '", setting.attribute, "' gives the bits of ",
              "byte ", offsetText(offset),
              " other values than an attribute set before it; nothing was written");
    file[offset] =
        static_cast<unsigned char>((file[offset] & ~informative) | (value & informative));
    set[offset] |= informative;
  }
}

}  // namespace

void runPatch(Options& options, const PatchOptions& patch) {
  Project project(options);
  project.parseProjectFile();
  for (const Setting& setting : patch.settings) options.attributes.push_back(setting.attribute);
  project.checkAttributes();
  checkSettings(project, patch);
  Ovrell engine(options);
  DataFiles files(project.files);
  const std::uint64_t fileSize = engine.checkInput(files);
  guardOutput(options, project.files, patch);
  if (patch.output == "-") fatalNamed("the output must be a file, not standard output");
  reserveHeldCopies(options, fileSize);
  const Bytes input = readInput(patch.input, fileSize);

  installSignalCleanup();
  ReplacedOutputs outputs;
  std::ostream& written = outputs.add("output file", patch.output);

  Bytes file = input;
  Bytes set(fileSize, 0);
  {
    AttributeScan scan(engine, files, fileSize);
    for (const Setting& setting : patch.settings) patchAttribute(scan, project, setting, file, set);
  }
  // What changed is printed once the output is in place, never for an
  // output that a failed write took back.
  std::ostringstream report;
  fixAndReport(explainProject(project, files, fileSize, options), input, file, set, report);
  written.write(reinterpret_cast<const char*>(file.data()),
                static_cast<std::streamsize>(file.size()));
  outputs.commit();
  std::cout << report.str();
}
