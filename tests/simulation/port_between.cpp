#include "simulation/port_between.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace sc3xxmon::simulation {
namespace {

constexpr std::uint32_t kFirmwareAnswer = 34;
constexpr std::uint32_t kDualRollAnswer = 70;
constexpr std::uint32_t kDualRollPrefix = 6;
// A write that breaks off does so in the middle of a raster: the requests behind it are too short to complete what was
// begun, and what was begun is no other command.
constexpr std::uint32_t kLeastSizeToCut = 160;
constexpr std::uint32_t kLeastTaken = 64;
constexpr std::uint32_t kLeastLeftOut = 32;

const MONITOR2& Inner() {
  return simulator::InProcessPorts::Table();
}

bool IsWriteFault(CallFaultKind kind) {
  return kind == CallFaultKind::kWriteFails || kind == CallFaultKind::kWriteTakesPart;
}

// The status byte of an answer of this length.
std::uint8_t& StatusByte(std::uint8_t* answer, std::uint32_t size) {
  std::uint8_t* record = answer + (size == kDualRollAnswer ? kDualRollPrefix : 0);
  const bool escapeS = record[0] == 0x1B && record[1] == 0x53;
  return record[escapeS ? 3 : 0];
}

bool PassesAsAcknowledgement(std::uint8_t status) {
  return status == 0 || status == 1 || status == 4;
}

bool HoldsEndOfJob(const std::uint8_t* bytes, std::uint32_t size) {
  for (std::uint32_t at = 0; at + 1 < size; ++at) {
    if (bytes[at] == 0x1B && bytes[at + 1] == 'Q') {
      return true;
    }
  }
  return false;
}

// Enough to tell two transfers apart, and short.
std::string Fingerprint(const std::uint8_t* bytes, std::uint32_t size) {
  std::uint32_t hash = 0x811C9DC5u;
  for (std::uint32_t at = 0; at < size; ++at) {
    hash = (hash ^ bytes[at]) * 0x01000193u;
  }
  char text[80];
  const std::uint32_t shown = std::min<std::uint32_t>(size, 6);
  int length = std::snprintf(text, sizeof(text), "%u bytes #%08X", size, hash);
  for (std::uint32_t at = 0; at < shown; ++at) {
    length += std::snprintf(text + length, sizeof(text) - static_cast<std::size_t>(length), " %02X", bytes[at]);
  }
  return text;
}

PortBetween& Of(HANDLE handle) {
  return *static_cast<PortBetween*>(handle);
}

// The port table's own type for a count isn't the same everywhere.
template <class Transfer>
BOOL Counted(LPDWORD count, Transfer transfer) {
  std::uint32_t moved = *count;
  const bool succeeded = transfer(&moved);
  *count = moved;
  return succeeded;
}

}  // namespace

PortBetween::PortBetween(simulator::InProcessPorts& ports, std::wstring name, test::Story& story)
    : ports_(ports), name_(std::move(name)), story_(story) {}

const MONITOR2& PortBetween::Table() {
  static const MONITOR2 table = [] {
    MONITOR2 made{};
    made.cbSize = sizeof(made);
    made.pfnOpenPort = [](HANDLE monitor, LPWSTR, HANDLE* handle) -> BOOL {
      *handle = monitor;
      return Of(monitor).Open();
    };
    made.pfnStartDocPort = [](HANDLE port, LPWSTR, DWORD, DWORD, LPBYTE) -> BOOL {
      Of(port).StartDocument();
      return TRUE;
    };
    made.pfnWritePort = [](HANDLE port, LPBYTE bytes, DWORD size, LPDWORD written) -> BOOL {
      return Counted(written, [&](std::uint32_t* count) { return Of(port).Write(bytes, size, count); });
    };
    made.pfnReadPort = [](HANDLE port, LPBYTE bytes, DWORD size, LPDWORD read) -> BOOL {
      return Counted(read, [&](std::uint32_t* count) { return Of(port).Read(bytes, size, count); });
    };
    made.pfnEndDocPort = [](HANDLE port) -> BOOL {
      Of(port).EndDocument();
      return TRUE;
    };
    made.pfnClosePort = [](HANDLE port) -> BOOL {
      Of(port).Close();
      return TRUE;
    };
    made.pfnSetPortTimeOuts = [](HANDLE port, LPCOMMTIMEOUTS timeouts, DWORD) -> BOOL {
      Of(port).SetTimeouts(*timeouts);
      return TRUE;
    };
    return made;
  }();
  return table;
}

bool PortBetween::Open() {
  ++opens;
  Tell("open port");
  return Inner().pfnOpenPort(ports_.Handle(), name_.data(), &inner_) != 0;
}

void PortBetween::StartDocument() {
  ++startedDocuments;
  Tell("start document");
  Inner().pfnStartDocPort(inner_, name_.data(), 1, 1, nullptr);
}

void PortBetween::EndDocument() {
  ++endedDocuments;
  Tell("end document");
  Inner().pfnEndDocPort(inner_);
}

void PortBetween::Close() {
  ++closes;
  Tell("close port");
  Inner().pfnClosePort(inner_);
  inner_ = nullptr;
}

