#include "simulator/in_process_port.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <span>
#include <utility>

namespace simulator {
namespace {

// What a port has before its host sets anything.
constexpr COMMTIMEOUTS kFirstTimeOuts{0, 0, 15000, 0, 15000};

struct SharedPrinter {
  std::mutex lock;
  VirtualPrinter* printer = nullptr;
};

}  // namespace

// Guarded by `lock`, but what is fixed after construction.
struct InProcessPorts::State {
  struct Port {
    State* ports = nullptr;
    std::wstring name;
    SharedPrinter* shared = nullptr;
    ClientId client = kNobody;
    COMMTIMEOUTS timeOuts = kFirstTimeOuts;
  };

  // One read or write on its way.
  struct Transfer {
    std::uint64_t number = 0;
    std::size_t limit = 0;
    std::size_t moved = 0;
    bool fails = false;  // by a fault, once the limit is reached
    bool timedOut = false;
  };

  PortClock clock;
  std::function<void(std::uint32_t)> setLastError;

  mutable std::mutex lock;
  std::map<std::wstring, std::unique_ptr<SharedPrinter>> printers;
  std::vector<std::unique_ptr<SharedPrinter>> replaced;  // ports that are open still use them
  std::map<Port*, std::unique_ptr<Port>> open;
  std::map<std::wstring, COMMTIMEOUTS> lastTimeOuts;
  std::map<std::uint64_t, FailedCall> failing;
  std::uint64_t transferCalls = 0;
  bool recording = false;
  std::vector<PortCall> calls;

  BOOL Fail(DWORD code) const {
    if (setLastError) setLastError(code);
    return FALSE;
  }
  void Record(PortCallKind kind);
  void Record(PortCallKind kind, bool succeeded, const Transfer& transfer, std::size_t asked);
  Transfer Begin(Port& port, TransferDirection direction, std::size_t size);
  template <class Move>
  void Run(Port& port, Transfer& transfer, std::uint64_t timeOut, Move move);
  bool Wait(Port& port, std::optional<std::uint64_t> deadline) const;

