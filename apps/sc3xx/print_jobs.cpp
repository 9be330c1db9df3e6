#include "apps/sc3xx/print_jobs.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "apps/kpl/input_error.h"
#include "apps/kpl/input_file.h"
#include "apps/kpl/inspect.h"
#include "apps/sc3xx/usage_error.h"

namespace sc3xx {
namespace {

// The first thing in the stream that keeps a part of it from the printer; null for a sound stream.
const InspectedProblem* DefectOf(const InspectReport& report) {
  const auto error = std::find_if(report.problems.begin(), report.problems.end(), [](const InspectedProblem& problem) {
    return problem.severity == InspectedProblem::Severity::kError;
  });
  return error == report.problems.end() ? nullptr : &*error;
}

PrintJob JobFromStream(std::string name, std::vector<std::uint8_t> bytes, bool emptyLabelsPrinted) {
  InspectOptions options;
  options.maxCommands = 0;  // only the labels count here
  const InspectReport report = InspectStream(bytes, name, options);
  PrintJob job{std::move(name), std::move(bytes), {}, {}};
  job.expected.labels = emptyLabelsPrinted ? report.labels.size() : report.LabelsToPrint();
  if (const InspectedProblem* defect = DefectOf(report)) {
    job.expected.defect = "byte " + std::to_string(defect->offset) + ": " + defect->what;
    job.consequence = defect->consequence;
  }
  return job;
}

PrintJob JobFromPictures(const std::vector<InputFile>& files, const DocumentOptions& options, std::size_t jobId,
                         bool emptyLabelsPrinted) {
  std::vector<Picture> pictures;
  pictures.reserve(files.size());
  for (const InputFile& file : files) {
    pictures.push_back(ReadPicture(file, PictureOptionsFrom(options)));
  }
  std::string name = files.front().name;
  if (files.size() > 1) {
    name += " and " + std::to_string(files.size() - 1) + " more";
  }
  return JobFromStream(std::move(name),
                       EncodeJob(pictures, EncodeOptionsFrom(options, static_cast<std::uint32_t>(jobId))),
                       emptyLabelsPrinted);
}

}  // namespace

std::vector<PrintJob> LoadPrintJobs(const std::vector<std::string>& files, const DocumentOptions& options,
                                    bool emptyLabelsPrinted) {
  if (std::count(files.begin(), files.end(), "-") > 1) {
    throw UsageError("standard input (-) can be printed once only; name it once, with --copies for more of it");
  }
  std::vector<PrintJob> jobs;
  std::vector<InputFile> pictures;
  const auto endPictures = [&] {
    if (!pictures.empty()) {
      jobs.push_back(JobFromPictures(pictures, options, jobs.size() + 1, emptyLabelsPrinted));
      pictures.clear();
    }
  };
  for (const std::string& path : files) {
    InputFile file = ReadInputFile(path);
    if (IsPicture(file.kind)) {
      pictures.push_back(std::move(file));
      continue;
    }
    if (file.kind != InputKind::kKpl) {
      throw InputError(file.name + ": this is " + DescribeContent(file.bytes) +
                       ", neither a KPL stream nor a PNG or PBM picture");
    }
    endPictures();
    jobs.push_back(JobFromStream(std::move(file.name), std::move(file.bytes), emptyLabelsPrinted));
  }
  endPictures();
  return jobs;
}

}  // namespace sc3xx
