// The monitor as a spooler sees it: InitializePrintMonitor2, the table that it gives, a host in memory and a port that
// plays a script. Nothing in tests/door knows more than include/sc3xxmon, so that the same tests can run against any
// build of the library.
//
// The clock is the host's; no test waits on a real one.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "sc3xxmon/host.h"
#include "sc3xxmon/spooler_abi.h"

#include "support/bytes.h"
#include "support/recording_host.h"
#include "support/scripted_port.h"
#include "support/story.h"

namespace sc3xxmon::test {

// The nine models as their drivers name them, and what a host can see of the difference between them.
struct DoorModel {
  std::uint32_t row;
  const wchar_t* driverName;
  bool asksForLockFirst;
  bool dualRoll;
  bool tape;
  bool alwaysCompresses;
};
inline void PrintTo(const DoorModel& model, std::ostream* out) {
  *out << "row " << model.row;
}
const std::vector<DoorModel>& DoorModels();
const DoorModel& ModelOfRow(std::uint32_t row);

// Lines of the story.
std::string Wrote(const ByteString& bytes);
std::string Wrote(std::string_view hex);
std::string Took(std::size_t count);

// ESC s, the labels 1 to `labels`, ESC Q.
ByteString Document(std::uint16_t labels);

class DoorTest : public ::testing::Test {
 protected:
  static constexpr DWORD kJobId = 7;
  static constexpr wchar_t kPortName[] = L"USB001";

  // The monitor is loaded with the log on and every option at its default; the printer is of row 2, which takes the
  // lock without being asked and compresses nothing until its firmware says so.
  DoorTest();
  ~DoorTest() override;

  // --- before a port is open
  void LoadMonitor();  // InitializePrintMonitor2: reads the settings anew
  void SetOption(const std::wstring& name, std::uint32_t number);
  void UseModel(std::uint32_t row);

  // --- the spooler's calls. Texts are handed over as the spooler does, in storage of its own.
  HANDLE Open(const std::wstring& portName = kPortName);  // 0 when refused
  HANDLE Open(const std::wstring& portName, MONITOR2* table);
  BOOL Start(HANDLE key, DWORD jobId = kJobId, DWORD level = 1);
  BOOL Start(HANDLE key, const wchar_t* printer, DWORD jobId, DWORD level, bool withDocInfo);
  BOOL Write(HANDLE key, const ByteString& bytes);
  BOOL Read(HANDLE key, std::size_t size);
  BOOL End(HANDLE key);
  BOOL Close(HANDLE key);

  // --- the same on the one port that most tests have
  void OpenAndStart();
  BOOL Write(const ByteString& bytes) { return Write(key, bytes); }
  BOOL End() { return End(key); }
  // Starts, writes the whole stream in one buffer, ends, closes.
  void Print(const ByteString& stream);

  // --- what the printer answers to the next status requests, in the form of its model; ready when used up
 public:
  DoorTest& NextStatus(const StatusFields& fields);
  DoorTest& NextStatusBytes(const ByteString& bytes);
  DoorTest& NextStatusFails();

 protected:
  void SetFirmware(const ByteString& answer) { firmware_ = answer; }
  ByteString StatusOf(const StatusFields& fields) const;
  std::size_t StatusLength() const;
  // Every answer fails from now on, whatever is asked.
  void Disconnect() { disconnected_ = true; }
  void Reconnect() { disconnected_ = false; }

  // --- what happened
  std::vector<std::string> Wire() const;    // the story's writes and reads
  std::vector<std::string> Writes() const;  // every write in hexadecimal
  std::size_t CountOf(std::string_view line) const;
  bool StoryHas(std::string_view line) const { return CountOf(line) > 0; }

  Story story;
  RecordingHost host{&story};
  ScriptedPort port{&story};
  MONITOR2* monitor = nullptr;
  HANDLE key = nullptr;
  DWORD written = 0;
  DWORD read = 0;
  ByteString readBytes;
  std::wstring printerName;

 private:
  ScriptedPort::Answer Answer(std::size_t asked);

  std::uint32_t row_ = 2;
  bool disconnected_ = false;
  std::optional<ByteString> firmware_;
  std::deque<ScriptedPort::Answer> statusAnswers_;
  std::vector<HANDLE> openKeys_;
};

}  // namespace sc3xxmon::test
