#include "diag/debug_log.h"

#include <algorithm>
#include <exception>

#include "diag/debug_block.h"
#include "diag/log_file.h"
#include "platform/debug_channel.h"
#include "platform/last_error.h"
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
  std::size_t length() const { return length_; }

 private:
  char text_[kRecordSize] = {};
  std::size_t length_ = 0;
};

// What the caller is about to read: opening a file that is there already sets it, too.
class LastErrorKeeper {
 public:
  LastErrorKeeper() : before_(platform::LastError()) {}
  ~LastErrorKeeper() {
    if (platform::LastError() != before_) {
      platform::SetLastErrorCode(before_);
    }
  }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  std::uint32_t before_;
};

void TellDebugger(const Record& record) {
  platform::WriteDebugChannel(record.text());
  platform::WriteDebugChannel("\n");
}

bool WriteToLogFile(const Record& record) {
  platform::File file = OpenLogFile(diag::log.path.data());
  return WriteLogRecord(file, record.text(), record.length());
}

void WriteUnderMutex(const Record& record) {
  bool written = false;
  {
    const LogGuard guard;
    if (!guard.Held()) {
      platform::WriteDebugChannel("KovaDebugPrint: Failed to acquire mutex\n");
      TellDebugger(record);
      return;
    }
    written = WriteToLogFile(record);
  }
  if (!written) {
    platform::WriteDebugChannel("KovaDebugPrint: Failed write log entry\n");
    TellDebugger(record);
  }
}

void WriteRecord(const Record& record) {
  const LastErrorKeeper lastError;
  const std::uint32_t level = DebugLevel();
  if (level == kDebugLevelDebugger) {
    TellDebugger(record);
  } else if (level != kDebugLevelShared || !WriteThroughBlock(record.text(), record.length())) {
    WriteUnderMutex(record);
  }
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
