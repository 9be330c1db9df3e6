#include "support/debugger_lines.h"

#include <algorithm>

namespace sc3xxmon::test {
namespace {

constexpr DWORD kNarrowText = 0x40010006;  // DBG_PRINTEXCEPTION_C

PVOID handler = nullptr;
std::string pending;
std::vector<std::string> records;

// "[0024] [218:SCMon_OpenPortEx,0061] port=..." to "SCMon_OpenPortEx: port=...".
std::string WithoutPrefix(const std::string& record) {
  const std::size_t colon = record.find("[218:");
  const std::size_t comma = record.find(',', colon);
  const std::size_t end = record.find("] ", comma);
  if (colon == std::string::npos || end == std::string::npos) {
    return record;
  }
  return record.substr(colon + 5, comma - colon - 5) + ": " + record.substr(end + 2);
}

// A record arrives as its text and then its line end.
LONG CALLBACK Catch(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& raised = *pointers->ExceptionRecord;
  if (raised.ExceptionCode != kNarrowText || raised.NumberParameters < 2) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const auto* text = reinterpret_cast<const char*>(raised.ExceptionInformation[1]);
  if (std::string(text) == "\n") {
    records.push_back(WithoutPrefix(pending));
    pending.clear();
  } else {
    pending += text;
  }
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DebuggerLines::DebuggerLines() {
  records.clear();
  pending.clear();
  handler = AddVectoredExceptionHandler(1, Catch);
}

DebuggerLines::~DebuggerLines() {
  RemoveVectoredExceptionHandler(handler);
}

const std::vector<std::string>& DebuggerLines::Records() const {
  return records;
}

bool DebuggerLines::Has(const std::string& record) const {
  return std::find(records.begin(), records.end(), record) != records.end();
}

}  // namespace sc3xxmon::test
