#include "monitor/registry_key.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/bytes.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::TestHost;
using ::testing::IsEmpty;

constexpr wchar_t kKey[] = L"Software\\KOVA\\Test";

// Wide characters as a registry keeps them, without a terminator.
ByteString Raw(const std::wstring& text) {
  ByteString bytes(text.size() * sizeof(wchar_t));
  std::memcpy(bytes.data(), text.data(), bytes.size());
  return bytes;
}

class RegistryKeyTest : public ::testing::Test {
 protected:
  RegistryKeyTest() { TestHost::SetDebugLevel(1); }

  TestHost host;
};

TEST_F(RegistryKeyTest, AKeyThatDoesntExistIsAKeyWithoutValues) {
  const RegistryKey key(kKey);
  EXPECT_EQ(key.ReadDword(L"Number", 42), 42U);
  EXPECT_EQ(key.ReadString(L"Text"), L"");
  EXPECT_THAT(host.queriedValues, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(RegistryKeyTest, AnEmptyPathOpensNothing) {
  host.SetNumber(L"", L"Number", 1);
  EXPECT_EQ(RegistryKey(L"").ReadDword(L"Number", 42), 42U);
}

TEST_F(RegistryKeyTest, ANumberIsFourLittleEndianBytes) {
  host.SetBytes(kKey, L"Number", Bytes("78 56 34 12"));
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 42), 0x12345678U);
}

TEST_F(RegistryKeyTest, AMissingNumberIsTheDefault) {
  host.SetNumber(kKey, L"Other", 1);
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 42), 42U);
}

TEST_F(RegistryKeyTest, AValueOfMoreThanFourBytesIsTheDefault) {
  host.SetBytes(kKey, L"Number", Bytes("01 00 00 00 00"));
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 42), 42U);
}

TEST_F(RegistryKeyTest, AShorterValueLandsInTheLowBytesOfTheDefault) {
  host.SetBytes(kKey, L"Number", Bytes("FF"));
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 0x11223344), 0x112233FFU);
  host.SetBytes(kKey, L"Number", {});
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 0x11223344), 0x11223344U);
}

TEST_F(RegistryKeyTest, TheTypeOfAValueIsntLookedAt) {
  host.SetBytes(kKey, L"Number", Raw(L"A"));
  EXPECT_EQ(RegistryKey(kKey).ReadDword(L"Number", 42), static_cast<std::uint32_t>(L'A'));
}

TEST_F(RegistryKeyTest, ATextEndsAtItsTerminator) {
  host.SetText(kKey, L"Text", L"IP_10.0.0.5");
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"IP_10.0.0.5");
  host.SetBytes(kKey, L"Text", Raw(std::wstring(L"first\0second\0", 13)));
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"first");
}

TEST_F(RegistryKeyTest, ATextWithoutATerminatorEndsWithItsData) {
  host.SetBytes(kKey, L"Text", Raw(L"label-printer"));
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"label-printer");
}

TEST_F(RegistryKeyTest, ATextThatEndsInTheMiddleOfACharacterIsStillRead) {
  ByteString bytes = Raw(L"abc");
  bytes.pop_back();
  host.SetBytes(kKey, L"Text", bytes);
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"abc");
}

TEST_F(RegistryKeyTest, ATextOfNoBytesIsEmpty) {
  host.SetBytes(kKey, L"Text", {});
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"");
}

TEST_F(RegistryKeyTest, AMissingTextIsEmpty) {
  host.SetNumber(kKey, L"Other", 1);
  EXPECT_EQ(RegistryKey(kKey).ReadString(L"Text"), L"");
}

TEST_F(RegistryKeyTest, AClosedKeyHasNoValuesAndCanBeClosedAgain) {
  host.SetNumber(kKey, L"Number", 1);
  host.SetText(kKey, L"Text", L"text");
  RegistryKey key(kKey);
  key.Close();
  key.Close();
  EXPECT_EQ(key.ReadDword(L"Number", 42), 42U);
  EXPECT_EQ(key.ReadString(L"Text"), L"");
}

TEST_F(RegistryKeyTest, ReadingOnceNeedsNoKeyOfOnesOwn) {
  host.SetNumber(kKey, L"Number", 7);
  host.SetText(kKey, L"Text", L"text");
  EXPECT_EQ(ReadDwordOnce(kKey, L"Number", 42), 7U);
  EXPECT_EQ(ReadDwordOnce(L"Software\\KOVA\\None", L"Number", 42), 42U);
  EXPECT_EQ(ReadStringOnce(kKey, L"Text"), L"text");
  EXPECT_EQ(ReadStringOnce(L"Software\\KOVA\\None", L"Text"), L"");
}

// Values that change between the two questions of a text, as another program may change them.
TEST(RegistryTextTest, ATextThatCantBeReadAfterItsSizeWasGivenIsEmpty) {
  struct Script {
    LONG sizeResult = 0;
    DWORD size = 8;
    LONG readResult = 0;
  } script;
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.context = &script;
  host.QueryValue = [](void* context, LPCWSTR, LPCWSTR name, LPBYTE data, LPDWORD size) {
    const auto* self = static_cast<Script*>(context);
    if (name == nullptr) {
      return LONG{0};
    }
    if (data == nullptr) {
      *size = self->size;
      return self->sizeResult;
    }
    const wchar_t text[] = L"x";
    std::memcpy(data, text, sizeof(text));
    return self->readResult;
  };
  Sc3xxSetHost(&host);
  EXPECT_EQ(ReadStringOnce(kKey, L"Text"), L"x");
  script.sizeResult = 234;  // some systems answer the question for the size so
  EXPECT_EQ(ReadStringOnce(kKey, L"Text"), L"x");
  script.sizeResult = 5;
  EXPECT_EQ(ReadStringOnce(kKey, L"Text"), L"");
  script.sizeResult = 0;
  script.readResult = 234;
  EXPECT_EQ(ReadStringOnce(kKey, L"Text"), L"");
  Sc3xxSetHost(nullptr);
}

}  // namespace
}  // namespace sc3xxmon
