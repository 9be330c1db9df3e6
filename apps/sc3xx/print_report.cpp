#include "apps/sc3xx/print_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace sc3xx {
namespace {

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string Duration(std::uint64_t milliseconds) {
  const std::uint64_t tenths = (milliseconds + 50) / 100;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

std::uint64_t SumOf(const PrintReport& report, std::uint64_t (*part)(const JobReport&)) {
  std::uint64_t sum = 0;
  for (const JobReport& job : report.jobs) {
    sum += part(job);
  }
  return sum;
}

std::uint64_t Acknowledged(const PrintReport& report) {
  return SumOf(report, [](const JobReport& job) { return std::uint64_t{job.result.labelsAcknowledged}; });
}

std::uint64_t Restarts(const PrintReport& report) {
  return SumOf(report, [](const JobReport& job) { return std::uint64_t{job.result.restarts}; });
}

std::string Headline(const PrintReport& report) {
  const std::uint64_t labels = SumOf(report, [](const JobReport& job) { return std::uint64_t{job.labels}; });
  const std::uint64_t acknowledged = Acknowledged(report);
  const std::string confirmed =
      std::to_string(acknowledged) + " of " + Counted(labels, "label") + " confirmed by the printer,";
  switch (OutcomeOf(report)) {
    case JobOutcome::kPrinted:
      return report.caveat.empty() ? "Printed " + Counted(acknowledged, "label")
                                   : "Went through " + Counted(labels, "label");
    case JobOutcome::kDeleted:
      return "Deleted, with " + confirmed;
    case JobOutcome::kFailed:
      break;
  }
  return "FAILED, with " + confirmed;
}

void WriteNames(const char* what, const std::vector<std::string>& names, std::ostream& stream) {
  if (names.size() == 1) {
    stream << what << names.front() << '\n';
  } else if (!names.empty()) {
    stream << what << names.size() << " files, " << names.front() << " to " << names.back() << '\n';
  }
}

void WriteLogFiles(const LogFiles& files, std::ostream& stream) {
  if (!files.log.empty()) {
    stream << "  log:        " << files.log << '\n';
  }
  WriteNames("  job dump:   ", files.jobDumps, stream);
  WriteNames("  label dump: ", files.labelDumps, stream);
}

}  // namespace

JobOutcome OutcomeOf(const PrintReport& report) {
  JobOutcome worst = JobOutcome::kPrinted;
  for (const JobReport& job : report.jobs) {
    if (job.result.outcome == JobOutcome::kFailed) {
      return JobOutcome::kFailed;
    }
    if (job.result.outcome == JobOutcome::kDeleted) {
      worst = JobOutcome::kDeleted;
    }
  }
  return worst;
}

std::string_view Name(JobOutcome outcome) {
  switch (outcome) {
    case JobOutcome::kPrinted:
      return "printed";
    case JobOutcome::kDeleted:
      return "deleted";
    case JobOutcome::kFailed:
      break;
  }
  return "failed";
}

void WriteSummary(const PrintReport& report, std::ostream& stream) {
  if (!report.caveat.empty()) {
    stream << report.caveat << '\n';
  }
  stream << Headline(report) << " on " << report.port << " (" << report.model << ") in " << Duration(report.elapsedMs);
  if (Restarts(report) > 0) {
    stream << ", " << Counted(Restarts(report), "restart");
  }
  if (report.labelsSentAgain > 0) {
    stream << ", " << Counted(report.labelsSentAgain, "label") << " sent again";
  }
  if (report.labelsRepeated > 0) {
    stream << ", " << Counted(report.labelsRepeated, "label") << " came out more than once";
  }
  stream << '\n';
  if (report.jobsNotStarted > 0) {
    stream << "  " << Counted(report.jobsNotStarted, "job") << " not started\n";
  }
  if (report.pictures.size() == 1) {
    stream << "  picture:    " << report.pictures.front() << '\n';
  } else if (!report.pictures.empty()) {
    stream << "  pictures:   " << report.pictures.front() << " to " << report.pictures.back() << '\n';
  }
  if (!report.transcript.empty()) {
    stream << "  transcript: " << report.transcript << '\n';
  }
  WriteLogFiles(report.logFiles, stream);
}

void WriteJson(const PrintReport& report, std::ostream& stream) {
  nlohmann::ordered_json jobs = nlohmann::ordered_json::array();
  for (const JobReport& job : report.jobs) {
    jobs.push_back({{"name", job.name},
                    {"outcome", Name(job.result.outcome)},
                    {"reason", job.result.reason},
                    {"labels", job.labels},
                    {"labelsPrinted", job.result.labelsAcknowledged},
                    {"restarts", job.result.restarts},
                    {"refusedWrites", job.result.refusedWrites},
                    {"milliseconds", job.result.elapsedMs}});
  }
  nlohmann::ordered_json object = {{"outcome", Name(OutcomeOf(report))},
                                   {"port", report.port},
                                   {"model", report.model},
                                   {"caveat", report.caveat},
                                   {"labelsPrinted", Acknowledged(report)},
                                   {"labelsSentAgain", report.labelsSentAgain},
                                   {"labelsRepeated", report.labelsRepeated},
                                   {"restarts", Restarts(report)},
                                   {"milliseconds", report.elapsedMs},
                                   {"jobs", jobs},
                                   {"jobsNotStarted", report.jobsNotStarted},
                                   {"pictures", report.pictures},
                                   {"transcript", report.transcript},
                                   {"log", report.logFiles.log},
                                   {"jobDumps", report.logFiles.jobDumps},
                                   {"labelDumps", report.logFiles.labelDumps}};
  // A file's name need not be UTF-8.
  stream << object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace sc3xx
