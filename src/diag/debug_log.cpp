#include "diag/debug_log.h"

#include <algorithm>
#include <exception>

#include "platform/debug_channel.h"
#include "platform/thread_id.h"

namespace sc3xxmon {
namespace {

// Thread id and message together, the terminator included.
constexpr std::size_t kRecordSize = 2047;

// Collects a record piece by piece and cuts it off when it is full.
class Record {
 public:
  void Append(const char* format, std::span<const FormatArgument> arguments) {
    const std::size_t room = kRecordSize - length_;
    length_ += std::min(FormatText(text_ + length_, room, format, arguments), room - 1);
  }

  const char* text() const { return text_; }

 private:
  char text_[kRecordSize] = {};
  std::size_t length_ = 0;
};

void WriteRecord(const Record& record) {
  platform::WriteDebugChannel(record.text());
  platform::WriteDebugChannel("\n");
}

void AppendThread(Record& record) {
  const FormatArgument thread[] = {platform::CurrentThreadId()};
  record.Append("[%04X] ", thread);
}

}  // namespace

void WriteLogText(const char* format, std::span<const FormatArgument> arguments) try {
  Record record;
  AppendThread(record);
  record.Append(format, arguments);
  WriteRecord(record);
} catch (const std::exception&) {
  // No memory for a wide text: the record is lost, the caller isn't.
}

void WriteLogText(At at, const char* format, std::span<const FormatArgument> arguments) try {
  Record record;
  AppendThread(record);
  const FormatArgument prefix[] = {version::kBuildNumber, at.function, at.line};
  record.Append("[%d:%s,%04d] ", prefix);
  record.Append(format, arguments);
  WriteRecord(record);
} catch (const std::exception&) {
  // As above.
}

}  // namespace sc3xxmon
