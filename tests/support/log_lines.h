// The captured log without what a test must not depend on: build number and source line.
#pragma once

#include <string>
#include <vector>

#include "support/test_host.h"

namespace sc3xxmon::test {

// Each record as "CKplParser::ProcessData: Appending data: old=0, delta=3"; a record without a prefix as it is.
inline std::vector<std::string> LogLines(const TestHost& host) {
  std::vector<std::string> lines;
  for (const std::string& record : host.log) {
    const std::size_t comma = record.find(',');
    const std::size_t end = record.find("] ");
    const bool hasPrefix = record.starts_with("[218:") && comma < end && end != std::string::npos;
    lines.push_back(hasPrefix ? record.substr(5, comma - 5) + ": " + record.substr(end + 2) : record);
  }
  return lines;
}

}  // namespace sc3xxmon::test
