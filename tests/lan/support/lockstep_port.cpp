#include "lan/support/lockstep_port.h"

#include "monitor/langmon.h"

namespace sc3xxmon::test {
namespace {

LockstepPort* current = nullptr;

}  // namespace

struct LockstepPort::Functions {
  static BOOL WINAPI StartDoc(HANDLE port, LPWSTR printer, DWORD job, DWORD level, LPBYTE info) {
    current->Before();
    const BOOL result = current->own_.pfnStartDocPort(port, printer, job, level, info);
    current->view_.isConnected = result != FALSE;
    current->After(result != FALSE, 0, 0);
    return result;
  }

  static BOOL WINAPI Write(HANDLE port, LPBYTE bytes, DWORD size, LPDWORD written) {
    current->Before();
    const BOOL result = current->own_.pfnWritePort(port, bytes, size, written);
    current->calls.push_back({true, result != FALSE, ByteString(bytes, bytes + size)});
    current->After(result != FALSE, result != FALSE ? *written : 0, 0);
    return result;
  }

  static BOOL WINAPI Read(HANDLE port, LPBYTE bytes, DWORD size, LPDWORD read) {
    current->Before();
    const BOOL result = current->own_.pfnReadPort(port, bytes, size, read);
    current->calls.push_back({false, result != FALSE, ByteString(bytes, bytes + size)});
    current->After(result != FALSE, 0, result != FALSE ? *read : 0);
    return result;
  }

  static BOOL WINAPI EndDoc(HANDLE port) {
    current->Before();
    const BOOL result = current->own_.pfnEndDocPort(port);
    current->After(false, 0, 0);
    return result;
  }
};

LockstepPort::LockstepPort() {
  current = this;
}

LockstepPort::LockstepPort(PrinterServer& printer, const NameService& names) : printer_(&printer), names_(&names) {
  current = this;
}

LockstepPort::~LockstepPort() {
  current = nullptr;
}

void LockstepPort::TakeOver(HANDLE port) {
  const auto langMon = CLangMon::FindLangMon(reinterpret_cast<std::uintptr_t>(port));
  own_ = langMon->Monitor;
  langMon->Monitor.pfnStartDocPort = Functions::StartDoc;
  langMon->Monitor.pfnWritePort = Functions::Write;
  langMon->Monitor.pfnReadPort = Functions::Read;
  langMon->Monitor.pfnEndDocPort = Functions::EndDoc;
}

void LockstepPort::Before() {
  asked_ = names_ != nullptr ? names_->QuestionCount() : 0;
}

void LockstepPort::After(bool succeeded, std::size_t sent, std::size_t read) {
  if (printer_ == nullptr) {
    return;
  }
  if (names_->QuestionCount() != asked_) {
    view_.sent = view_.read = 0;
  }
  view_.connections = names_->QuestionCount();
  view_.isConnected = succeeded;
  view_.sent += sent;
  view_.read += read;
  printer_->AwaitSettled(view_);
  if (printer_->CallMade()) {
    printer_->AwaitSettled(view_);
  }
}

}  // namespace sc3xxmon::test
