// The host table played in memory: the spooler's job side, the registry, a virtual clock and a captured log. While one
// lives it is the monitor's host. It knows the public door alone, so that tests can use it which don't reach inside.
// One at a time; its own thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sc3xxmon/host.h"

#include "support/bytes.h"
#include "support/story.h"

namespace sc3xxmon::test {

class RecordingHost {
 public:
  struct Job {
    std::wstring driverName = L"KOVA Scrivelo 310 Plus";
    bool hasDriverName = true;
    DWORD status = 0;
    std::wstring text;
    DWORD pagesPrinted = 0;
    DWORD position = 0;
    std::vector<std::wstring> texts;  // every text that was ever set, in order
  };

  explicit RecordingHost(Story* story = nullptr);
  ~RecordingHost();
  RecordingHost(const RecordingHost&) = delete;
  RecordingHost& operator=(const RecordingHost&) = delete;

  // Named values. A key exists once it has a value.
  static constexpr wchar_t kOptions[] = L"Software\\KOVA\\SC3xx";
  static constexpr wchar_t kDebug[] = L"Software\\KOVA\\Debug";
  void SetNumber(const std::wstring& key, const std::wstring& name, std::uint32_t number);
  void SetText(const std::wstring& key, const std::wstring& name, const std::wstring& text);
  void SetBytes(const std::wstring& key, const std::wstring& name, const ByteString& bytes);
  void ForgetValues() { values_.clear(); }
  // The folder that log files lie below. At first one that isn't there: a test that wants a log says where.
  std::wstring logRoot = L"/nonexistent";

  // The log's records as they went to the debugger channel, thread number and line end taken off:
  // "[218:CLangMon::Send,0042] WritePort failed. ...". A record without that prefix is a text of no function.
  struct LogRecord {
    std::string function;
    std::string text;
  };
  std::vector<LogRecord> LogRecords() const;
  std::vector<std::string> LogTexts() const;
  bool Logged(const std::string& text) const;
  std::size_t LogCount(const std::string& text) const;

  // What the table's functions come down to; also for a host's own part in the story.
  void Sleep(std::uint32_t milliseconds);
  bool ReadStatus(DWORD id, DWORD& status);  // false when the job can't be read
  bool SetFields(DWORD id, DWORD status, DWORD pagesPrinted, const wchar_t* text);
  bool TakeCommand(DWORD id, DWORD command);

  std::map<DWORD, Job> jobs{{7, Job{}}};
  DWORD lastError = 0;
  std::uint64_t now = 1000;  // the clock, in milliseconds
  std::vector<std::uint32_t> sleeps;
  std::function<void(std::uint32_t milliseconds)> onSleep;    // runs before the clock moves
  std::vector<DWORD> commands;                                // JOB_CONTROL_ commands, in order
  std::function<void(DWORD jobId, DWORD command)> onCommand;  // acts as a spooler would
  std::vector<std::wstring> openedPrinters;
  std::vector<std::pair<std::wstring, std::wstring>> queriedValues;  // key and name of every value asked for
  std::size_t openHandles = 0;
  std::size_t statusQueries = 0;                         // level 1 reads that came through
  std::function<void(std::size_t query)> onStatusQuery;  // runs before each, with its number from 1
  std::function<void()> onClosePrinter;                  // runs before each
  bool failOpenPrinter = false;
  bool failGetJob = false;
  bool failSetJob = false;
  bool nullPrinterNameSeen = false;
  std::vector<std::string> log;

  // A value as the host gives it to the monitor.
  LONG Query(LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size);

 private:
  static RecordingHost& Self(void* context) { return *static_cast<RecordingHost*>(context); }
  static BOOL OpenPrinterW(void* context, LPWSTR name, HANDLE* printer, void* defaults);
  static BOOL GetJobW(void* context, HANDLE printer, DWORD id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed);
  static BOOL SetJobW(void* context, HANDLE printer, DWORD id, DWORD level, LPBYTE buffer, DWORD command);
  static BOOL ClosePrinter(void* context, HANDLE printer);
  static LONG Give(const ByteString& value, LPBYTE data, LPDWORD size);
  static LONG QueryValue(void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size);
  static void DebugOutput(void* context, const char* text);

  BOOL FillJob(const Job& job, DWORD id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed);
  bool CanBeRead(DWORD id);
  void Tell(const std::string& line);
  BOOL Fail(DWORD code);

  Story* story_;
  std::map<std::wstring, std::map<std::wstring, ByteString>> values_;
  std::string pendingRecord_;
};

}  // namespace sc3xxmon::test
