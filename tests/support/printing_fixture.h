// MonitorFixture with the words of printing: options and debug settings as a user sets them, what stands in the story
// when the monitor asks and the printer answers, and jobs in the middle of their printing.
#pragma once

#include <algorithm>
#include <string>

#include "diag/debug_settings.h"
#include "engine/engine.h"
#include "support/monitor_fixture.h"

namespace sc3xxmon::test {

// Lines of the story.
inline constexpr char kAsksStatus[] = "write 1B 41 00";    // ESC A 0
inline constexpr char kAsksForLock[] = "write 1B 41 01";   // ESC A 1
inline constexpr char kAsksInFlight[] = "write 1B 41 02";  // ESC A 2
inline constexpr char kAsksFirmware[] = "write 1B 56";     // ESC V
inline constexpr char kEndsJob[] = "write 1B 51";          // ESC Q
inline constexpr char kLongFeed[] = "write 1B 45";         // ESC E
inline constexpr char kShortFeed[] = "write 1B 47";        // ESC G
inline constexpr char kReadsStatus[] = "read 32";
inline constexpr char kReadsDualRoll[] = "read 70";
inline constexpr char kReadsFirmware[] = "read 34";

inline std::string Writes(const ByteString& bytes) {
  return "write " + Brief(bytes);
}

// What the printer is going to answer to status requests, in order, in one of the two forms of its record.
class PrinterScript {
 public:
  using Form = ByteString (*)(const StatusFields&);
  PrinterScript(ScriptedPort& port, Form form) : port_(port), form_(form) {}

  PrinterScript& Answers(const StatusFields& fields) {
    port_.Answers(form_(fields));
    return *this;
  }
  // For a state that is looked at a second time.
  PrinterScript& AnswersTwice(const StatusFields& fields) { return Answers(fields).Answers(fields); }
  // Both looks of one round fail.
  PrinterScript& IsAway() {
    port_.FailsRead().FailsRead();
    return *this;
  }

 private:
  ScriptedPort& port_;
  Form form_;
};

class PrintingFixture : public MonitorFixture {
 protected:
  // Option and debug settings are read again after each, as a load of the library would. A debug setting switches the
  // log on as well.
  void SetOption(const wchar_t* name, std::uint32_t value) {
    host.SetNumber(TestHost::kOptions, name, value);
    ReadOptions();
  }
  void SwitchOn(const wchar_t* debugSetting, std::uint32_t value = 1) {
    host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
    host.SetNumber(TestHost::kDebug, debugSetting, value);
    ReadDebugSettings(nullptr);
  }

  // A job whose printer was found ready and whose header has gone out: the labels are next.
  CPrintJob& StartPrinting(std::uint32_t model, const ByteString& stream) {
    StartJob(model, stream);
    job->SetLockHeld(true);
    job->HeaderSent = 1;
    host.log.clear();
    return *job;
  }

  // One write of the spooler. `written` starts at a value that no write gives.
  BOOL SpoolerWrites(const ByteString& bytes) {
    written = kUntouched;
    return SC_WritePort2(monitor, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written);
  }

  // The spooler's user deletes the job.
  void DeleteJobInSpooler() { host.jobs[7].status |= JOB_STATUS_DELETING; }
  // The same while the monitor sleeps for the n-th time.
  void DeleteJobDuringSleep(std::size_t n) {
    host.onSleep = [this, n](std::uint32_t) {
      if (host.sleeps.size() == n) {
        DeleteJobInSpooler();
      }
    };
  }

  // What was told so far is of no interest to the test.
  void ForgetStory() {
    story.clear();
    host.log.clear();
    host.sleeps.clear();
    host.commands.clear();
    port.writes.clear();
  }

  // True if the log has a record of that function with that text.
  bool LoggedBy(const std::string& function, const std::string& text) const {
    const auto records = host.LogRecords();
    return std::any_of(records.begin(), records.end(), [&](const RecordingHost::LogRecord& record) {
      return record.function == function && record.text == text;
    });
  }

  PrinterScript printer{port, PlainStatus};  // answers as the desktop models do
  PrinterScript tape{port, EscSStatus};      // answers as the tape models do

  static constexpr DWORD kUntouched = 0xDEADBEEF;
  DWORD written = kUntouched;
};

}  // namespace sc3xxmon::test
