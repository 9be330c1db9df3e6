// What `sc3xx print` says when it is through: a summary for a person, or one JSON object for a program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "apps/sc3xx/log_output.h"
#include "apps/spooler/document_runner.h"

namespace sc3xx {

struct JobReport {
  std::string name;
  std::size_t labels = 0;  // in the stream
  DocumentResult result;
};

struct PrintReport {
  std::string port;
  std::string model;  // driver name
  std::vector<JobReport> jobs;
  std::size_t jobsNotStarted = 0;
  std::uint64_t elapsedMs = 0;
  std::string caveat;               // why "printed" isn't to be taken at its word; empty when it is
  std::size_t labelsSentAgain = 0;  // that the printer had dropped; the virtual printer knows
  std::size_t labelsRepeated = 0;   // that came out more than once, because their acknowledgement was lost
  std::vector<std::string> pictures;
  LogFiles logFiles;       // that the monitor wrote at its debug level
  std::string transcript;  // empty: none written
};

// The worst of the jobs: failed before deleted before printed.
JobOutcome OutcomeOf(const PrintReport& report);

std::string_view Name(JobOutcome outcome);  // "printed", "failed", "deleted"

void WriteSummary(const PrintReport& report, std::ostream& stream);
void WriteJson(const PrintReport& report, std::ostream& stream);

}  // namespace sc3xx