void PortBetween::SetTimeouts(const COMMTIMEOUTS& timeouts) {
  Tell("time-outs " + std::to_string(timeouts.ReadTotalTimeoutConstant) + " " +
       std::to_string(timeouts.WriteTotalTimeoutConstant));
  COMMTIMEOUTS copy = timeouts;
  Inner().pfnSetPortTimeOuts(inner_, &copy, 0);
}

bool PortBetween::MayHit(const CallFault& fault, bool write, std::uint32_t size) const {
  if (fault.call > calls || IsWriteFault(fault.kind) != write) {
    return false;
  }
  if (write && fault.careful && unanswered > 0) {
    return false;
  }
  if (fault.kind == CallFaultKind::kWriteTakesPart && fault.careful) {
    return size >= kLeastSizeToCut;
  }
  return fault.kind != CallFaultKind::kBadStatus || size != kFirmwareAnswer;
}

CallFault* PortBetween::FaultFor(bool write, std::uint32_t size) {
  const auto found =
      std::find_if(faults_.begin(), faults_.end(), [&](const CallFault& fault) { return MayHit(fault, write, size); });
  return found == faults_.end() ? nullptr : &*found;
}

std::uint32_t PortBetween::Taken(const CallFault& fault, std::uint32_t size) {
  if (fault.kind == CallFaultKind::kWriteFails) {
    return 0;
  }
  return fault.careful ? std::clamp(fault.value, kLeastTaken, size - kLeastLeftOut) : std::min(fault.value, size);
}

// A write that holds a request and nothing else, as the monitor writes them.
void PortBetween::NoteRequest(const std::uint8_t* bytes, std::uint32_t size) {
  const bool status = size == 3 && bytes[0] == 0x1B && bytes[1] == 'A';
  const bool firmware = size == 2 && bytes[0] == 0x1B && bytes[1] == 'V';
  unanswered += status || firmware ? 1 : 0;
}

bool PortBetween::Write(const std::uint8_t* bytes, std::uint32_t size, std::uint32_t* written) {
  ++calls;
  if (onCall) {
    onCall();
  }
  std::uint32_t offered = size;
  bool fails = false;
  if (CallFault* fault = FaultFor(true, size)) {
    offered = Taken(*fault, size);
    fails = true;
    ++hits;
    faults_.erase(faults_.begin() + (fault - faults_.data()));
  }
  // The table's signature has no const; nobody writes through it.
  test::ByteString copy(bytes, bytes + offered);
  DWORD count = 0;
  const bool succeeded = offered == 0 || Inner().pfnWritePort(inner_, copy.data(), offered, &count) != 0;
  *written = count;
  if (succeeded && offered == size) {
    NoteRequest(bytes, size);
  }
  Tell((succeeded && !fails ? "write " : "write fails ") + Fingerprint(bytes, count));
  if (succeeded && !fails) {
    return true;
  }
  ++troubles;
  endOfJobLost = endOfJobLost || HoldsEndOfJob(bytes, size);
  return false;
}

bool PortBetween::ReadThrough(std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read) {
  DWORD count = 0;
  const bool succeeded = Inner().pfnReadPort(inner_, bytes, size, &count) != 0;
  *read = count;
  unanswered -= succeeded && count == size && unanswered > 0 ? 1 : 0;
  return succeeded;
}

bool PortBetween::PlayRead(const CallFault& fault, std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read) {
  const std::uint32_t part = std::min(fault.value, size - 1);
  switch (fault.kind) {
    case CallFaultKind::kReadFails:
      *read = 0;
      return false;
    case CallFaultKind::kReadLeavesPart:
      return ReadThrough(bytes, std::max<std::uint32_t>(part, 1), read);
    case CallFaultKind::kReadLoses: {
      test::ByteString lost(size);
      ReadThrough(lost.data(), size, read);
      *read = 0;
      return false;
    }
    case CallFaultKind::kShortRead: {
      const bool succeeded = ReadThrough(bytes, size, read);
      *read = std::min(*read, part);
      return succeeded;
    }
    default: {
      const bool succeeded = ReadThrough(bytes, size, read);
      // An answer that is bad already stays bad.
      if (succeeded && *read == size && PassesAsAcknowledgement(StatusByte(bytes, size))) {
        StatusByte(bytes, size) = static_cast<std::uint8_t>(fault.value);
      }
      return succeeded;
    }
  }
}

bool PortBetween::Read(std::uint8_t* bytes, std::uint32_t size, std::uint32_t* read) {
  ++calls;
  if (onCall) {
    onCall();
  }
  bool succeeded = false;
  if (CallFault* found = FaultFor(false, size)) {
    const CallFault fault = *found;
    ++hits;
    faults_.erase(faults_.begin() + (found - faults_.data()));
    succeeded = PlayRead(fault, bytes, size, read);
  } else {
    succeeded = ReadThrough(bytes, size, read);
  }
  Tell((succeeded ? "read " : "read fails ") + Fingerprint(bytes, *read));
  const bool whole = succeeded && *read == size;
  if (!whole || (size != kFirmwareAnswer && !PassesAsAcknowledgement(StatusByte(bytes, size)))) {
    ++troubles;
  }
  return succeeded;
}

}  // namespace sc3xxmon::simulation
