// The jobs that a log tells of: what became of each, label by label, and what it waited for.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/log/log_record.h"

namespace sc3xx {

// A cause that kept a label, or a job before its first label, waiting.
struct LoggedWait {
  std::string cause;  // "out of labels"
  std::uint64_t milliseconds = 0;
};

struct LoggedLabel {
  std::uint32_t number = 0;  // place in the job, from 1
  std::uint32_t attempts = 0;
  std::uint64_t milliseconds = 0;  // since the label before, or since the job's beginning
  std::vector<LoggedWait> waits;   // one a cause, in the order of their beginning
};

enum class LoggedOutcome : std::uint8_t {
  kPrinted,     // up to the footer
  kEnded,       // by the spooler, before the footer came
  kCancelled,   // at the printer
  kDeleted,     // in the spooler
  kRestarted,   // handed back to the spooler to be printed anew
  kGivenUp,     // without progress for too long
  kRefused,     // never begun
  kUnfinished,  // the log ends first
};

struct LoggedJob {
  std::uint32_t id = 0;
  std::string printer;
  std::string began;  // the clock, as the log has it
  std::string ended;
  std::uint64_t milliseconds = 0;
  LoggedOutcome outcome = LoggedOutcome::kUnfinished;
  std::string reason;  // of a refusal
  std::uint32_t labelsParsed = 0;
  std::vector<LoggedLabel> labels;    // acknowledged by the printer
  std::vector<LoggedWait> waits;      // that no label was acknowledged after
  std::vector<std::string> troubles;  // failures that the monitor caught, each with its number of times
};

struct LogStory {
  std::string version;  // of the monitor, empty if the log doesn't hold its start
  std::string settings;
  std::string began;
  std::string ended;
  std::vector<LoggedJob> jobs;
  std::size_t records = 0;
  std::size_t otherLines = 0;
};

LogStory TellLog(const LogRecords& log);

std::string_view Name(LoggedOutcome outcome);  // "printed", "cancelled at the printer" ...

}  // namespace sc3xx
