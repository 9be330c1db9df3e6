#include "platform/named_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/test_host.h"

namespace sc3xxmon::platform {
namespace {

using test::Bytes;
using test::TestHost;

class NamedValuesTest : public ::testing::Test {
 protected:
  TestHost host;
};

TEST_F(NamedValuesTest, AKeyThatDoesntExistCantBeOpened) {
  EXPECT_EQ(OpenKey(L"Software\\KOVA\\Nothing"), nullptr);
}

TEST_F(NamedValuesTest, AnOpenKeyAnswersForItsOwnValues) {
  host.SetNumber(L"A", L"X", 1);
  host.SetNumber(L"B", L"X", 2);
  HANDLE first = OpenKey(L"A");
  HANDLE second = OpenKey(L"B");
  ASSERT_NE(first, nullptr);
  DWORD number = 0;
  DWORD size = sizeof(number);
  EXPECT_EQ(QueryKeyValue(second, L"X", reinterpret_cast<LPBYTE>(&number), &size), 0);
  EXPECT_EQ(number, 2U);
  EXPECT_EQ(QueryKeyValue(first, L"X", reinterpret_cast<LPBYTE>(&number), &size), 0);
  EXPECT_EQ(number, 1U);
  CloseKey(first);
  CloseKey(second);
}

TEST_F(NamedValuesTest, AKeyKeepsItsPathAsItWasOpened) {
  host.SetNumber(L"A", L"X", 1);
  std::wstring path = L"A";
  HANDLE key = OpenKey(path.c_str());
  path = L"another key";
  DWORD size = 0;
  EXPECT_EQ(QueryKeyValue(key, L"X", nullptr, &size), 0);
  EXPECT_EQ(size, 4U);
  CloseKey(key);
}

TEST_F(NamedValuesTest, TheHostsAnswersArePassedOn) {
  host.SetBytes(L"A", L"X", Bytes("01 02 03 04 05 06"));
  HANDLE key = OpenKey(L"A");
  BYTE buffer[4] = {9, 9, 9, 9};
  DWORD size = sizeof(buffer);
  EXPECT_EQ(QueryKeyValue(key, L"X", buffer, &size), static_cast<LONG>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 6U);
  EXPECT_EQ(buffer[0], 9);
  EXPECT_EQ(QueryKeyValue(key, L"Y", buffer, &size), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  CloseKey(key);
}

}  // namespace
}  // namespace sc3xxmon::platform
