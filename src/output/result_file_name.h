// Names of the result files of an attribute.
//
// With fewer than two attributes the result goes to `base` itself; with two
// or more, attribute i writes to `base` followed by "_" and i in decimal.
// The driver deletes exactly these names for the commonalities before a run.
#ifndef OVRELL_OUTPUT_RESULT_FILE_NAME_H_
#define OVRELL_OUTPUT_RESULT_FILE_NAME_H_

#include <cstddef>
#include <string>

std::string resultFileName(const std::string& base, std::size_t attributeCount,
                           std::size_t position);

// Ends the run when the result file `name` cannot be opened for writing.
[[noreturn]] void cannotOpenResultFile(const std::string& name);

#endif  // OVRELL_OUTPUT_RESULT_FILE_NAME_H_