  BOOL Open(const std::wstring& name, HANDLE* handle);
  BOOL Close(Port& port);
  BOOL Write(Port& port, std::span<const std::uint8_t> bytes, DWORD& written);
  BOOL Read(Port& port, std::span<std::uint8_t> bytes, DWORD& read);
  BOOL SetTimeOuts(Port& port, const COMMTIMEOUTS& timeOuts);
};

void InProcessPorts::State::Record(PortCallKind kind) {
  Record(kind, true, {}, 0);
}

void InProcessPorts::State::Record(PortCallKind kind, bool succeeded, const Transfer& transfer, std::size_t asked) {
  const std::lock_guard guard(lock);
  if (!recording) return;
  calls.push_back({kind, clock.now(), transfer.number, static_cast<std::uint32_t>(asked),
                   static_cast<std::uint32_t>(transfer.moved), succeeded});
}

BOOL InProcessPorts::State::Open(const std::wstring& name, HANDLE* handle) {
  auto port = std::make_unique<Port>();
  {
    const std::lock_guard guard(lock);
    const auto found = printers.find(name);
    if (found == printers.end()) return Fail(ERROR_FILE_NOT_FOUND);
    port->shared = found->second.get();
  }
  port->ports = this;
  port->name = name;
  {
    const std::lock_guard guard(port->shared->lock);
    port->client = port->shared->printer->Connect(clock.now());
  }
  *handle = port.get();
  {
    const std::lock_guard guard(lock);
    Port* key = port.get();
    open.emplace(key, std::move(port));
  }
  Record(PortCallKind::kOpen);
  return TRUE;
}

BOOL InProcessPorts::State::Close(Port& port) {
  {
    const std::lock_guard guard(port.shared->lock);
    port.shared->printer->Disconnect(port.client, clock.now());
  }
  Record(PortCallKind::kClose);
  const std::lock_guard guard(lock);
  open.erase(&port);
  return TRUE;
}

// Counts the call and learns what is to go wrong with it, from a test's list and from the printer's faults.
InProcessPorts::State::Transfer InProcessPorts::State::Begin(Port& port, TransferDirection direction,
                                                             std::size_t size) {
  Transfer transfer;
  transfer.limit = size;
  {
    const std::lock_guard guard(lock);
    transfer.number = ++transferCalls;
    if (const auto found = failing.find(transfer.number); found != failing.end()) {
      transfer.limit = std::min(size, found->second.bytes.value_or(0));
      transfer.fails = !found->second.succeeds;
    }
  }
  const std::lock_guard guard(port.shared->lock);
  const TransferPlan plan = port.shared->printer->BeginTransfer(port.client, direction, clock.now());
  transfer.fails = transfer.fails || plan.fails;
  if (plan.limit) transfer.limit = std::min(transfer.limit, *plan.limit);
  return transfer;
}

// Moves bytes until the transfer's limit, its time-out or a power cut.
template <class Move>
void InProcessPorts::State::Run(Port& port, Transfer& transfer, std::uint64_t timeOut, Move move) {
  std::optional<std::uint64_t> deadline;
  if (timeOut > 0) deadline = clock.now() + timeOut;
  while (transfer.moved < transfer.limit) {
    const std::uint64_t now = clock.now();
    {
      const std::lock_guard guard(port.shared->lock);
      VirtualPrinter& printer = *port.shared->printer;
      transfer.moved += move(printer, transfer.moved, transfer.limit - transfer.moved, now);
      if (!printer.PoweredOn()) {
        transfer.fails = true;
        return;
      }
    }
    if (transfer.moved == transfer.limit) return;
    if ((deadline && now >= *deadline) || !Wait(port, deadline)) {
      transfer.timedOut = true;
      return;
    }
  }
}

// Sleeps to the printer's next event, at most to the deadline; false when nothing can ever happen.
bool InProcessPorts::State::Wait(Port& port, std::optional<std::uint64_t> deadline) const {
  std::optional<std::uint64_t> until;
  {
    const std::lock_guard guard(port.shared->lock);
    until = port.shared->printer->NextEvent();
  }
  if (deadline && (!until || *until > *deadline)) until = deadline;
  if (!until && clock.longestSleepMs == UINT64_MAX) return false;
  const std::uint64_t now = clock.now();
  const std::uint64_t longest = now + std::min(clock.longestSleepMs, UINT64_MAX - now);
  clock.sleepUntil(std::max(std::min(until.value_or(longest), longest), now + 1));
  return true;
}

BOOL InProcessPorts::State::Write(Port& port, std::span<const std::uint8_t> bytes, DWORD& written) {
  Transfer transfer = Begin(port, TransferDirection::kWrite, bytes.size());
  const std::uint64_t timeOut =
      std::uint64_t{port.timeOuts.WriteTotalTimeoutMultiplier} * bytes.size() + port.timeOuts.WriteTotalTimeoutConstant;
  Run(port, transfer, timeOut, [&](VirtualPrinter& printer, std::size_t from, std::size_t size, std::uint64_t now) {
    return printer.Write(port.client, bytes.subspan(from, size), now);
  });
  written = static_cast<DWORD>(transfer.moved);
  const bool succeeded = !transfer.fails && !transfer.timedOut;
  Record(PortCallKind::kWrite, succeeded, transfer, bytes.size());
  if (transfer.fails) return Fail(ERROR_GEN_FAILURE);
  return succeeded ? TRUE : Fail(ERROR_TIMEOUT);
}

BOOL InProcessPorts::State::Read(Port& port, std::span<std::uint8_t> bytes, DWORD& read) {
  Transfer transfer = Begin(port, TransferDirection::kRead, bytes.size());
  const std::uint64_t timeOut =
      std::uint64_t{port.timeOuts.ReadTotalTimeoutMultiplier} * bytes.size() + port.timeOuts.ReadTotalTimeoutConstant;
  Run(port, transfer, timeOut, [&](VirtualPrinter& printer, std::size_t from, std::size_t size, std::uint64_t now) {
    return printer.Read(port.client, bytes.subspan(from, size), now);
  });
  read = static_cast<DWORD>(transfer.moved);
  const bool succeeded = !transfer.fails && !(transfer.timedOut && transfer.moved == 0);
  Record(PortCallKind::kRead, succeeded, transfer, bytes.size());
  if (transfer.fails) return Fail(ERROR_GEN_FAILURE);
  return succeeded ? TRUE : Fail(ERROR_TIMEOUT);
}

BOOL InProcessPorts::State::SetTimeOuts(Port& port, const COMMTIMEOUTS& timeOuts) {
  port.timeOuts = timeOuts;
  {
    const std::lock_guard guard(lock);
    lastTimeOuts[port.name] = timeOuts;
  }
  Record(PortCallKind::kSetTimeOuts);
  return TRUE;
}

// The functions of the table: each finds its object behind the handle.
struct InProcessPorts::Entry {
  static State::Port& PortOf(HANDLE handle) { return *static_cast<State::Port*>(handle); }

  static BOOL WINAPI OpenPort(HANDLE monitor, LPWSTR name, HANDLE* handle) {
    auto* ports = static_cast<State*>(monitor);
    if (ports == nullptr) return FALSE;
    if (name == nullptr || handle == nullptr) return ports->Fail(ERROR_INVALID_PARAMETER);
    return ports->Open(name, handle);
  }

