#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "apps/ports/device_port.h"
#include "apps/spooler/last_error.h"

namespace sc3xx {
namespace {

using ::testing::HasSubstr;

using Bytes = std::vector<BYTE>;

// What a monitor does with a port table.
class OpenPort {
 public:
  explicit OpenPort(DevicePort& device) : below_(device.Below()) {
    std::wstring name = below_.name;
    opened = below_.table->pfnOpenPort(below_.monitorPort, name.data(), &handle_) != 0;
  }

  void SetTimeOuts(DWORD readMs, DWORD writeMs, DWORD intervalMs = 0) {
    COMMTIMEOUTS timeouts{intervalMs, 0, readMs, 0, writeMs};
    below_.table->pfnSetPortTimeOuts(handle_, &timeouts, 0);
  }

  bool StartDocument() {
    std::wstring printer = L"Labels";
    return below_.table->pfnStartDocPort(handle_, printer.data(), 1, 1, nullptr) != 0;
  }

  bool Write(const Bytes& bytes) {
    Bytes copy = bytes;
    return below_.table->pfnWritePort(handle_, copy.data(), static_cast<DWORD>(copy.size()), &moved) != 0;
  }

  // Gives what came, also of a read that failed.
  Bytes Read(DWORD size) {
    Bytes bytes(size);
    succeeded = below_.table->pfnReadPort(handle_, bytes.data(), size, &moved) != 0;
    bytes.resize(moved);
    return bytes;
  }

  void Close() { below_.table->pfnClosePort(handle_); }

  bool opened = false;
  bool succeeded = false;
  DWORD moved = 99;

 private:
  PortBelow below_;
  HANDLE handle_ = nullptr;
};

// A program that plays the printer on a Unix socket.
class ListeningPrinter {
 public:
  ListeningPrinter()
      : path_(std::filesystem::path(::testing::TempDir()) / ("sc3xx_port_" + std::to_string(getpid()) + ".sock")) {
    std::filesystem::remove(path_);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
    const void* const anyAddress = &address;
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener_, static_cast<const sockaddr*>(anyAddress), sizeof(address)), 0);
    EXPECT_EQ(listen(listener_, 4), 0);
  }
  ~ListeningPrinter() {
    HangUp();
    StopListening();
    std::filesystem::remove(path_);
  }

