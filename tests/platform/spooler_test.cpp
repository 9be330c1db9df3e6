#include "platform/spooler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "sc3xxmon/host.h"

#include "platform/last_error.h"

namespace sc3xxmon::platform {
namespace {

// What the host's function was called with.
struct Call {
  void* context = nullptr;
  HANDLE printer = nullptr;
  std::wstring name = {};
  void* defaults = nullptr;
  DWORD jobId = 0;
  DWORD level = 0;
  LPBYTE job = nullptr;
  DWORD size = 0;
  DWORD command = 0;
};
std::optional<Call> lastCall;

class SpoolerTest : public ::testing::Test {
 protected:
  SpoolerTest() {
    lastCall.reset();
    Sc3xxHost host{};
    host.size = sizeof(host);
    host.context = this;
    host.OpenPrinterW = [](void* context, LPWSTR name, HANDLE* opened, void* defaults) {
      lastCall = Call{.context = context, .name = name, .defaults = defaults};
      *opened = context;
      return BOOL{2};
    };
    host.GetJobW = [](void* context, HANDLE handle, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD bytes) {
      lastCall = Call{.context = context, .printer = handle, .jobId = jobId, .level = level, .job = job, .size = size};
      *bytes = 77;
      return BOOL{3};
    };
    host.SetJobW = [](void* context, HANDLE handle, DWORD jobId, DWORD level, LPBYTE job, DWORD command) {
      lastCall =
          Call{.context = context, .printer = handle, .jobId = jobId, .level = level, .job = job, .command = command};
      return BOOL{4};
    };
    host.ClosePrinter = [](void* context, HANDLE handle) {
      lastCall = Call{.context = context, .printer = handle};
      return BOOL{5};
    };
    Sc3xxSetHost(&host);
  }
  ~SpoolerTest() override { Sc3xxSetHost(nullptr); }

  HANDLE printer = this;
  BYTE buffer[16] = {};
  DWORD needed = 0;
};

TEST_F(SpoolerTest, OpenPrinterGoesToTheHostWithoutDefaults) {
  wchar_t name[] = L"Labels";
  HANDLE opened = nullptr;
  EXPECT_EQ(SpoolerOpenPrinter(name, &opened), 2);
  EXPECT_EQ(opened, this);
  EXPECT_EQ(lastCall->name, L"Labels");
  EXPECT_EQ(lastCall->context, this);
  EXPECT_EQ(lastCall->defaults, nullptr);
}

TEST_F(SpoolerTest, GetJobGoesToTheHost) {
  EXPECT_EQ(SpoolerGetJob(printer, 7, 2, buffer, 16, &needed), 3);
  EXPECT_EQ(needed, 77U);
  EXPECT_EQ(lastCall->printer, printer);
  EXPECT_EQ(lastCall->jobId, 7U);
  EXPECT_EQ(lastCall->level, 2U);
  EXPECT_EQ(lastCall->job, buffer);
  EXPECT_EQ(lastCall->size, 16U);
}

TEST_F(SpoolerTest, SetJobGoesToTheHost) {
  EXPECT_EQ(SpoolerSetJob(printer, 7, 1, buffer, 5), 4);
  EXPECT_EQ(lastCall->jobId, 7U);
  EXPECT_EQ(lastCall->level, 1U);
  EXPECT_EQ(lastCall->job, buffer);
  EXPECT_EQ(lastCall->command, 5U);
}

TEST_F(SpoolerTest, ClosePrinterGoesToTheHost) {
  EXPECT_EQ(SpoolerClosePrinter(printer), 5);
  EXPECT_EQ(lastCall->printer, printer);
}

TEST_F(SpoolerTest, WithoutAHostEveryCallIsNotSupported) {
  Sc3xxSetHost(nullptr);
  const auto fails = [](BOOL result) {
    const bool failed = result == 0 && LastError() == ERROR_NOT_SUPPORTED;
    SetLastErrorCode(0);
    return failed;
  };
  HANDLE opened = nullptr;
  SetLastErrorCode(0);
  EXPECT_TRUE(fails(SpoolerOpenPrinter(nullptr, &opened)));
  EXPECT_TRUE(fails(SpoolerGetJob(printer, 7, 1, nullptr, 0, &needed)));
  EXPECT_TRUE(fails(SpoolerSetJob(printer, 7, 0, nullptr, 2)));
  EXPECT_TRUE(fails(SpoolerClosePrinter(printer)));
  EXPECT_EQ(opened, nullptr);
}

}  // namespace
}  // namespace sc3xxmon::platform
