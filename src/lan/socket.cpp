#include "lan/socket.h"

#include "diag/debug_log.h"
#include "platform/last_error.h"

namespace sc3xxmon {
namespace {

// What each way to fail is called. The write's texts end in an exclamation mark where a reader of the log has to tell
// them from the read's.
struct TransferTexts {
  const char* callFailed;
  const char* timedOut;
  const char* waitFailed;
  const char* resultFailed;
  const char* tooShort;
};

constexpr TransferTexts kReadTexts = {"WSARecv failed", "WSAWaitForMultipleEvents timed out",
                                      "WSAWaitForMultipleEvents failed", "WSAGetOverlappedResult failed",
                                      "Bytes read != bufSize"};
constexpr TransferTexts kWriteTexts = {"WSASend failed!", "WSAWaitForMultipleEvents timed out!",
                                       "WSAWaitForMultipleEvents failed!", "WSAGetOverlappedResult failed",
                                       "Bytes written != bufSize"};

void RequireHandle(platform::SocketHandle handle) {
  if (handle == 0) {
    throw WsaCommException("hFile is null");
  }
}

std::uint32_t RequireWhole(const platform::Transfer& transfer, std::uint32_t size, const TransferTexts& texts) {
  switch (transfer.outcome) {
    case platform::TransferOutcome::kCompleted:
      break;
    case platform::TransferOutcome::kCallFailed:
      throw WsaCommException(texts.callFailed);
    case platform::TransferOutcome::kTimedOut:
      throw WsaCommException(texts.timedOut);
    case platform::TransferOutcome::kWaitFailed:
      throw WsaCommException(texts.waitFailed);
    case platform::TransferOutcome::kResultFailed:
      throw WsaCommException(texts.resultFailed);
  }
  if (transfer.count != size) {
    throw WsaCommException(texts.tooShort);
  }
  return size;
}

}  // namespace

WsaCommException::WsaCommException(std::string_view text) noexcept : CommunicationException(text) {
  ErrorCode = platform::LastError();
}

CWsaGuard::CWsaGuard() {
  const std::uint32_t result = platform::StartSockets();
  if (result != 0) {
    KovaDebugPrint(At("CWsaGuard::CWsaGuard"), "WSAStartup failed: err=%d", result);
    throw WsaCommException("WSAStartup failed");
  }
}

CWsaGuard::~CWsaGuard() {
  platform::StopSockets();
}

CSocket::CSocket(platform::AddressFamily family) : handle_(platform::OpenTcpSocket(family)) {
  if (handle_ == platform::kNoSocket) {
    KovaDebugPrint(At("CSocket::CSocket"), "WSASocket failed: err=%d", platform::LastError());
    throw WsaCommException("WSASocket failed");
  }
}

CSocket::~CSocket() {
  Close();
}

void CSocket::Close() {
  if (handle_ != platform::kNoSocket) {
    platform::CloseTcpSocket(handle_);
    handle_ = platform::kNoSocket;
  }
}

void CSocket::Connect(const platform::SocketAddress& address) {
  if (!platform::ConnectTcpSocket(handle_, address)) {
    KovaDebugPrint(At("CSocket::Connect"), "WSAConnect failed: err=%d", platform::LastError());
    throw WsaCommException("WSAConnect failed");
  }
}

std::uint32_t CSocket::Read(void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  RequireHandle(handle_);
  return RequireWhole(platform::ReceiveBytes(handle_, buffer, size, timeoutMs), size, kReadTexts);
}

std::uint32_t CSocket::Write(const void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  RequireHandle(handle_);
  return RequireWhole(platform::SendBytes(handle_, buffer, size, timeoutMs), size, kWriteTexts);
}

}  // namespace sc3xxmon
