#include "apps/spooler/document_runner.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "apps/spooler/last_error.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

std::string Labels(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " label" : " labels");
}

std::string Seconds(std::uint64_t milliseconds) {
  return std::to_string(milliseconds / 1000) + " s";
}

// Why a job that ran to its end isn't printed as a whole; empty if it is.
std::string WhatIsMissing(const JobView& view, const StreamExpectation& expected) {
  if (!expected.defect.empty()) {
    return "the stream is broken at " + expected.defect;
  }
  if (!expected.acknowledgements) {
    return "";
  }
  if (!view.complete) {
    return "the monitor found no end of the job in the stream, so that the printer never confirmed the last label";
  }
  if (expected.labels == 0) {
    return "nothing was printed: the job holds no label with any dots (the option PrintEmptyLabel sends empty labels)";
  }
  if (view.mostPagesPrinted < expected.labels) {
    return "only " + std::to_string(view.mostPagesPrinted) + " of " + Labels(expected.labels) +
           " were acknowledged by the printer";
  }
  return "";
}

}  // namespace

MonitorPort::MonitorPort(MONITOR2& monitor, const PortBelow& below, const std::wstring& printerName)
    : monitor_(monitor), explainStart_(below.explainStart) {
  std::wstring portName = below.name;
  std::wstring printer = printerName;
  SetLastErrorCode(ERROR_SUCCESS);
  if (monitor_.pfnOpenPortEx(nullptr, below.monitorPort, portName.data(), printer.data(), &handle_, below.table) == 0) {
    throw PortError("the port " + sc3xxmon::platform::ToUtf8(below.name) +
                    " can't be opened: " + DescribeErrorCode(LastErrorCode()));
  }
}

MonitorPort::~MonitorPort() {
  monitor_.pfnClosePort(handle_);
}

std::string MonitorPort::WordsForRefusedStart(DWORD code) const {
  return explainStart_ ? "the printer can't be reached: " + explainStart_(code)
                       : "the port doesn't accept the document: " + DescribeErrorCode(code);
}

// Refusals in a row, without progress between them.
struct DocumentRunner::Refusals {
  std::uint64_t sinceMs = 0;
  std::uint32_t withoutReadingTheJob = 0;
};

DocumentRunner::DocumentRunner(MonitorPort& port, SpoolerHost& host, JobRecord& job, RunnerOptions options,
                               RunnerEvents events)
    : port_(port), host_(host), job_(job), options_(options), events_(std::move(events)) {}

DocumentResult DocumentRunner::Print(ByteStream& stream, const StreamExpectation& expected) {
  result_ = DocumentResult{};
  const std::uint64_t startedMs = host_.TickCount();
  RunDocuments(stream, expected);
  result_.elapsedMs = host_.TickCount() - startedMs;
  return result_;
}

void DocumentRunner::RunDocuments(ByteStream& stream, const StreamExpectation& expected) {
  for (;;) {
    stream.Rewind();
    job_.BeginRun();
    const Start start = StartDocument();
    if (start != Start::kStarted) {
      if (start == Start::kDeleted) {
        Judge(Feed::kDeleted, expected);
      }
      return;
    }
    if (events_.started) {
      events_.started();
    }
    const Feed feed = FeedStream(stream);
    port_.Monitor().pfnEndDocPort(port_.Handle());
    if (feed != Feed::kRestart) {
      Judge(feed, expected);
      return;
    }
    ++result_.restarts;
    result_.labelsRepeated += job_.View().mostPagesPrinted;
    if (events_.restarted) {
      events_.restarted(result_.restarts);
    }
  }
}

DocumentRunner::Start DocumentRunner::StartDocument() {
  std::wstring printer = job_.Ticket().printerName;
  std::wstring document = job_.Ticket().documentName;
  std::wstring raw = L"RAW";
  DOC_INFO_1W docInfo{document.data(), nullptr, raw.data()};
  void* const docInfoBytes = &docInfo;
  const std::uint64_t sinceMs = host_.TickCount();
  for (std::uint32_t attempts = 1;; ++attempts) {
    if (job_.DeleteAsked()) {
      return Start::kDeleted;
    }
    SetLastErrorCode(ERROR_SUCCESS);
    if (port_.Monitor().pfnStartDocPort(port_.Handle(), printer.data(), job_.Ticket().jobId, 1,
                                        static_cast<LPBYTE>(docInfoBytes)) != 0) {
      return Start::kStarted;
    }
    if (!MayTryStartAgain(LastErrorCode(), attempts, sinceMs)) {
      return Start::kRefused;
    }
    host_.Sleep(options_.pauseMs);
  }
}

