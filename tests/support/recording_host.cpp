#include "support/recording_host.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace sc3xxmon::test {
namespace {

// Copies a text behind the structure and gives its address there.
LPWSTR PlaceText(LPBYTE buffer, std::size_t& at, const std::wstring& text) {
  auto* place = reinterpret_cast<wchar_t*>(buffer + at);
  std::copy_n(text.c_str(), text.size() + 1, place);
  at += (text.size() + 1) * sizeof(wchar_t);
  return place;
}

// For a story line; characters of one wide unit are all that the status texts have.
std::string Utf8(const std::wstring& text) {
  std::string out;
  for (const wchar_t wide : text) {
    const auto unit = static_cast<std::uint32_t>(wide);
    if (unit < 0x80) {
      out += static_cast<char>(unit);
    } else if (unit < 0x800) {
      out += static_cast<char>(0xC0 | (unit >> 6));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | ((unit >> 12) & 0x0F));
      out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return out;
}

std::size_t TextRoom(const std::wstring& text) {
  return (text.size() + 1) * sizeof(wchar_t);
}

ByteString BytesOf(const std::wstring& text) {
  ByteString bytes(TextRoom(text));
  std::memcpy(bytes.data(), text.c_str(), bytes.size());
  return bytes;
}

}  // namespace

RecordingHost::RecordingHost(Story* story) : story_(story) {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.context = this;
  host.OpenPrinterW = OpenPrinterW;
  host.GetJobW = GetJobW;
  host.SetJobW = SetJobW;
  host.ClosePrinter = ClosePrinter;
  host.QueryValue = QueryValue;
  host.TickCount = [](void* context) { return Self(context).now; };
  host.Sleep = [](void* context, std::uint32_t milliseconds) { Self(context).Sleep(milliseconds); };
  host.GetLastError = [](void* context) { return Self(context).lastError; };
  host.SetLastError = [](void* context, DWORD code) { Self(context).lastError = code; };
  host.DebugOutput = DebugOutput;
  Sc3xxSetHost(&host);
}

RecordingHost::~RecordingHost() {
  Sc3xxSetHost(nullptr);
}

void RecordingHost::SetNumber(const std::wstring& key, const std::wstring& name, std::uint32_t number) {
  ByteString bytes(sizeof(number));
  std::memcpy(bytes.data(), &number, sizeof(number));
  SetBytes(key, name, bytes);
}

void RecordingHost::SetText(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
  SetBytes(key, name, BytesOf(text));
}

void RecordingHost::SetBytes(const std::wstring& key, const std::wstring& name, const ByteString& bytes) {
  values_[key][name] = bytes;
}

std::vector<RecordingHost::LogRecord> RecordingHost::LogRecords() const {
  constexpr std::string_view kBuild = "[218:";
  std::vector<LogRecord> records;
  for (const std::string& line : log) {
    const std::size_t comma = line.find(',');
    const std::size_t end = line.find("] ");
    if (line.starts_with(kBuild) && comma < end && end != std::string::npos) {
      records.push_back({line.substr(kBuild.size(), comma - kBuild.size()), line.substr(end + 2)});
    } else {
      records.push_back({"", line});
    }
  }
  return records;
}

std::vector<std::string> RecordingHost::LogTexts() const {
  std::vector<std::string> texts;
  for (const LogRecord& record : LogRecords()) {
    texts.push_back(record.text);
  }
  return texts;
}

bool RecordingHost::Logged(const std::string& text) const {
  return LogCount(text) > 0;
}

std::size_t RecordingHost::LogCount(const std::string& text) const {
  const auto texts = LogTexts();
  return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

void RecordingHost::Tell(const std::string& line) {
  if (story_ != nullptr) {
    story_->push_back(line);
  }
}

BOOL RecordingHost::Fail(DWORD code) {
  lastError = code;
  return FALSE;
}

BOOL RecordingHost::OpenPrinterW(void* context, LPWSTR name, HANDLE* printer, void*) {
  RecordingHost& self = Self(context);
  if (self.failOpenPrinter) {
    return self.Fail(1801);  // no such printer
  }
  self.nullPrinterNameSeen = self.nullPrinterNameSeen || name == nullptr;
  self.openedPrinters.emplace_back(name != nullptr ? name : L"");
  ++self.openHandles;
  *printer = &self;
  return TRUE;
}

void RecordingHost::Sleep(std::uint32_t milliseconds) {
  sleeps.push_back(milliseconds);
  Tell("sleep " + std::to_string(milliseconds));
  if (onSleep) {
    onSleep(milliseconds);
  }
  now += milliseconds;
}

bool RecordingHost::CanBeRead(DWORD id) {
  return !failGetJob && jobs.contains(id);
}

bool RecordingHost::ReadStatus(DWORD id, DWORD& status) {
  if (!CanBeRead(id)) {
    return false;
  }
  ++statusQueries;
  if (onStatusQuery) {
    onStatusQuery(statusQueries);
  }
  status = jobs.at(id).status;
  return true;
}

BOOL RecordingHost::GetJobW(void* context, HANDLE, DWORD id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
  RecordingHost& self = Self(context);
  if (!self.CanBeRead(id)) {
    return self.Fail(ERROR_INVALID_PARAMETER);
  }
  if (DWORD status = 0; level == 1 && buffer != nullptr) {
    self.ReadStatus(id, status);
  }
  return self.FillJob(self.jobs.at(id), id, level, buffer, size, needed);
}

BOOL RecordingHost::FillJob(const Job& job, DWORD id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
  std::size_t at = level == 1 ? sizeof(JOB_INFO_1W) : sizeof(JOB_INFO_2W);
  *needed = static_cast<DWORD>(at + TextRoom(job.text) + TextRoom(job.driverName));
  if (size < *needed) {
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  if (level == 1) {
    auto* info = reinterpret_cast<JOB_INFO_1W*>(buffer);
    *info = {};
    info->JobId = id;
    info->Status = job.status;
    info->pStatus = PlaceText(buffer, at, job.text);
    info->PagesPrinted = job.pagesPrinted;
    info->Position = 1;
    return TRUE;
  }
  auto* info = reinterpret_cast<JOB_INFO_2W*>(buffer);
  *info = {};
  info->JobId = id;
  info->Status = job.status;
  info->pDriverName = job.hasDriverName ? PlaceText(buffer, at, job.driverName) : nullptr;
  return TRUE;
}

BOOL RecordingHost::SetJobW(void* context, HANDLE, DWORD id, DWORD level, LPBYTE buffer, DWORD command) {
  RecordingHost& self = Self(context);
  if (level == 0) {
    return self.TakeCommand(id, command) ? TRUE : self.Fail(ERROR_INVALID_PARAMETER);
  }
  const auto* info = reinterpret_cast<const JOB_INFO_1W*>(buffer);
  if (!self.SetFields(id, info->Status, info->PagesPrinted, info->pStatus)) {
    return self.Fail(ERROR_INVALID_PARAMETER);
  }
  self.jobs.at(id).position = info->Position;
  return TRUE;
}

bool RecordingHost::SetFields(DWORD id, DWORD status, DWORD pagesPrinted, const wchar_t* text) {
  if (failSetJob || !jobs.contains(id)) {
    return false;
  }
  Job& job = jobs.at(id);
  job.status = status;
  job.pagesPrinted = pagesPrinted;
  job.text = text != nullptr ? text : L"";
  if (text != nullptr) {
    job.texts.push_back(job.text);
  }
  char line[64];
  std::snprintf(line, sizeof(line), "job status 0x%X pages %u", static_cast<unsigned>(status),
                static_cast<unsigned>(pagesPrinted));
  Tell(line + (text != nullptr ? " '" + Utf8(job.text) + "'" : std::string()));
  return true;
}

bool RecordingHost::TakeCommand(DWORD id, DWORD command) {
  if (failSetJob || !jobs.contains(id)) {
    return false;
  }
  commands.push_back(command);
  Tell("job command " + std::to_string(command));
  if (onCommand) {
    onCommand(id, command);
  }
  return true;
}

BOOL RecordingHost::ClosePrinter(void* context, HANDLE) {
  RecordingHost& self = Self(context);
  if (self.onClosePrinter) {
    self.onClosePrinter();
  }
  --self.openHandles;
  return TRUE;
}

LONG RecordingHost::Give(const ByteString& value, LPBYTE data, LPDWORD size) {
  const DWORD room = *size;
  *size = static_cast<DWORD>(value.size());
  if (data != nullptr && value.size() > room) {
    return static_cast<LONG>(ERROR_MORE_DATA);
  }
  if (data != nullptr) {
    std::copy(value.begin(), value.end(), data);
  }
  return 0;
}

LONG RecordingHost::Query(LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  if (std::wcslen(key) == 0) {
    return name != nullptr ? Give(BytesOf(logRoot), data, size) : 0;
  }
  const auto values = values_.find(key);
  if (name == nullptr) {
    return values != values_.end() ? 0 : static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  queriedValues.emplace_back(key, name);
  if (values == values_.end() || !values->second.contains(name)) {
    return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  return Give(values->second.at(name), data, size);
}

LONG RecordingHost::QueryValue(void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  return Self(context).Query(key, name, data, size);
}

// A record arrives as its text and then its line end.
void RecordingHost::DebugOutput(void* context, const char* text) {
  RecordingHost& self = Self(context);
  if (std::strcmp(text, "\n") != 0) {
    self.pendingRecord_ += text;
    return;
  }
  const std::size_t thread = self.pendingRecord_.find("] ");
  self.log.push_back(thread == std::string::npos ? self.pendingRecord_ : self.pendingRecord_.substr(thread + 2));
  self.pendingRecord_.clear();
}

}  // namespace sc3xxmon::test
