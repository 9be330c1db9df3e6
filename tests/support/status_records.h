// Status records from their bytes.
#pragma once

#include <algorithm>

#include "printer/status_record.h"
#include "support/bytes.h"

namespace sc3xxmon::test {

inline StatusRecord RecordOf(const ByteString& bytes) {
  StatusRecord record;
  std::copy(bytes.begin(), bytes.end(), record.Bytes.begin());
  return record;
}

}  // namespace sc3xxmon::test