bool DocumentRunner::MayTryStartAgain(DWORD error, std::uint32_t attempts, std::uint64_t sinceMs) {
  if (error == ERROR_BUSY && attempts > options_.busyRetries) {
    Fail("another document has kept the printer busy for " + Seconds(host_.TickCount() - sinceMs) +
         "; wait until it is finished, or look which program holds the port");
    return false;
  }
  // A port that refuses the first document isn't there. One that refuses after a restart went away meanwhile:
  // the plug may come back, and the restart was asked for in that hope.
  const bool mayComeBack = result_.restarts > 0 && host_.TickCount() - sinceMs < options_.patienceMs;
  if (error != ERROR_BUSY && !mayComeBack) {
    Fail(port_.WordsForRefusedStart(error));
    return false;
  }
  if (events_.startRefused) {
    events_.startRefused(error);
  }
  return true;
}

DocumentRunner::Feed DocumentRunner::FeedStream(ByteStream& stream) {
  try {
    for (;;) {
      const std::span<std::uint8_t> piece = stream.Next(std::max<std::uint32_t>(options_.bufferBytes, 1));
      if (piece.empty()) {
        return Feed::kTaken;
      }
      const Feed feed = Offer(piece, stream.AtEnd());
      if (feed != Feed::kTaken) {
        return feed;
      }
    }
  } catch (const std::exception& failure) {
    // The monitor lets a failure pass that isn't the printer's, such as memory running out. The document is ended all
    // the same, so that the printer isn't left in the middle of a job.
    Fail(std::string("the monitor failed: ") + failure.what());
    return Feed::kGivenUp;
  }
}

// Offers `piece` until the monitor has taken all of it or the document is to be ended.
DocumentRunner::Feed DocumentRunner::Offer(std::span<std::uint8_t> piece, bool last) {
  Refusals refusals{host_.TickCount(), 0};
  for (;;) {
    const JobView before = job_.View();
    const Written written = Write(piece);
    piece = piece.subspan(written.count);
    const JobView after = job_.View();
    const bool done = written.accepted && piece.empty();
    if (after.deleteAsked && !(done && last && after.complete)) {
      return Feed::kDeleted;  // a deletion that comes when all is printed comes too late
    }
    if (after.restartAsked) {
      return Feed::kRestart;
    }
    if (done) {
      return Feed::kTaken;
    }
    if (written.count != 0 || after.pagesPrinted != before.pagesPrinted) {
      refusals = Refusals{host_.TickCount(), 0};
    }
    if (written.accepted && written.count != 0) {
      continue;  // a port that takes a part wants the rest at once
    }
    if (GivesUp(refusals, after.queries != before.queries)) {
      return Feed::kGivenUp;
    }
    if (events_.refused) {
      events_.refused(written.errorCode);
    }
    host_.Sleep(options_.pauseMs);
  }
}

DocumentRunner::Written DocumentRunner::Write(std::span<std::uint8_t> piece) {
  DWORD count = 0;
  SetLastErrorCode(ERROR_SUCCESS);
  const BOOL accepted =
      port_.Monitor().pfnWritePort(port_.Handle(), piece.data(), static_cast<DWORD>(piece.size()), &count);
  return {accepted != 0, std::min<std::size_t>(count, piece.size()), LastErrorCode()};
}

bool DocumentRunner::GivesUp(Refusals& refusals, bool jobWasRead) {
  ++result_.refusedWrites;
  refusals.withoutReadingTheJob = jobWasRead ? 0 : refusals.withoutReadingTheJob + 1;
  if (refusals.withoutReadingTheJob >= options_.closedRefusals) {
    Fail(
        "the monitor has given the job up: the printer acknowledged no label in any run of it; check the "
        "cable and "
        "whether the printer is switched on");
    return true;
  }
  const std::uint64_t waitedMs = host_.TickCount() - refusals.sinceMs;
  if (waitedMs >= options_.patienceMs) {
    Fail("the printer has refused data for " + Seconds(waitedMs) +
         "; look at its display and lamps, switch it off and on, and print again");
    return true;
  }
  return false;
}

void DocumentRunner::Judge(Feed feed, const StreamExpectation& expected) {
  const JobView view = job_.View();
  result_.labelsAcknowledged = view.mostPagesPrinted;
  if (feed == Feed::kGivenUp) {
    return;  // told where it was given up
  }
  if (feed == Feed::kDeleted) {
    result_.outcome = JobOutcome::kDeleted;
    result_.reason = view.deletedByPerson ? "the job was deleted" : "the job was cancelled at the printer";
    return;
  }
  const std::string lack = WhatIsMissing(view, expected);
  if (lack.empty()) {
    result_.outcome = JobOutcome::kPrinted;
  } else {
    Fail(lack);
  }
}

void DocumentRunner::Fail(const std::string& reason) {
  result_.outcome = JobOutcome::kFailed;
  result_.reason = reason;
}

}  // namespace sc3xx
