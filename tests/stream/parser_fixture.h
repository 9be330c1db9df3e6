// A parser of job 7 whose log is kept.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "stream/kpl_parser.h"
#include "support/bytes.h"
#include "support/log_lines.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

class ParserFixture : public ::testing::Test {
 protected:
  ParserFixture() { TestHost::SetDebugLevel(1); }

  std::int32_t Feed(const ByteString& bytes) { return parser.ProcessData(bytes.data(), bytes.size()); }
  void FeedByteWise(const ByteString& bytes) {
    for (const std::uint8_t byte : bytes) {
      parser.ProcessData(&byte, 1);
    }
  }
  // Log lines since the last call.
  std::vector<std::string> NewLines() {
    auto lines = LogLines(host);
    host.log.clear();
    return lines;
  }
  void MarkFirstUnsent() { parser.MarkSent(*parser.FirstUnsentLabel()); }

  TestHost host;
  CKplParser parser{7};
};

}  // namespace sc3xxmon::test
