#include "report/report_run.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "base/fatal.h"
#include "base/output.h"
#include "base/replaced_outputs.h"
#include "base/result_files.h"
#include "engine/ovrell.h"
#include "explain/explanation.h"
#include "project/project.h"
#include "report/attribute_scan.h"
#include "report/project_explanation.h"
#include "report/region_facts.h"
#include "report/report_writer.h"

namespace {

std::vector<ReportGroup> groupsOf(const ValueGroups& values) {
  std::vector<ReportGroup> groups;
  for (const auto& value : values) groups.push_back(ReportGroup{value.first, value.second});
  // Numbers sort by their value when every value is one, else by bytes.
  const auto number = [](const std::string& text, double& value) {
    char* end = nullptr;
    value = text.empty() || std::isspace(static_cast<unsigned char>(text[0]))
                ? 0
                : std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() && std::isfinite(value);
  };
  bool numbers = true;
  for (const ReportGroup& group : groups) {
    double value = 0;
    numbers = numbers && number(group.value, value);
  }
  std::sort(groups.begin(), groups.end(), [&](const ReportGroup& a, const ReportGroup& b) {
    double x = 0, y = 0;
    if (numbers && number(a.value, x) && number(b.value, y) && x != y) return x < y;
    return a.value < b.value;
  });
  return groups;
}

// Ends the process when a result file is the project file, a data file or
// the other result file, before anything is deleted.
void refuseOverwritingInputs(const Options& options, const FileList& files,
                             const ReportOptions& report) {
  OutputGuard guard;
  guard.addInput("project file", options.projectFile);
  for (const auto& file : files) guard.addInput("data file", file.string());
  const std::pair<std::string, std::string> results[] = {{"JSON file", report.jsonFile},
                                                         {"HTML file", report.htmlFile},
                                                         {"Kaitai Struct file", report.ksyFile}};
  for (const auto& [role, name] : results) {
    if (name.empty() || name == "-") continue;
    guard.addOutput(role, name);
    guard.addInput(role, name);
  }
}

bool colourWanted() { return ::isatty(STDOUT_FILENO) && std::getenv("NO_COLOR") == nullptr; }

}  // namespace

void runReport(Options& options, const ReportOptions& report) {
  Project project(options);
  project.parseProjectFile();
  ReportRun run{0, project.fileNames};
  if (options.attributes.empty()) options.attributes = project.attributeNames;
  project.checkAttributes();
  Ovrell engine(options);
  DataFiles files(project.files);
  run.fileSize = engine.checkInput(files);

  refuseOverwritingInputs(options, project.files, report);
  keepRunningWhenStandardOutputCloses();
  installSignalCleanup();
  ReplacedOutputs outputs;
  std::vector<std::unique_ptr<ReportWriter>> writers;
  if (!report.jsonFile.empty())
    writers.push_back(jsonWriter(outputs.add("JSON file", report.jsonFile)));
  if (!report.htmlFile.empty())
    writers.push_back(htmlWriter(outputs.add("HTML file", report.htmlFile)));
  if (!report.ksyFile.empty())
    writers.push_back(
        ksyWriter(outputs.add("Kaitai Struct file", report.ksyFile), options.projectFile));
  if (!outputs.toStandardOutput())
    writers.insert(writers.begin(), textWriter(std::cout, report, colourWanted()));

  const Explanation explanation = explainProject(project, files, run.fileSize, options);
  run.explanation = &explanation;
  run.chunkSize = options.chunkSize;
  AttributeScan scan(engine, files, run.fileSize);
  for (auto& writer : writers) writer->begin(run);
  for (const std::string& name : options.attributes) {
    Findings findings(groupsOf(*project.attributeIndex.find(name)->second));
    findings.name = name;
    if (!report.htmlFile.empty()) {
      findings.bytesPerCell = bytesPerCellFor(run.fileSize);
      findings.cells.assign((run.fileSize + findings.bytesPerCell - 1) / findings.bytesPerCell,
                            kConstantCell);
    }
    scan.scan(findings);
    settleFindings(findings);
    for (auto& writer : writers) writer->attribute(findings);
    if (standardOutputClosed() && !outputs.toFiles()) break;
  }
  for (auto& writer : writers) writer->end();
  outputs.commit();
  if (standardOutputClosed() && outputs.toFiles())
    failRun("standard output was closed; the report there was cut, the files are complete");
  if (standardOutputClosed()) failRun("standard output was closed; the report there was cut");
}
