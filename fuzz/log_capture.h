// Collects the log's records as "function: text". Line numbers are left out: they are no part of what a record says.
#pragma once

#include <string>
#include <vector>

#include "sc3xxmon/host.h"

#include "diag/debug_log.h"

namespace sc3xxmon::fuzz {

// The log's lines while it lives, at level 1. One at a time.
class LogCapture {
 public:
  // Puts itself into `host`'s debugger channel; the caller installs the host.
  explicit LogCapture(Sc3xxHost& host) {
    host.context = this;
    host.DebugOutput = [](void* context, const char* text) { static_cast<LogCapture*>(context)->Take(text); };
    diag::debugLevel = 1;
  }
  ~LogCapture() { diag::debugLevel = 0; }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines;

 private:
  // A record is "[thread] [build:function,line] text", and its line end comes by itself.
  void Take(const std::string& text) {
    if (text == "\n") {
      return;
    }
    const std::size_t function = text.find(':') + 1;
    const std::size_t comma = text.find(',', function);
    const std::size_t behind = text.find("] ", comma);
    lines.push_back(text.substr(function, comma - function) + ": " + text.substr(behind + 2));
  }
};

}  // namespace sc3xxmon::fuzz
