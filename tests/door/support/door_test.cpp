#include "support/door_test.h"

#include <algorithm>

#include "support/printer_names.h"

namespace sc3xxmon::test {
namespace {

std::wstring PrinterNameOfThisTest() {
  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  return PrinterNameFor("door " + std::string(test->test_suite_name()) + "." + test->name());
}

}  // namespace

const std::vector<DoorModel>& DoorModels() {
  static const std::vector<DoorModel> models{
      {1, L"KOVA Scrivelo 310", true, false, false, false},
      {2, L"KOVA Scrivelo 310 Swift", false, false, false, false},
      {3, L"KOVA Scrivelo 3WD", false, false, false, false},
      {4, L"KOVA Scrivelo 310 Dual Swift", false, true, false, true},
      {5, L"KOVA Scrivelo 310 Plus", false, false, false, true},
      {6, L"KOVA Scrivelo 310 Dual Plus", false, true, false, true},
      {7, L"KOVA Scrivelo 3WD Plus", false, false, false, true},
      {8, L"KOVA Ribbonet Office 410", false, false, true, false},
      {9, L"KOVA Ribbonet Office 430", false, false, true, false},
  };
  return models;
}

const DoorModel& ModelOfRow(std::uint32_t row) {
  return DoorModels().at(row - 1);
}

std::string Wrote(const ByteString& bytes) {
  return "write " + Brief(bytes);
}

std::string Wrote(std::string_view hex) {
  return Wrote(Bytes(hex));
}

std::string Took(std::size_t count) {
  return "read " + std::to_string(count);
}

ByteString Document(std::uint16_t labels) {
  ByteString stream = JobStart();
  for (std::uint16_t index = 1; index <= labels; ++index) {
    stream = Joined({stream, Label(index)});
  }
  return Joined({stream, EndOfJob()});
}

DoorTest::DoorTest() : printerName(PrinterNameOfThisTest()) {
  port.setLastError = [this](DWORD code) { host.lastError = code; };
  port.responder = [this](std::size_t asked) { return Answer(asked); };
  host.SetNumber(RecordingHost::kDebug, L"DebugLevel", 1);
  UseModel(2);
  LoadMonitor();
}

DoorTest::~DoorTest() {
  const std::vector<HANDLE> keys = openKeys_;
  for (HANDLE open : keys) {
    End(open);
    Close(open);
  }
  // The log stays off until the next test wants it.
  host.ForgetValues();
  LoadMonitor();
}

void DoorTest::LoadMonitor() {
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = TRUE;
  HANDLE handle = &init;
  monitor = InitializePrintMonitor2(&init, &handle);
  ASSERT_NE(monitor, nullptr);
}

void DoorTest::SetOption(const std::wstring& name, std::uint32_t number) {
  host.SetNumber(RecordingHost::kOptions, name, number);
  LoadMonitor();
}

void DoorTest::UseModel(std::uint32_t row) {
  row_ = row;
  host.jobs[kJobId].driverName = ModelOfRow(row).driverName;
}

HANDLE DoorTest::Open(const std::wstring& portName) {
  MONITOR2 table = port.Table();
  return Open(portName, &table);
}

HANDLE DoorTest::Open(const std::wstring& portName, MONITOR2* table) {
  std::wstring name = portName;
  HANDLE handle = nullptr;
  if (monitor->pfnOpenPortEx(nullptr, &port, name.data(), printerName.data(), &handle, table) == 0) {
    return nullptr;
  }
  openKeys_.push_back(handle);
  return handle;
}

BOOL DoorTest::Start(HANDLE open, DWORD jobId, DWORD level) {
  return Start(open, printerName.c_str(), jobId, level, true);
}

BOOL DoorTest::Start(HANDLE open, const wchar_t* printer, DWORD jobId, DWORD level, bool withDocInfo) {
  std::wstring name = printer != nullptr ? printer : L"";
  DOC_INFO_1W info{};
  return monitor->pfnStartDocPort(open, printer != nullptr ? name.data() : nullptr, jobId, level,
                                  withDocInfo ? reinterpret_cast<LPBYTE>(&info) : nullptr);
}

BOOL DoorTest::Write(HANDLE open, const ByteString& bytes) {
  ByteString buffer = bytes;
  return monitor->pfnWritePort(open, buffer.data(), static_cast<DWORD>(buffer.size()), &written);
}

BOOL DoorTest::Read(HANDLE open, std::size_t size) {
  readBytes.assign(size, 0xEE);
  return monitor->pfnReadPort(open, readBytes.data(), static_cast<DWORD>(size), &read);
}

BOOL DoorTest::End(HANDLE open) {
  return monitor->pfnEndDocPort(open);
}

BOOL DoorTest::Close(HANDLE open) {
  std::erase(openKeys_, open);
  return monitor->pfnClosePort(open);
}

void DoorTest::OpenAndStart() {
  key = Open();
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(Start(key), TRUE);
}

void DoorTest::Print(const ByteString& stream) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(stream), TRUE);
  EXPECT_EQ(written, stream.size());
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(Close(key), TRUE);
}

ByteString DoorTest::StatusOf(const StatusFields& fields) const {
  const DoorModel& model = ModelOfRow(row_);
  if (model.dualRoll) {
    return DualRollStatus(fields);
  }
  return model.tape ? EscSStatus(fields) : PlainStatus(fields);
}

std::size_t DoorTest::StatusLength() const {
  return ModelOfRow(row_).dualRoll ? 70 : 32;
}

DoorTest& DoorTest::NextStatus(const StatusFields& fields) {
  return NextStatusBytes(StatusOf(fields));
}

DoorTest& DoorTest::NextStatusBytes(const ByteString& bytes) {
  statusAnswers_.push_back({bytes, false});
  return *this;
}

DoorTest& DoorTest::NextStatusFails() {
  statusAnswers_.push_back({{}, true});
  return *this;
}

ScriptedPort::Answer DoorTest::Answer(std::size_t asked) {
  constexpr std::size_t kFirmwareLength = 34;
  if (disconnected_) {
    return {{}, true};
  }
  if (asked == kFirmwareLength) {
    return {firmware_.value_or(ByteString(kFirmwareLength, 0))};
  }
  if (statusAnswers_.empty()) {
    return {asked == 70 ? DualRollStatus() : StatusOf({})};
  }
  ScriptedPort::Answer answer = std::move(statusAnswers_.front());
  statusAnswers_.pop_front();
  return answer;
}

std::vector<std::string> DoorTest::Wire() const {
  std::vector<std::string> lines;
  std::copy_if(story.begin(), story.end(), std::back_inserter(lines),
               [](const std::string& line) { return line.starts_with("write ") || line.starts_with("read "); });
  return lines;
}

std::vector<std::string> DoorTest::Writes() const {
  std::vector<std::string> lines;
  std::transform(port.writes.begin(), port.writes.end(), std::back_inserter(lines), Hex);
  return lines;
}

std::size_t DoorTest::CountOf(std::string_view line) const {
  return static_cast<std::size_t>(std::count(story.begin(), story.end(), line));
}

}  // namespace sc3xxmon::test