  static BOOL WINAPI StartDocPort(HANDLE handle, LPWSTR /*printerName*/, DWORD /*jobId*/, DWORD /*level*/,
                                  LPBYTE /*docInfo*/) {
    if (handle == nullptr) return FALSE;
    PortOf(handle).ports->Record(PortCallKind::kStartDoc);
    return TRUE;
  }

  static BOOL WINAPI WritePort(HANDLE handle, LPBYTE buffer, DWORD size, LPDWORD written) {
    if (handle == nullptr) return FALSE;
    State::Port& port = PortOf(handle);
    if (buffer == nullptr || written == nullptr) return port.ports->Fail(ERROR_INVALID_PARAMETER);
    return port.ports->Write(port, {buffer, size}, *written);
  }

  static BOOL WINAPI ReadPort(HANDLE handle, LPBYTE buffer, DWORD size, LPDWORD read) {
    if (handle == nullptr) return FALSE;
    State::Port& port = PortOf(handle);
    if (buffer == nullptr || read == nullptr) return port.ports->Fail(ERROR_INVALID_PARAMETER);
    return port.ports->Read(port, {buffer, size}, *read);
  }

  static BOOL WINAPI EndDocPort(HANDLE handle) {
    if (handle == nullptr) return FALSE;
    PortOf(handle).ports->Record(PortCallKind::kEndDoc);
    return TRUE;
  }

  static BOOL WINAPI ClosePort(HANDLE handle) {
    if (handle == nullptr) return FALSE;
    State::Port& port = PortOf(handle);
    return port.ports->Close(port);
  }

  static BOOL WINAPI SetPortTimeOuts(HANDLE handle, LPCOMMTIMEOUTS timeOuts, DWORD /*reserved*/) {
    if (handle == nullptr) return FALSE;
    State::Port& port = PortOf(handle);
    if (timeOuts == nullptr) return port.ports->Fail(ERROR_INVALID_PARAMETER);
    return port.ports->SetTimeOuts(port, *timeOuts);
  }

  static MONITOR2 MakeTable() {
    MONITOR2 table{};
    table.cbSize = sizeof(MONITOR2);
    table.pfnOpenPort = OpenPort;
    table.pfnStartDocPort = StartDocPort;
    table.pfnWritePort = WritePort;
    table.pfnReadPort = ReadPort;
    table.pfnEndDocPort = EndDocPort;
    table.pfnClosePort = ClosePort;
    table.pfnSetPortTimeOuts = SetPortTimeOuts;
    return table;
  }
};

InProcessPorts::InProcessPorts(PortClock clock, std::function<void(std::uint32_t)> setLastError)
    : state_(std::make_unique<State>()) {
  state_->clock = std::move(clock);
  state_->setLastError = std::move(setLastError);
}

InProcessPorts::~InProcessPorts() = default;

void InProcessPorts::Add(std::wstring portName, VirtualPrinter& printer) {
  auto shared = std::make_unique<SharedPrinter>();
  shared->printer = &printer;
  const std::lock_guard guard(state_->lock);
  std::unique_ptr<SharedPrinter>& place = state_->printers[std::move(portName)];
  if (place) state_->replaced.push_back(std::move(place));
  place = std::move(shared);
}

const MONITOR2& InProcessPorts::Table() {
  static const MONITOR2 table = Entry::MakeTable();
  return table;
}

HANDLE InProcessPorts::Handle() {
  return state_.get();
}

void InProcessPorts::WithPrinter(const std::wstring& portName, const std::function<void(VirtualPrinter&)>& use) {
  SharedPrinter* shared = nullptr;
  {
    const std::lock_guard guard(state_->lock);
    const auto found = state_->printers.find(portName);
    if (found == state_->printers.end()) return;
    shared = found->second.get();
  }
  const std::lock_guard guard(shared->lock);
  use(*shared->printer);
}

void InProcessPorts::Fail(const FailedCall& call) {
  const std::lock_guard guard(state_->lock);
  state_->failing[call.call] = call;
}

std::uint64_t InProcessPorts::TransferCalls() const {
  const std::lock_guard guard(state_->lock);
  return state_->transferCalls;
}

void InProcessPorts::RecordCalls(bool on) {
  const std::lock_guard guard(state_->lock);
  state_->recording = on;
}

std::vector<PortCall> InProcessPorts::Calls() const {
  const std::lock_guard guard(state_->lock);
  return state_->calls;
}

std::size_t InProcessPorts::OpenPorts() const {
  const std::lock_guard guard(state_->lock);
  return state_->open.size();
}

COMMTIMEOUTS InProcessPorts::TimeOuts(const std::wstring& portName) const {
  const std::lock_guard guard(state_->lock);
  const auto found = state_->lastTimeOuts.find(portName);
  return found == state_->lastTimeOuts.end() ? kFirstTimeOuts : found->second;
}

}  // namespace simulator
