// A port table between the monitor and the virtual printer's port: it tells the story, counts, keeps account of
// requests that wait for their answers, and makes single calls go wrong.
//
// The printer's own faults play at the printer; the ones here are those of the line, and of a host's port that loses
// what it had in hand.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

#include "simulator/in_process_port.h"
#include "support/bytes.h"
#include "support/story.h"

namespace sc3xxmon::simulation {

enum class CallFaultKind {
  kWriteFails,      // nothing goes out
  kWriteTakesPart,  // `value` bytes go out, at most all of them, and the call fails
  kReadLoses,       // the call fails, and the answer is gone with it
  kShortRead,       // `value` bytes are given, and the rest is gone
  kBadStatus,       // the answer's status byte becomes `value`
  kReadFails,       // the call fails, and the answer stays: the next request gets it
  kReadLeavesPart,  // `value` bytes are given, and the rest stays: the next request gets it
};

struct CallFault {
  CallFaultKind kind = CallFaultKind::kWriteFails;
  std::uint64_t call = 1;  // the first call that it may hit, writes and reads counted together from 1
  std::uint32_t value = 0;
  // Waits for a call at which it can't make an answer serve another request: no write behind a request whose answer is
  // still to come.
  bool careful = true;
};

class PortBetween {
 public:
  PortBetween(simulator::InProcessPorts& ports, std::wstring name, test::Story& story);
  PortBetween(const PortBetween&) = delete;
  PortBetween& operator=(const PortBetween&) = delete;

  // Open it with `hMonitorPort` = this.
  static const MONITOR2& Table();

  void Add(const CallFault& fault) { faults_.push_back(fault); }

  bool Open();
  void StartDocument();
  bool Write(const std::uint8_t* bytes, std::uint32_t size, std::uint32_t* written);
  bool Read(std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read);
  void EndDocument();
  void Close();
  void SetTimeouts(const COMMTIMEOUTS& timeouts);

  std::uint64_t calls = 0;     // writes and reads
  std::uint64_t troubles = 0;  // calls that failed or came short, and answers that didn't pass
  std::uint64_t hits = 0;      // faults that were played
  std::uint64_t opens = 0;
  std::uint64_t closes = 0;
  std::uint64_t startedDocuments = 0;
  std::uint64_t endedDocuments = 0;
  std::uint32_t unanswered = 0;  // requests on the wire whose answer hasn't been read
  bool endOfJobLost = false;     // a write that would have ended the printer's job failed
  std::function<void()> onCall;  // before each write and read

 private:
  CallFault* FaultFor(bool write, std::uint32_t size);
  bool MayHit(const CallFault& fault, bool write, std::uint32_t size) const;
  static std::uint32_t Taken(const CallFault& fault, std::uint32_t size);
  void NoteRequest(const std::uint8_t* bytes, std::uint32_t size);
  bool ReadThrough(std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read);
  bool PlayRead(const CallFault& fault, std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read);
  void Tell(const std::string& line) { story_.push_back(line); }

  simulator::InProcessPorts& ports_;
  std::wstring name_;
  test::Story& story_;
  HANDLE inner_ = nullptr;
  std::vector<CallFault> faults_;
};

}  // namespace sc3xxmon::simulation
