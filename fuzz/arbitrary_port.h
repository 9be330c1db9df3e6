// A port with a printer behind it that does what the fuzzer's input says: takes, refuses, takes part, answers well,
// answers anything, answers short or not at all. When the input is used up it is a printer in good order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "sc3xxmon/spooler_abi.h"

#include "fuzz/input_reader.h"
#include "fuzz/wire_check.h"

namespace sc3xxmon::fuzz {

class ArbitraryPort {
 public:
  // Ends the process when the monitor makes more than `mostCalls` calls: it would never come to an end.
  ArbitraryPort(InputReader& input, std::size_t mostCalls) : input_(input), mostCalls_(mostCalls) {}
  ArbitraryPort(const ArbitraryPort&) = delete;
  ArbitraryPort& operator=(const ArbitraryPort&) = delete;

  MONITOR2 Table() const;
  // Who looks at what is written from now on; null: nobody.
  void Watch(WireCheck* check) { check_ = check; }
  // How many labels the monitor has shown as acknowledged; asked before each write.
  std::function<std::size_t()> acknowledged;

  BOOL Write(std::span<const std::uint8_t> bytes, LPDWORD written);
  BOOL Read(std::span<std::uint8_t> bytes, LPDWORD read);

  bool open = false;
  bool inDocument = false;

 private:
  void CountCall();
  void FillAnswer(std::span<std::uint8_t> bytes, std::uint8_t choice);

  InputReader& input_;
  std::size_t mostCalls_;
  std::size_t calls_ = 0;
  WireCheck* check_ = nullptr;
};

}  // namespace sc3xxmon::fuzz
