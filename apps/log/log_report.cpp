#include "apps/log/log_report.h"

#include <nlohmann/json.hpp>
#include <sstream>

namespace sc3xx {
namespace {

constexpr std::string_view kGreen = "\033[32m";
constexpr std::string_view kRed = "\033[31m";
constexpr std::string_view kYellow = "\033[33m";
constexpr std::string_view kPlain = "\033[0m";

std::string Coloured(std::string_view text, std::string_view colour, bool colours) {
  return colours ? std::string(colour) + std::string(text) + std::string(kPlain) : std::string(text);
}

std::string_view ColourOf(LoggedOutcome outcome) {
  switch (outcome) {
    case LoggedOutcome::kPrinted:
      return kGreen;
    case LoggedOutcome::kGivenUp:
    case LoggedOutcome::kRefused:
      return kRed;
    default:
      return kYellow;
  }
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string Seconds(std::uint64_t milliseconds) {
  const std::uint64_t tenths = (milliseconds + 50) / 100;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

// A log may hold any bytes; a terminal takes some of them for commands.
std::string Printable(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    c = byte < 0x20 || byte == 0x7F ? '?' : c;
  }
  return text;
}

void WriteWaits(std::ostream& out, const std::vector<LoggedWait>& waits, bool colours) {
  for (const LoggedWait& wait : waits) {
    out << ", " << Coloured(Seconds(wait.milliseconds) + " " + wait.cause, kYellow, colours);
  }
}

void WriteLabel(std::ostream& out, const LoggedLabel& label, bool colours) {
  out << "  label " << label.number << ": " << Counted(label.attempts, "attempt");
  if (label.waits.empty()) {
    out << ", " << Seconds(label.milliseconds);
  }
  WriteWaits(out, label.waits, colours);
  out << '\n';
}

bool HadTrouble(const LoggedLabel& label) {
  return label.attempts != 1 || !label.waits.empty();
}

// Labels that came out at once are told in one line.
void WriteLabels(std::ostream& out, const std::vector<LoggedLabel>& labels, bool colours) {
  for (std::size_t i = 0; i < labels.size();) {
    std::size_t end = i;
    std::uint64_t milliseconds = 0;
    while (end < labels.size() && !HadTrouble(labels[end])) {
      milliseconds += labels[end++].milliseconds;
    }
    if (end > i + 1) {
      out << "  labels " << labels[i].number << " to " << labels[end - 1].number << ": 1 attempt each, "
          << Seconds(milliseconds) << '\n';
      i = end;
    } else {
      WriteLabel(out, labels[i++], colours);
    }
  }
}

void WriteJob(std::ostream& out, const LoggedJob& job, bool colours) {
  out << "Job " << job.id << " on " << Printable(job.printer) << ": "
      << Coloured(Name(job.outcome), ColourOf(job.outcome), colours);
  if (job.outcome == LoggedOutcome::kRefused) {
    out << " (" << Printable(job.reason) << ") at " << job.began << '\n';
    return;
  }
  out << ", " << job.labels.size() << " of " << Counted(job.labelsParsed, "label") << " acknowledged, "
      << Seconds(job.milliseconds) << " (" << job.began << " to " << job.ended << ")\n";
  WriteLabels(out, job.labels, colours);
  for (const LoggedWait& wait : job.waits) {
    out << "  and then: " << Coloured(Seconds(wait.milliseconds) + " " + wait.cause, kYellow, colours) << '\n';
  }
  for (const std::string& trouble : job.troubles) {
    out << "  trouble: " << Coloured(Printable(trouble), kRed, colours) << '\n';
  }
}

nlohmann::ordered_json WaitsAsJson(const std::vector<LoggedWait>& waits) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const LoggedWait& wait : waits) {
    list.push_back({{"cause", wait.cause}, {"milliseconds", wait.milliseconds}});
  }
  return list;
}

nlohmann::ordered_json JobAsJson(const LoggedJob& job) {
  nlohmann::ordered_json labels = nlohmann::ordered_json::array();
  for (const LoggedLabel& label : job.labels) {
    labels.push_back({{"number", label.number},
                      {"attempts", label.attempts},
                      {"milliseconds", label.milliseconds},
                      {"waits", WaitsAsJson(label.waits)}});
  }
  return {{"id", job.id},
          {"printer", job.printer},
          {"outcome", Name(job.outcome)},
          {"reason", job.reason},
          {"began", job.began},
          {"ended", job.ended},
          {"milliseconds", job.milliseconds},
          {"labelsParsed", job.labelsParsed},
          {"labels", labels},
          {"waits", WaitsAsJson(job.waits)},
          {"troubles", job.troubles}};
}

}  // namespace

std::string StoryAsText(const LogStory& story, const std::string& name, bool colours) {
  std::ostringstream out;
  out << name << ": " << Counted(story.jobs.size(), "job");
  if (!story.began.empty()) {
    out << ", " << story.began << " to " << story.ended;
  }
  out << '\n';
  if (!story.version.empty()) {
    out << "Monitor " << Printable(story.version) << "  " << Printable(story.settings) << '\n';
  }
  if (story.otherLines > 0) {
    out << Counted(story.otherLines, "line") << " that the monitor didn't write whole\n";
  }
  for (const LoggedJob& job : story.jobs) {
    out << '\n';
    WriteJob(out, job, colours);
  }
  return out.str();
}

std::string StoryAsJson(const LogStory& story, const std::string& name) {
  nlohmann::ordered_json jobs = nlohmann::ordered_json::array();
  for (const LoggedJob& job : story.jobs) {
    jobs.push_back(JobAsJson(job));
  }
  const nlohmann::ordered_json object = {
      {"file", name},         {"version", story.version}, {"settings", story.settings},     {"began", story.began},
      {"ended", story.ended}, {"records", story.records}, {"otherLines", story.otherLines}, {"jobs", jobs}};
  return object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

}  // namespace sc3xx
