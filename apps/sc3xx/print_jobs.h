// The files of `sc3xx print` as jobs: each KPL stream is a job, and pictures that follow one another are the labels of
// one job. Everything is read and checked before the first byte goes to a printer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/sc3xx/document_options.h"
#include "apps/spooler/document_runner.h"

namespace sc3xx {

struct PrintJob {
  std::string name;
  std::vector<std::uint8_t> bytes;
  StreamExpectation expected;
  std::string consequence;  // what becomes of a stream with a defect
};

// `emptyLabelsPrinted`: the option PrintEmptyLabel is on, so that labels without dots count. Throws InputError, or
// UsageError when standard input is named twice.
std::vector<PrintJob> LoadPrintJobs(const std::vector<std::string>& files, const DocumentOptions& options,
                                    bool emptyLabelsPrinted);

}  // namespace sc3xx
