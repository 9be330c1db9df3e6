// The captured log without what a test must not depend on: build number and source line.
#pragma once

#include <string>
#include <vector>

#include "support/test_host.h"

namespace sc3xxmon::test {

// Each record as "CKplParser::ProcessData: Appending data: old=0, delta=3"; a record without a prefix as it is.
inline std::vector<std::string> LogLines(const TestHost& host) {
  std::vector<std::string> lines;
  for (const auto& [function, text] : host.LogRecords()) {
    lines.push_back(function.empty() ? text : function + ": " + text);
  }
  return lines;
}

}  // namespace sc3xxmon::test
