#include "apps/status/printer_line.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "apps/ports/device_port.h"
#include "apps/ports/network_host.h"
#include "apps/spooler/last_error.h"
#include "apps/status/tcp_line.h"
#include "simulator/virtual_printer.h"

namespace sc3xx {
namespace {

// A device port outside the monitor, open for as long as this object lives.
class OpenDevice {
 public:
  OpenDevice(const std::string& path, const LineTimes& times) : port_(path), below_(port_.Below()) {
    if (below_.table->pfnOpenPort(below_.monitorPort, below_.name.data(), &handle_) == 0) {
      throw LineError(port_.LastTrouble());
    }
    COMMTIMEOUTS limits{times.silenceMs, 0, times.timeoutMs, 0, times.timeoutMs};
    below_.table->pfnSetPortTimeOuts(handle_, &limits, 0);
    below_.table->pfnStartDocPort(handle_, below_.name.data(), 1, 1, nullptr);  // drops what was left unread
  }
  ~OpenDevice() { below_.table->pfnClosePort(handle_); }
  OpenDevice(const OpenDevice&) = delete;
  OpenDevice& operator=(const OpenDevice&) = delete;

  void Send(std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    DWORD written = 0;
    if (below_.table->pfnWritePort(handle_, copy.data(), static_cast<DWORD>(copy.size()), &written) == 0) {
      throw LineError(port_.LastTrouble());
    }
  }

  std::vector<std::uint8_t> Receive(std::size_t most) {
    std::vector<std::uint8_t> bytes(most);
    DWORD read = 0;
    const BOOL came = below_.table->pfnReadPort(handle_, bytes.data(), static_cast<DWORD>(most), &read);
    if (came == 0 && LastErrorCode() != ERROR_TIMEOUT) {
      throw LineError(port_.LastTrouble());
    }
    bytes.resize(came != 0 ? read : 0);
    return bytes;
  }

 private:
  DevicePort port_;
  PortBelow below_;
  HANDLE handle_ = nullptr;
};

// A client of a virtual printer of its own, on a clock that jumps to whatever happens next.
class OwnPrinter {
 public:
  explicit OwnPrinter(const simulator::PrinterSettings& settings)
      : printer_(settings), client_(printer_.Connect(now_)) {}

  void Send(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
      bytes = bytes.subspan(printer_.Write(client_, bytes, now_));
      if (!bytes.empty() && !Jump()) {
        throw LineError("the virtual printer takes nothing");
      }
    }
  }

  std::vector<std::uint8_t> Receive(std::size_t most) {
    constexpr std::uint64_t kPatienceMs = 60'000;
    const std::uint64_t end = now_ + kPatienceMs;
    while (printer_.Readable(client_, now_) == 0 && now_ < end && Jump()) {
    }
    std::vector<std::uint8_t> bytes(most);
    bytes.resize(printer_.Read(client_, bytes, now_));
    return bytes;
  }

 private:
  bool Jump() {
    const std::optional<std::uint64_t> next = printer_.NextEvent();
    now_ = std::max(now_, next.value_or(now_));
    printer_.Advance(now_);
    return next.has_value();
  }

  simulator::VirtualPrinter printer_;
  std::uint64_t now_ = 0;
  simulator::ClientId client_;
};

template <class Owner>
PrinterLine LineOf(std::shared_ptr<Owner> owner, std::string address = {}) {
  return {[owner](std::span<const std::uint8_t> bytes) { owner->Send(bytes); },
          [owner](std::size_t most) { return owner->Receive(most); }, std::move(address)};
}

}  // namespace

PrinterLine LineToDevice(const std::string& path, const LineTimes& times) {
  return LineOf(std::make_shared<OpenDevice>(path, times));
}

PrinterLine LineToHost(const std::string& hostName, const LineTimes& times) {
  const NetworkHost host = FindNetworkHost(hostName);
  if (host.address.empty()) {
    throw LineError(WordsForMissingAddress(hostName, host));
  }
  return LineOf(std::make_shared<TcpLine>(hostName, host, times), host.address);
}

PrinterLine LineToVirtualPrinter(const simulator::PrinterSettings& settings) {
  return LineOf(std::make_shared<OwnPrinter>(settings));
}

}  // namespace sc3xx
