#include "lan/lan_printer.h"

#include "sc3xxmon/spooler_abi.h"

#include "lan/host_lookup.h"
#include "monitor/options.h"
#include "platform/last_error.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kLeastWrite = 2;

const wchar_t* ValidPortName(const wchar_t* name) {
  if (name == nullptr) {
    throw Exception("portName parameter is invalid");
  }
  return name;
}

}  // namespace

KovaTcpIp::KovaTcpIp(const wchar_t* address, bool isIPv4) {
  if (address == nullptr) {
    return;
  }
  const auto family = isIPv4 ? platform::AddressFamily::kIPv4 : platform::AddressFamily::kIPv6;
  const platform::SocketAddress record = platform::MakeSocketAddress(address, family, kPrinterTcpPort);
  socket_.emplace(family);
  socket_->Connect(record);
}

std::uint32_t KovaTcpIp::Read(void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  return socket_ && buffer != nullptr && size > 0 ? socket_->Read(buffer, size, timeoutMs) : 0;
}

// The floor of two bytes is meant, and reads don't share it.
std::uint32_t KovaTcpIp::Write(const void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  return socket_ && buffer != nullptr && size >= kLeastWrite ? socket_->Write(buffer, size, timeoutMs) : 0;
}

CLanPrinter::CLanPrinter(LanPrinterKey printerKey, const wchar_t* name)
    : portName(ValidPortName(name)),
      key(printerKey),
      readTimeoutMs_(PortReadTimeout),
      writeTimeoutMs_(PortWriteTimeout) {}

bool CLanPrinter::StartDoc(const wchar_t* name) {
  if (name == nullptr || *name == L'\0') {
    throw Exception("printerName parameter is invalid");
  }
  CloseConnection();
  {
    const std::lock_guard lock(mutex_);
    printerName = name;
  }
  const std::wstring host = GetPrinterHostName(name);
  {
    const std::lock_guard lock(mutex_);
    hostName = host;
  }
  return Connect();
}

bool CLanPrinter::OpenConnection() {
  if (IsConnected()) {
    return false;
  }
  if (!Connect()) {
    throw CommunicationException("OpenConnection failed");
  }
  return true;
}

void CLanPrinter::CloseConnection() {
  SetConnection(nullptr);
}

bool CLanPrinter::Connect() {
  const std::wstring host = HostName();
  if (host.empty()) {
    return false;
  }
  const HostAddresses addresses = ResolveHostAddresses(host);
  const bool isIPv4 = !addresses.ipv4.empty();
  const std::wstring& address = isIPv4 ? addresses.ipv4 : addresses.ipv6;
  if (address.empty()) {
    return false;
  }
  SetConnection(std::make_shared<KovaTcpIp>(address.c_str(), isIPv4));
  return true;
}

std::wstring CLanPrinter::PrinterName() const {
  const std::lock_guard lock(mutex_);
  return printerName;
}

std::wstring CLanPrinter::HostName() const {
  const std::lock_guard lock(mutex_);
  return hostName;
}

bool CLanPrinter::IsConnected() const {
  const std::lock_guard lock(mutex_);
  return connection_ != nullptr;
}

CLanPrinter::Link CLanPrinter::CurrentLink() const {
  const std::lock_guard lock(mutex_);
  if (connection_ == nullptr) {
    throw CommunicationException("Socket is not created");
  }
  return {connection_, readTimeoutMs_, writeTimeoutMs_};
}

// What stood before is closed after the lock has been given back.
void CLanPrinter::SetConnection(std::shared_ptr<KovaTcpIp> connection) {
  const std::lock_guard lock(mutex_);
  connection_.swap(connection);
}

std::uint32_t CLanPrinter::Read(void* buffer, std::uint32_t size) {
  const Link link = CurrentLink();
  return link.connection->Read(buffer, size, link.readTimeoutMs);
}

std::uint32_t CLanPrinter::Write(const void* buffer, std::uint32_t size) {
  const Link link = CurrentLink();
  return link.connection->Write(buffer, size, link.writeTimeoutMs);
}

bool CLanPrinter::SetTimeouts(std::uint32_t readTimeoutMs, std::uint32_t writeTimeoutMs) {
  if (readTimeoutMs == 0 || writeTimeoutMs == 0) {
    platform::SetLastErrorCode(ERROR_INVALID_PARAMETER);
    return false;
  }
  const std::lock_guard lock(mutex_);
  readTimeoutMs_ = readTimeoutMs;
  writeTimeoutMs_ = writeTimeoutMs;
  return true;
}

}  // namespace sc3xxmon