  std::string Path() const { return path_.string(); }
  void Accept() { peer_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC); }
  void Say(const Bytes& bytes) const {
    EXPECT_EQ(write(peer_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  Bytes Hear(std::size_t size) const {
    Bytes bytes(size);
    const ssize_t count = read(peer_, bytes.data(), size);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
  }
  void HangUp() {
    if (peer_ >= 0) {
      close(peer_);
      peer_ = -1;
    }
  }
  void StopListening() {
    if (listener_ >= 0) {
      close(listener_);
      listener_ = -1;
    }
  }

 private:
  std::filesystem::path path_;
  int listener_ = -1;
  int peer_ = -1;
};

class SocketPortTest : public ::testing::Test {
 protected:
  SocketPortTest() : device(printer.Path()), port(device) {
    printer.Accept();
    port.SetTimeOuts(5000, 5000);
  }

  ListeningPrinter printer;
  DevicePort device;
  OpenPort port;
};

TEST_F(SocketPortTest, CarriesBytesBothWays) {
  ASSERT_TRUE(port.opened) << device.LastTrouble();
  EXPECT_TRUE(port.StartDocument());
  EXPECT_TRUE(port.Write({0x1B, 0x41, 0x00}));
  EXPECT_EQ(port.moved, 3u);
  EXPECT_EQ(printer.Hear(3), (Bytes{0x1B, 0x41, 0x00}));
  printer.Say({1, 2, 3, 4});
  EXPECT_EQ(port.Read(4), (Bytes{1, 2, 3, 4}));
  EXPECT_TRUE(port.succeeded);
}

TEST_F(SocketPortTest, PortIsNamedAsAUsbPort) {
  EXPECT_EQ(device.Below().name.substr(0, 4), L"usb:");
}

TEST_F(SocketPortTest, AReadWaitsForAllItsBytesHoweverTheyArrive) {
  std::thread pieces([this] {
    printer.Say({1});
    printer.Say({2, 3});
    printer.Say({4});
  });
  EXPECT_EQ(port.Read(4), (Bytes{1, 2, 3, 4}));
  pieces.join();
}

TEST_F(SocketPortTest, AReadLeavesWhatItDidNotAskFor) {
  printer.Say({1, 2, 3});
  EXPECT_EQ(port.Read(2), (Bytes{1, 2}));
  EXPECT_EQ(port.Read(1), (Bytes{3}));
}

TEST_F(SocketPortTest, AReadWithoutAnAnswerTimesOut) {
  port.SetTimeOuts(5, 5000);
  EXPECT_TRUE(port.Read(32).empty());
  EXPECT_FALSE(port.succeeded);
  EXPECT_EQ(LastErrorCode(), ERROR_TIMEOUT);
  EXPECT_THAT(device.LastTrouble(), HasSubstr("answered 0 of 32 bytes"));
}

TEST_F(SocketPortTest, AReadThatTimesOutGivesWhatCame) {
  port.SetTimeOuts(5, 5000);
  printer.Say({7, 8});
  EXPECT_EQ(port.Read(32), (Bytes{7, 8}));
  EXPECT_TRUE(port.succeeded);
}

TEST_F(SocketPortTest, AnIntervalEndsAReadAfterSilence) {
  port.SetTimeOuts(600'000, 5000, 5);
  printer.Say({7, 8});
  EXPECT_EQ(port.Read(32), (Bytes{7, 8}));
  EXPECT_TRUE(port.succeeded);
}

TEST_F(SocketPortTest, APrinterThatTakesNothingMoreTimesTheWriteOut) {
  port.SetTimeOuts(5000, 20);
  const Bytes much(8u << 20);
  EXPECT_FALSE(port.Write(much));
  EXPECT_EQ(LastErrorCode(), ERROR_TIMEOUT);
  EXPECT_GT(port.moved, 0u);
  EXPECT_LT(port.moved, much.size());
}

TEST_F(SocketPortTest, APrinterThatWentAwayFailsTheReadAndEveryCallAfterIt) {
  printer.HangUp();
  EXPECT_TRUE(port.Read(32).empty());
  EXPECT_FALSE(port.succeeded);
  EXPECT_EQ(LastErrorCode(), kErrorBrokenPipe);
  EXPECT_FALSE(port.Write({1}));
  EXPECT_EQ(LastErrorCode(), kErrorDeviceNotConnected);
}

TEST_F(SocketPortTest, WritingToAPrinterThatWentAwayFailsWithoutASignal) {
  printer.HangUp();
  EXPECT_FALSE(port.Write({1, 2, 3}));
  EXPECT_EQ(LastErrorCode(), kErrorBrokenPipe);
  EXPECT_EQ(port.moved, 0u);
}

TEST_F(SocketPortTest, TheNextDocumentConnectsAgain) {
  printer.HangUp();
  port.Read(1);
  EXPECT_TRUE(port.StartDocument());
  printer.Accept();
  EXPECT_TRUE(port.Write({5}));
  EXPECT_EQ(printer.Hear(1), (Bytes{5}));
}

TEST_F(SocketPortTest, APrinterThatWentAwayBetweenTwoDocumentsIsConnectedToAgainAtTheStart) {
  printer.HangUp();
  EXPECT_TRUE(port.StartDocument());
  printer.Accept();
  EXPECT_TRUE(port.Write({5}));
  EXPECT_EQ(printer.Hear(1), (Bytes{5}));
}

TEST_F(SocketPortTest, TheNextDocumentFailsWhileThePrinterStaysAway) {
  printer.HangUp();
  printer.StopListening();
  port.Read(1);
  EXPECT_FALSE(port.StartDocument());
  EXPECT_EQ(LastErrorCode(), kErrorNotReady);
}

TEST_F(SocketPortTest, ALateAnswerIsNotTakenForTheNextDocumentsFirst) {
  printer.Say({9, 9, 9});
  EXPECT_TRUE(port.StartDocument());
  printer.Say({1});
  EXPECT_EQ(port.Read(1), (Bytes{1}));
}

TEST_F(SocketPortTest, IsClosedForGood) {
  port.Close();
  EXPECT_TRUE(printer.Hear(1).empty());
  EXPECT_FALSE(port.Write({1}));
}

TEST_F(SocketPortTest, SignalsDoNotShortenOrFailAWait) {
  struct sigaction ignoreBriefly {};
  ignoreBriefly.sa_handler = [](int) {};
  struct sigaction former {};
  sigaction(SIGALRM, &ignoreBriefly, &former);
  const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
  setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
  port.SetTimeOuts(30, 5000);
  const auto begin = std::chrono::steady_clock::now();
  port.Read(1);
  const auto took = std::chrono::steady_clock::now() - begin;
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &former, nullptr);
  EXPECT_EQ(LastErrorCode(), ERROR_TIMEOUT);
  EXPECT_GE(took, std::chrono::milliseconds(30));
}

TEST(DevicePortTest, ADeviceThatIsNotThereIsTold) {
  DevicePort device("/dev/usb/no-such-printer");
  OpenPort port(device);
  EXPECT_FALSE(port.opened);
  EXPECT_EQ(LastErrorCode(), ERROR_FILE_NOT_FOUND);
  EXPECT_THAT(device.LastTrouble(), HasSubstr("/dev/usb/no-such-printer: No such file"));
  EXPECT_THAT(device.LastTrouble(), HasSubstr("plugged in"));
}

TEST(DevicePortTest, APlainFileIsNoPrinter) {
  const std::filesystem::path path = std::filesystem::path(::testing::TempDir()) / "sc3xx_plain_file";
  std::ofstream(path) << "x";
  DevicePort device(path.string());
  EXPECT_FALSE(OpenPort(device).opened);
  EXPECT_THAT(device.LastTrouble(), HasSubstr("neither a printer's device file nor a socket"));
  std::filesystem::remove(path);
}

TEST(DevicePortTest, ASocketWithoutAProgramBehindItIsTold) {
  ListeningPrinter printer;
  printer.StopListening();
  DevicePort device(printer.Path());
  EXPECT_FALSE(OpenPort(device).opened);
  EXPECT_EQ(LastErrorCode(), kErrorNotReady);
  EXPECT_THAT(device.LastTrouble(), HasSubstr("program that plays the printer"));
}

TEST(DevicePortTest, ADeviceThatGivesEmptyReadsTimesOut) {
  DevicePort device("/dev/null");
  OpenPort port(device);
  ASSERT_TRUE(port.opened);
  port.SetTimeOuts(25, 25);
  EXPECT_TRUE(port.Read(4).empty());
  EXPECT_FALSE(port.succeeded);
  EXPECT_EQ(LastErrorCode(), ERROR_TIMEOUT);
  EXPECT_TRUE(port.Write({1, 2, 3}));
}

class LinePortTest : public ::testing::Test {
 protected:
  LinePortTest() {
    char name[256] = {};
    EXPECT_EQ(openpty(&printer, &line, name, nullptr, nullptr), 0);
    path = name;
  }
  ~LinePortTest() override {
    close(line);
    if (printer >= 0) {
      close(printer);
    }
  }

  int printer = -1;
  int line = -1;
  std::string path;
};

TEST_F(LinePortTest, ASerialLineTranslatesNothing) {
  DevicePort device(path);
  OpenPort port(device);
  ASSERT_TRUE(port.opened) << device.LastTrouble();
  port.SetTimeOuts(5000, 5000);
  const Bytes awkward = {0x0A, 0x0D, 0x03, 0x04, 0x1B, 0x11, 0x13, 0x7F, 0xFF, 0x00};
  EXPECT_TRUE(port.Write(awkward));
  Bytes heard(awkward.size());
  EXPECT_EQ(read(printer, heard.data(), heard.size()), static_cast<ssize_t>(heard.size()));
  EXPECT_EQ(heard, awkward);
  EXPECT_EQ(write(printer, awkward.data(), awkward.size()), static_cast<ssize_t>(awkward.size()));
  EXPECT_EQ(port.Read(static_cast<DWORD>(awkward.size())), awkward);
}

TEST_F(LinePortTest, AnUnpluggedDeviceFailsTheCallAndDoesNotHang) {
  DevicePort device(path);
  OpenPort port(device);
  ASSERT_TRUE(port.opened);
  port.SetTimeOuts(600'000, 600'000);
  close(printer);
  printer = -1;
  port.Read(4);
  EXPECT_FALSE(port.succeeded);
  EXPECT_NE(LastErrorCode(), ERROR_TIMEOUT);
  EXPECT_FALSE(port.Write({1}));
  EXPECT_EQ(LastErrorCode(), kErrorDeviceNotConnected);
}

TEST_F(LinePortTest, TheDescriptorIsNotHandedToOtherPrograms) {
  DevicePort device(path);
  OpenPort port(device);
  ASSERT_TRUE(port.opened);
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const int descriptor = std::stoi(entry.path().filename().string());
    if (std::filesystem::read_symlink(entry.path(), error) == path && descriptor != line) {
      EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
      ++found;
    }
  }
  EXPECT_EQ(found, 1);
}

}  // namespace
}  // namespace sc3xx
