// Port monitors as modules of their own: the file name of the module that holds a port's functions decides, with the
// port's name, whether the port is USB or LAN.
#include "support/library_test.h"
#include "support/port_monitor.h"

namespace sc3xxmon::test {
namespace {

struct Row {
  const wchar_t* fileName;
  const wchar_t* portName;
  int isUsb;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << std::string(row.fileName, row.fileName + wcslen(row.fileName)) << " "
       << std::string(row.portName, row.portName + wcslen(row.portName));
}

// The port monitor beside this program, under another name in a folder of its own.
class PortMonitorFile {
 public:
  explicit PortMonitorFile(const std::wstring& fileName) {
    wchar_t temporary[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temporary);
    folder_ = std::wstring(temporary) + L"sc3xxmon-ports-" + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(folder_.c_str(), nullptr);
    file_ = folder_ + L"\\" + fileName;
    CopyFileW((ProgramFolder() + L"\\port_monitor.dll").c_str(), file_.c_str(), FALSE);
    module_ = LoadLibraryW(file_.c_str());
  }
  ~PortMonitorFile() {
    FreeLibrary(module_);
    DeleteFileW(file_.c_str());
    RemoveDirectoryW(folder_.c_str());
  }
  PortMonitorFile(const PortMonitorFile&) = delete;
  PortMonitorFile& operator=(const PortMonitorFile&) = delete;

  MONITOR2* Table() const { return Function<PortMonitorTableFunction>("PortMonitorTable")(); }
  ByteString Written() const {
    std::size_t count = 0;
    const BYTE* bytes = Function<PortMonitorWrittenFunction>("PortMonitorWritten")(&count);
    return {bytes, bytes + count};
  }

 private:
  template <class Type>
  Type Function(const char* name) const {
    return reinterpret_cast<Type>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  std::wstring folder_;
  std::wstring file_;
  HMODULE module_ = nullptr;
};

class PortMonitorsTest : public LibraryTest, public ::testing::WithParamInterface<Row> {};

TEST_P(PortMonitorsTest, DecideByTheirFileNamesAndThePorts) {
  const PortMonitorFile below(GetParam().fileName);
  Load();
  HANDLE handle = Open(below.Table(), GetParam().portName);
  ASSERT_NE(handle, nullptr);
  const std::wstring portName = GetParam().portName;
  const std::string text(portName.begin(), portName.end());
  const std::string printerText(printer.begin(), printer.end());
  EXPECT_TRUE(debugger.Has("SCMon_OpenPortEx: port=" + text + "; printer=" + printerText +
                           ", isUsb=" + std::to_string(GetParam().isUsb)));
  EXPECT_TRUE(monitor->pfnClosePort(handle));
}

INSTANTIATE_TEST_SUITE_P(Rows, PortMonitorsTest,
                         ::testing::Values(Row{L"kovausbmon.dll", L"IP_10.0.0.5", 1},
                                           Row{L"KovaUsbMon.dll", L"USB001", 1}, Row{L"tcpmon.dll", L"USB001", 0},
                                           Row{L"MyTcpMon.dll", L"IP_10.0.0.5", 0}, Row{L"usbtcp.dll", L"usb001", 1},
                                           Row{L"usbtcp.dll", L"CLIENT:3", 1}, Row{L"usbtcp.dll", L"IP_10.0.0.5", 0},
                                           Row{L"othermon.dll", L"USB001", 1}, Row{L"othermon.dll", L"client:3", 1},
                                           Row{L"othermon.dll", L"MYUSB", 0}, Row{L"othermon.dll", L"IP_10.0.0.5", 0}));

class PortMonitorTest : public LibraryTest {};

TEST_F(PortMonitorTest, AJobGoesThroughToTheModule) {
  const PortMonitorFile below(L"kovausbmon.dll");
  Load();
  spooler.jobs[kJobId].driverName = L"KOVA Scrivelo 310 Swift";
  HANDLE handle = Open(below.Table());
  ASSERT_TRUE(Start(handle));
  EXPECT_TRUE(Write(handle, Joined({JobStart(), Label(1), EndOfJob()})));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  EXPECT_TRUE(monitor->pfnClosePort(handle));
  const std::string wire = Hex(below.Written());
  for (const ByteString& part : {JobStart(), Label(1), EndOfJob()}) {
    EXPECT_NE(wire.find(Hex(part)), std::string::npos) << Hex(part) << " in " << wire;
  }
  EXPECT_EQ(spooler.jobs[kJobId].pagesPrinted, 1u);
}

}  // namespace
}  // namespace sc3xxmon::test
