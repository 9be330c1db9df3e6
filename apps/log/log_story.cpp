// Jobs are told apart by the thread that prints them: from the start of a document to its end the spooler keeps to one.

#include "apps/log/log_story.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

namespace sc3xx {
namespace {

std::uint32_t ToNumber(const std::string& digits) {
  std::uint32_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

std::string BayWords(std::uint32_t bay) {
  switch (bay) {
    case 1:
      return "bay open";
    case 3:
      return "wrong media";
    case 9:
      return "label jam";
    case 10:
      return "unknown labels";
    case 0:
    case 2:
    case 4:
    case 5:
      return "out of labels";
    default:
      return "media trouble " + std::to_string(bay);
  }
}

// A wait begins with one text and ends with another.
struct WaitWords {
  std::string_view begins;
  std::string_view ends;
  std::string_view cause;  // empty: named by the number in the first text
};

constexpr WaitWords kWaits[] = {
    {"Media status has become BAD: %d", "Media status GOOD", ""},
    {"PH status has become BAD", "PH status has become GOOD", "print head too hot"},
    {"Cutter status has become BAD", "Cutter status has become GOOD", "cutter jam"},
    {"Battery level became too low", "Battery level GOOD", "battery low"},
    {"Printer lock failed (taken by someone else)", "Lock acquired", "printer in use by another"},
};
// Waits that begin with a caught failure and end when the printer is found ready.
constexpr WaitWords kNoContact{"", "", "no contact"};
constexpr WaitWords kNotReady{"", "", "printer not ready"};  // until its cause is told

// Failures that the monitor caught: of the transport, and bad words of the printer.
constexpr std::string_view kContactLost[] = {
    "Sending ESCA%d failed",
    "Receiving ESCA%d response failed (%d bytes read)",
    "Sending ESCA2 for label #%d failed",
    "Receiving ESCA2 response for label #%d FAILED",
    "SendLabel failed",
    "WritePort failed. written=%d; err=%d",
    "WSAConnect failed: err=%d",
};
constexpr std::string_view kBadWords[] = {"BAD PrintStatus(%d) for label #%d.", "BAD PrintStatus(%d)",
                                          "Bad status: %d"};

template <std::size_t Count>
bool IsOneOf(const std::string_view (&formats)[Count], const std::string& text) {
  return std::any_of(std::begin(formats), std::end(formats),
                     [&](std::string_view format) { return Match(format, text).has_value(); });
}

void AddWait(std::vector<LoggedWait>& waits, const LoggedWait& wait) {
  const auto same =
      std::find_if(waits.begin(), waits.end(), [&](const LoggedWait& other) { return other.cause == wait.cause; });
  if (same == waits.end()) {
    waits.push_back(wait);
  } else {
    same->milliseconds += wait.milliseconds;
  }
}

// Follows one job from record to record.
class JobTeller {
 public:
  JobTeller(const LogRecord& start, std::string printer, std::uint32_t id) {
    job_.id = id;
    job_.printer = std::move(printer);
    job_.began = start.time;
    job_.ended = start.time;
    startMs_ = start.timeMs;
    labelMs_ = start.timeMs;
    lastMs_ = start.timeMs;
  }

  // True when the record ends the job.
  bool Take(const LogRecord& record) {
    job_.ended = record.time;
    lastMs_ = std::max(lastMs_, record.timeMs);
    TakeWait(record);
    TakeContact(record);
    TakeLabel(record);
    TakeOutcome(record);
    return record.function == "SCMon_EndDocPort" && record.text == "Last page ejected";
  }

  LoggedJob Finish(bool ended) {
    if (job_.outcome == LoggedOutcome::kUnfinished && ended) {
      job_.outcome = LoggedOutcome::kEnded;
    }
    while (!open_.empty()) {
      EndWait(open_.front().words);
    }
    job_.waits = std::move(waits_);
    job_.milliseconds = lastMs_ - startMs_;
    for (const auto& [text, times] : troubles_) {
      job_.troubles.push_back(times == 1 ? text : text + " (" + std::to_string(times) + " times)");
    }
    return std::move(job_);
  }

  void Refuse(const std::string& reason) {
    job_.outcome = LoggedOutcome::kRefused;
    job_.reason = reason;
  }

 private:
  struct OpenWait {
    const WaitWords* words;
    std::string cause;
    std::uint64_t beganMs;
  };

  bool IsOpen(const WaitWords* words) const {
    return std::any_of(open_.begin(), open_.end(), [&](const OpenWait& wait) { return wait.words == words; });
  }
  void BeginWait(const WaitWords* words, std::string cause) {
    if (!IsOpen(words)) {
      open_.push_back({words, std::move(cause), lastMs_});
    }
  }
  // The cause of a wait that began with no more than a bad word.
  void BeginNamedWait(const WaitWords* words, std::string cause) {
    const auto unnamed =
        std::find_if(open_.begin(), open_.end(), [](const OpenWait& wait) { return wait.words == &kNotReady; });
    if (unnamed == open_.end()) {
      BeginWait(words, std::move(cause));
    } else {
      *unnamed = {words, std::move(cause), unnamed->beganMs};
    }
  }
  void EndWait(const WaitWords* words) {
    const auto wait =
        std::find_if(open_.begin(), open_.end(), [&](const OpenWait& open) { return open.words == words; });
    if (wait != open_.end()) {
      AddWait(waits_, {wait->cause, lastMs_ - wait->beganMs});
      open_.erase(wait);
    }
  }

  void TakeWait(const LogRecord& record) {
    for (const WaitWords& words : kWaits) {
      if (const auto values = Match(words.begins, record.text)) {
        EndWait(&words);
        BeginNamedWait(&words, words.cause.empty() ? BayWords(ToNumber(values->at(0))) : std::string(words.cause));
      } else if (record.text == words.ends) {
        EndWait(&words);
      }
    }
  }

  void TakeContact(const LogRecord& record) {
    if (IsOneOf(kContactLost, record.text)) {
      NoteTrouble(record.text);
      BeginWait(&kNoContact, std::string(kNoContact.cause));
    } else if (IsOneOf(kBadWords, record.text)) {
      NoteTrouble(record.text);
      BeginWait(&kNotReady, std::string(kNotReady.cause));
    } else if (record.text == "Lock acquired" || record.text == "Lock kept") {
      EndWait(&kNoContact);
      EndWait(&kNotReady);
    }
  }

  void NoteTrouble(const std::string& text) {
    const auto same =
        std::find_if(troubles_.begin(), troubles_.end(), [&](const auto& entry) { return entry.first == text; });
    if (same == troubles_.end()) {
      troubles_.emplace_back(text, 1);
    } else {
      ++same->second;
    }
  }

  void TakeLabel(const LogRecord& record) {
    const auto values = Match(
        "Status for label #%d acknowledged(%d attempts). Total in job: %d; ACK: %d; NAK: %d; UNSENT: %d", record.text);
    if (values) {
      EndWait(&kNoContact);
      EndWait(&kNotReady);
      job_.labelsParsed = std::max(job_.labelsParsed, ToNumber(values->at(2)));
      // The number in the text is one behind on tape; that of labels acknowledged is right everywhere.
      job_.labels.push_back({ToNumber(values->at(3)), ToNumber(values->at(1)), lastMs_ - labelMs_, std::move(waits_)});
      waits_.clear();
      labelMs_ = lastMs_;
    } else if (Match("Got label (%d/%d bytes). state=%d", record.text)) {
      ++job_.labelsParsed;
    }
  }

  void TakeOutcome(const LogRecord& record) {
    if (record.text == "Print job cancelled by the printer") {
      job_.outcome = LoggedOutcome::kCancelled;
    } else if (record.text == "Print job aborted by the spooler") {
      job_.outcome = LoggedOutcome::kDeleted;
    } else if (record.text == "Communication issues. Restarting print job.") {
      job_.outcome = LoggedOutcome::kRestarted;
    } else if (Match("Job appears to be stuck - no labels sent in %d retries. Aborting.", record.text) ||
               record.text == "Printer status error!") {
      job_.outcome = LoggedOutcome::kGivenUp;
    } else if (record.text == "SC_WritePort2 done.") {
      job_.outcome = LoggedOutcome::kPrinted;
    }
  }

  LoggedJob job_;
  std::vector<OpenWait> open_;
  std::vector<LoggedWait> waits_;
  std::vector<std::pair<std::string, std::uint32_t>> troubles_;
  std::uint64_t startMs_ = 0;
  std::uint64_t labelMs_ = 0;
  std::uint64_t lastMs_ = 0;
};

class LogTeller {
 public:
  void Take(const LogRecord& record) {
    if (record.function == "InitializePrintMonitor2") {
      TakeStart(record);
    } else if (record.function == "SCMon_StartDocPort") {
      TakeDocument(record);
    } else if (const auto job = jobs_.find(record.thread); job != jobs_.end()) {
      if (job->second.Take(record)) {
        End(record.thread, true);
      }
    }
  }

  LogStory Finish() {
    while (!jobs_.empty()) {
      End(jobs_.begin()->first, false);
    }
    return std::move(story_);
  }

 private:
  void TakeStart(const LogRecord& record) {
    if (const auto values = Match("Initialized SC3xx Language Monitor v%s-%s built on %s", record.text)) {
      story_.version = values->at(0);
    } else if (Match("Debug: %d; Trace: %d; Test: %d;", record.text)) {
      story_.settings = record.text;
    }
  }

  void TakeDocument(const LogRecord& record) {
    const auto values = Match("printer=%s; dwJobId=%d; dwLevel=%d", record.text);
    if (values) {
      End(record.thread, false);
      jobs_.emplace(record.thread, JobTeller(record, values->at(0), ToNumber(values->at(1))));
    } else if (const auto job = jobs_.find(record.thread); job != jobs_.end()) {
      job->second.Refuse(record.text);
      End(record.thread, true);
    }
  }

  void End(const std::string& thread, bool ended) {
    const auto job = jobs_.find(thread);
    if (job != jobs_.end()) {
      story_.jobs.push_back(job->second.Finish(ended));
      jobs_.erase(job);
    }
  }

  LogStory story_;
  std::map<std::string, JobTeller> jobs_;  // by thread
};

}  // namespace

LogStory TellLog(const LogRecords& log) {
  LogTeller teller;
  for (const LogRecord& record : log.records) {
    teller.Take(record);
  }
  LogStory story = teller.Finish();
  story.records = log.records.size();
  story.otherLines = log.otherLines;
  if (!log.records.empty()) {
    story.began = log.records.front().time;
    story.ended = log.records.back().time;
  }
  return story;
}

std::string_view Name(LoggedOutcome outcome) {
  switch (outcome) {
    case LoggedOutcome::kPrinted:
      return "printed";
    case LoggedOutcome::kEnded:
      return "ended before its last byte";
    case LoggedOutcome::kCancelled:
      return "cancelled at the printer";
    case LoggedOutcome::kDeleted:
      return "deleted";
    case LoggedOutcome::kRestarted:
      return "handed back to be printed anew";
    case LoggedOutcome::kGivenUp:
      return "given up";
    case LoggedOutcome::kRefused:
      return "refused";
    case LoggedOutcome::kUnfinished:
      break;
  }
  return "unfinished";
}

}  // namespace sc3xx
