// What a debugger would see of this process: the texts of OutputDebugString, caught where the system raises them. One at a
// time.
#pragma once

#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

class DebuggerLines {
 public:
  DebuggerLines();
  ~DebuggerLines();
  DebuggerLines(const DebuggerLines&) = delete;
  DebuggerLines& operator=(const DebuggerLines&) = delete;

  // Each record without thread number, build number, function's line and line end: "SCMon_OpenPortEx: port=...".
  const std::vector<std::string>& Records() const;
  bool Has(const std::string& record) const;
};

}  // namespace sc3xxmon::test
