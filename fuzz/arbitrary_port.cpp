#include "fuzz/arbitrary_port.h"

#include <algorithm>

#include "fuzz/fuzz_target.h"

namespace sc3xxmon::fuzz {
namespace {

ArbitraryPort& PortOf(HANDLE handle) {
  return *static_cast<ArbitraryPort*>(handle);
}

BOOL WINAPI Open(HANDLE monitor, LPWSTR, HANDLE* handle) {
  PortOf(monitor).open = true;
  *handle = monitor;
  return TRUE;
}
BOOL WINAPI StartDoc(HANDLE handle, LPWSTR, DWORD, DWORD, LPBYTE) {
  FUZZ_CHECK(!PortOf(handle).inDocument);
  PortOf(handle).inDocument = true;
  return TRUE;
}
BOOL WINAPI WriteBytes(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD written) {
  return PortOf(handle).Write({bytes, size}, written);
}
BOOL WINAPI ReadBytes(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD read) {
  return PortOf(handle).Read({bytes, size}, read);
}
BOOL WINAPI EndDoc(HANDLE handle) {
  PortOf(handle).inDocument = false;
  return TRUE;
}
BOOL WINAPI Close(HANDLE handle) {
  PortOf(handle).open = false;
  return TRUE;
}
BOOL WINAPI SetTimeOuts(HANDLE, LPCOMMTIMEOUTS, DWORD) {
  return TRUE;
}

// Answers to a status request, by the length that the model's request asks for.
constexpr std::size_t kRecordSize = 32;
constexpr std::size_t kDualRollSize = 70;
constexpr std::size_t kDualRollPrefix = 6;

void FillReadyRecord(std::span<std::uint8_t> record) {
  constexpr std::size_t kBayPlain = 10;
  constexpr std::uint8_t kBayGood = 8;
  record[kBayPlain] = kBayGood;
}

}  // namespace

MONITOR2 ArbitraryPort::Table() const {
  MONITOR2 table{};
  table.cbSize = sizeof(table);
  table.pfnOpenPort = Open;
  table.pfnStartDocPort = StartDoc;
  table.pfnWritePort = WriteBytes;
  table.pfnReadPort = ReadBytes;
  table.pfnEndDocPort = EndDoc;
  table.pfnClosePort = Close;
  table.pfnSetPortTimeOuts = SetTimeOuts;
  return table;
}

void ArbitraryPort::CountCall() {
  FUZZ_CHECK(++calls_ <= mostCalls_);
}

BOOL ArbitraryPort::Write(std::span<const std::uint8_t> bytes, LPDWORD written) {
  CountCall();
  FUZZ_CHECK(bytes.data() != nullptr && !bytes.empty());
  const std::uint8_t choice = input_.Byte();
  const bool fails = choice == 0xFF;
  if (check_ != nullptr) {
    check_->OnAcknowledged(acknowledged());
    check_->OnWrite(bytes, !fails);
  }
  // A part may be taken in either case.
  const bool part = choice == 0xFE || fails;
  *written = static_cast<DWORD>(part ? bytes.size() * input_.Byte() / 256 : bytes.size());
  return fails ? FALSE : TRUE;
}

BOOL ArbitraryPort::Read(std::span<std::uint8_t> bytes, LPDWORD read) {
  CountCall();
  const std::uint8_t choice = input_.Byte();
  if (choice == 0xFF) {
    return FALSE;
  }
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  FillAnswer(bytes, choice);
  *read = static_cast<DWORD>(choice == 0xFE ? bytes.size() * input_.Byte() / 256 : bytes.size());
  return TRUE;
}

void ArbitraryPort::FillAnswer(std::span<std::uint8_t> bytes, std::uint8_t choice) {
  constexpr std::uint8_t kAnyBytes = 0xFD;
  constexpr std::uint8_t kAnyStatus = 0xF0;
  if (choice == kAnyBytes) {
    const auto any = input_.Take(bytes.size());
    std::copy(any.begin(), any.end(), bytes.begin());
    return;
  }
  if (bytes.size() != kRecordSize && bytes.size() != kDualRollSize) {
    return;  // no firmware information
  }
  const std::span<std::uint8_t> record =
      bytes.subspan(bytes.size() == kDualRollSize ? kDualRollPrefix : 0, kRecordSize);
  FillReadyRecord(record);
  if (choice >= kAnyStatus) {
    record[0] = input_.Byte() % 8;
    record[10] = input_.Byte() % 12;
  }
}

}  // namespace sc3xxmon::fuzz
