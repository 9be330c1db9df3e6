// Arbitrary bytes as a log file: every line is told or counted, and nothing that a terminal would obey gets out.
#include <algorithm>
#include <string_view>

#include "apps/log/log_report.h"
#include "fuzz/fuzz_target.h"

namespace {

using sc3xx::LogRecord;

std::size_t LinesIn(std::string_view text) {
  const auto ends = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  return ends + (text.empty() || text.back() == '\n' ? 0 : 1);
}

bool IsCommand(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte < 0x20 && c != '\n') || byte == 0x7F;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const void* const bytes = data;
  const std::string_view text(static_cast<const char*>(bytes), size);
  const sc3xx::LogRecords log = sc3xx::ParseLog(text);
  FUZZ_CHECK(log.records.size() + log.otherLines == LinesIn(text));
  const sc3xx::LogStory story = sc3xx::TellLog(log);
  for (const sc3xx::LoggedJob& job : story.jobs) {
    FUZZ_CHECK(job.labels.size() <= log.records.size());
  }
  const std::string told = sc3xx::StoryAsText(story, "log", false);
  FUZZ_CHECK(std::none_of(told.begin(), told.end(), IsCommand));
  FUZZ_CHECK(!sc3xx::StoryAsJson(story, "log").empty());
  return 0;
}
