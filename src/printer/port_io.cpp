#include <algorithm>

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "monitor/langmon.h"
#include "monitor/options.h"
#include "platform/clock.h"
#include "platform/last_error.h"
#include "printer/port_timeouts.h"

namespace sc3xxmon {
namespace {

// The port functions take their buffer as writable, although a write only reads it.
LPBYTE PortBuffer(const void* buffer) {
  return static_cast<LPBYTE>(const_cast<void*>(buffer));
}

}  // namespace

bool CLangMon::WritePortOnce(const void* buffer, std::uint32_t size, std::uint32_t* written) {
  if (buffer == nullptr || size == 0) {
    return false;
  }
  if (IsNoDeviceIO()) {
    *written = size;
  } else if (DWORD count = *written; Monitor.pfnWritePort(hPort, PortBuffer(buffer), size, &count) == 0) {
    *written = count;
    KovaDebugPrint(At("CLangMon::Send"), "WritePort failed. written=%d; err=%d", count, platform::LastError());
    return false;
  } else {
    *written = count;
  }
  LastIoTick = platform::TickCountMs();
  return true;
}

bool CLangMon::Send(const void* buffer, std::uint32_t size, std::uint32_t* written) {
  return WritePortOnce(buffer, size, written);
}

bool CLangMon::SendAll(const void* buffer, std::uint32_t size) {
  if (size == 0) {
    return true;
  }
  std::uint32_t sent = 0;
  std::uint32_t count = 0;
  bool succeeded = false;
  do {
    count = 0;
    succeeded = WritePortOnce(static_cast<const std::uint8_t*>(buffer) + sent, size - sent, &count);
    sent += count;
  } while (count != 0 && sent < size);
  if (succeeded && sent == size) {
    return true;
  }
  KovaDebugPrint(At("CLangMon::SendAll"), "SendAll failed: written=%d", sent);
  return false;
}

bool CLangMon::Recv(void* buffer, std::uint32_t size, std::uint32_t* read) {
  return buffer != nullptr && size != 0 && RecvForSpooler(buffer, size, read);
}

bool CLangMon::RecvForSpooler(void* buffer, std::uint32_t size, std::uint32_t* read) {
  if (IsNoDeviceIO()) {
    if (read != nullptr) {
      *read = size;
    }
  } else {
    DWORD count = read != nullptr ? *read : 0;
    const BOOL succeeded =
        Monitor.pfnReadPort(hPort, static_cast<LPBYTE>(buffer), size, read != nullptr ? &count : nullptr);
    if (read != nullptr) {
      *read = count;
    }
    if (succeeded == 0) {
      return false;
    }
  }
  LastIoTick = platform::TickCountMs();
  return true;
}

bool CLangMon::StartDoc(const wchar_t* printerName, DWORD jobId, DWORD level, void* docInfo) {
  if (Monitor.pfnStartDocPort(hPort, const_cast<LPWSTR>(printerName), jobId, level, static_cast<LPBYTE>(docInfo)) ==
      0) {
    return false;
  }
  LastIoTick = platform::TickCountMs();
  return true;
}

void CLangMon::EndDoc() {
  Monitor.pfnEndDocPort(hPort);
}

void CLangMon::ClosePortChain() {
  Monitor.pfnClosePort(hPort);
}

bool CLangMon::SetTimeouts(COMMTIMEOUTS* timeouts) {
  return Monitor.pfnSetPortTimeOuts == nullptr || Monitor.pfnSetPortTimeOuts(hPort, timeouts, 0) != 0;
}

void CLangMon::AdjustPortTimeouts() {
  const auto job = CurrentJob();
  const KplLabel* label = job != nullptr ? job->FirstSentLabel() : nullptr;
  if (label == nullptr || !job->OpenLengthLabels || label->PrintDataParams == nullptr) {
    return;
  }
  const std::uint32_t needed = LabelPrintTimeoutMs(label->Raster().LineCount);
  const std::uint32_t readTimeout = std::max(needed, PortReadTimeout);
  const std::uint32_t writeTimeout = std::max(needed, PortWriteTimeout);
  COMMTIMEOUTS timeouts = PortTimeouts(readTimeout, writeTimeout);
  SetTimeouts(&timeouts);
  KovaDebugPrint(At("CLangMon::AdjustPortTimeouts"), "Adjusting port timeouts to %d / %d", readTimeout, writeTimeout);
}

}  // namespace sc3xxmon
