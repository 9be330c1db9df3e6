// A spooler whose job may be deleted at any moment, and a clock that only sleeping moves. What it does is read from the
// fuzzer's input; when that is used up nothing happens to the job any more.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sc3xxmon/host.h"

#include "fuzz/input_reader.h"

namespace sc3xxmon::fuzz {

class ArbitraryHost {
 public:
  // `model` is a row of the model table; 0 is a driver that nobody knows.
  ArbitraryHost(InputReader& input, std::uint32_t model);
  ~ArbitraryHost();
  ArbitraryHost(const ArbitraryHost&) = delete;
  ArbitraryHost& operator=(const ArbitraryHost&) = delete;

  // The job as it stands at the start of a document.
  void BeginDocument();
  bool RestartWanted() const { return restartWanted_; }
  bool Deleted() const { return deleted_; }
  DWORD PagesPrinted() const { return pagesPrinted_; }
  std::size_t OpenPrinters() const { return openPrinters_; }

 private:
  static ArbitraryHost& Self(void* context) { return *static_cast<ArbitraryHost*>(context); }
  BOOL GetJob(DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed);
  BOOL SetJob(DWORD level, LPBYTE buffer, DWORD command);

  InputReader& input_;
  std::wstring driverName_;
  std::wstring statusText_;
  DWORD status_ = 0;
  DWORD pagesPrinted_ = 0;
  DWORD lastError_ = 0;
  std::uint64_t now_ = 1000;
  std::size_t openPrinters_ = 0;
  bool restartWanted_ = false;
  bool deleted_ = false;
};

}  // namespace sc3xxmon::fuzz
