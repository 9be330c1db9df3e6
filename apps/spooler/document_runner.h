// Takes one job's stream through the monitor's port table, as a spooler does: a document is started, its
// bytes are offered in buffers, the document is ended, and what the monitor asked of the job meanwhile is
// done.
//
// A write that comes back with 0 means one of three things, told apart by the job record: a restart was asked
// for (the document is ended and a new one of the same job begins at the first byte), the job was deleted
// (the document is ended, and that is that), or the printer can't take data just now (the rest is offered
// again after a pause). The rest may be empty: the monitor can hold all the bytes and still have labels to
// send, and only another write call lets it.
//
// Blocking: Print returns when the job is printed, has failed or is deleted, which may take as long as a
// printer is out of labels. Threads: one thread prints; a deletion comes in through the job record on any
// other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "apps/spooler/byte_stream.h"
#include "apps/spooler/job_record.h"
#include "apps/spooler/spooler_host.h"

namespace sc3xx {

// The port that the monitor is set upon: a port monitor's table and what its pfnOpenPort wants first.
struct PortBelow {
  MONITOR2* table = nullptr;
  HANDLE monitorPort = nullptr;
  std::wstring name;
  // What the last-error code of a document that couldn't start means at this port, in words for a person; absent: the
  // code alone says it.
  std::function<std::string(DWORD code)> explainStart = {};
};

class PortError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A port opened through the monitor; closed with this object. The tables must outlive it.
class MonitorPort {
 public:
  // Throws PortError if the monitor or the port below refuses, with the last-error code in words.
  MonitorPort(MONITOR2& monitor, const PortBelow& below, const std::wstring& printerName);
  ~MonitorPort();
  MonitorPort(const MonitorPort&) = delete;
  MonitorPort& operator=(const MonitorPort&) = delete;

  MONITOR2& Monitor() const { return monitor_; }
  HANDLE Handle() const { return handle_; }
  std::string WordsForRefusedStart(DWORD code) const;

 private:
  MONITOR2& monitor_;
  const std::function<std::string(DWORD code)> explainStart_;
  HANDLE handle_ = nullptr;
};

struct RunnerOptions {
  std::uint32_t bufferBytes = 65536;  // of one write call; at least 1
  std::uint32_t pauseMs = 1000;       // before a refused write or a refused start is tried again
  std::uint32_t busyRetries = 30;     // starts that were refused because another document has the port
  // A monitor that refuses without even looking at the job has closed it; so many of these in a row end the
  // job.
  std::uint32_t closedRefusals = 5;
  // Refused writes without any progress, and starts on a port that went away, are given up after this time.
  std::uint64_t patienceMs = 600'000;
};

// Absent functions are not called. They run on the printing thread and must not throw.
struct RunnerEvents {
  std::function<void()> started;  // each run of the document
  std::function<void(std::uint32_t restarts)> restarted;
  std::function<void(DWORD errorCode)> refused;       // a write; it is offered again after a pause
  std::function<void(DWORD errorCode)> startRefused;  // a document's start; it is tried again after a pause
};

enum class JobOutcome { kPrinted, kFailed, kDeleted };

struct DocumentResult {
  JobOutcome outcome = JobOutcome::kFailed;
  std::string reason;  // for a person; empty when printed
  DWORD labelsAcknowledged = 0;
  std::uint32_t restarts = 0;
  std::uint32_t refusedWrites = 0;
  DWORD labelsRepeated = 0;  // acknowledged in a run that a restart ended, and so printed again
  std::uint64_t elapsedMs = 0;
};

// What the stream is known to hold, so that a job isn't called printed when only a part of it was.
struct StreamExpectation {
  std::size_t labels = 0;
  std::string defect;            // "byte N: what is wrong there" if a part can't reach the printer; empty if sound
  bool acknowledgements = true;  // false when the monitor passes the stream on unread (BypassMode)
};

class DocumentRunner {
 public:
  // `job` has been added to `host`.
  DocumentRunner(MonitorPort& port, SpoolerHost& host, JobRecord& job, RunnerOptions options = {},
                 RunnerEvents events = {});

  DocumentResult Print(ByteStream& stream, const StreamExpectation& expected);

 private:
  enum class Start { kStarted, kDeleted, kRefused };
  enum class Feed { kTaken, kRestart, kDeleted, kGivenUp };
  struct Refusals;
  struct Written {
    bool accepted = false;
    std::size_t count = 0;
    DWORD errorCode = 0;
  };

  void RunDocuments(ByteStream& stream, const StreamExpectation& expected);
  Start StartDocument();
  bool MayTryStartAgain(DWORD error, std::uint32_t attempts, std::uint64_t sinceMs);
  Feed FeedStream(ByteStream& stream);
  Feed Offer(std::span<std::uint8_t> piece, bool last);
  Written Write(std::span<std::uint8_t> piece);
  bool GivesUp(Refusals& refusals, bool jobWasRead);
  void Judge(Feed feed, const StreamExpectation& expected);
  void Fail(const std::string& reason);

  MonitorPort& port_;
  SpoolerHost& host_;
  JobRecord& job_;
  const RunnerOptions options_;
  const RunnerEvents events_;
  DocumentResult result_;
};

}  // namespace sc3xx
