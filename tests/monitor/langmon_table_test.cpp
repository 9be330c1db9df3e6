#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "monitor/langmon.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

// The table is one for the process: what a test opened is closed behind it.
class LangMonTableTest : public ::testing::Test {
 protected:
  ~LangMonTableTest() override {
    for (const PortKey key : keys) {
      CLangMon::RemoveLangMon(key);
    }
  }

  PortKey Add(const wchar_t* name) {
    PortKey key = 0;
    EXPECT_TRUE(CLangMon::AddLangMon(name, &key, false));
    keys.push_back(key);
    return key;
  }

  std::vector<PortKey> keys;
  test::TestHost host;
};

TEST_F(LangMonTableTest, AKeyLeadsToTheObjectOfItsPort) {
  const PortKey key = Add(L"USB001");
  EXPECT_NE(key, 0U);
  const auto monitor = CLangMon::FindLangMon(key);
  ASSERT_NE(monitor, nullptr);
  EXPECT_EQ(monitor->Name, L"USB001");
  EXPECT_EQ(CLangMon::FindLangMon(key), monitor);
}

TEST_F(LangMonTableTest, KeysCountUpByOneAndAreNeverReused) {
  const PortKey first = Add(L"USB001");
  EXPECT_TRUE(CLangMon::RemoveLangMon(first));
  const PortKey second = Add(L"USB001");
  EXPECT_EQ(second, first + 1);
  EXPECT_EQ(CLangMon::FindLangMon(first), nullptr);
}

TEST_F(LangMonTableTest, APortNameIsOpenOnlyOnceAndTheFirstEntryStays) {
  const PortKey first = Add(L"USB001");
  const auto monitor = CLangMon::FindLangMon(first);
  PortKey key = 99;
  EXPECT_FALSE(CLangMon::AddLangMon(L"USB001", &key, false));
  EXPECT_EQ(key, 99U);
  EXPECT_EQ(CLangMon::FindLangMon(first), monitor);
}

TEST_F(LangMonTableTest, AnExistingEntryIsGivenWhereThatIsAllowed) {
  const PortKey first = Add(L"USB001");
  PortKey key = 0;
  EXPECT_TRUE(CLangMon::AddLangMon(L"USB001", &key, true));
  EXPECT_EQ(key, first);
}

TEST_F(LangMonTableTest, ARefusedNameCostsNoKey) {
  const PortKey first = Add(L"USB001");
  PortKey key = 0;
  CLangMon::AddLangMon(L"USB001", &key, false);
  EXPECT_EQ(Add(L"USB002"), first + 1);
}

TEST_F(LangMonTableTest, NamesAreComparedExactly) {
  const std::set<PortKey> distinct = {Add(L"usb001"), Add(L"USB001"), Add(L"USB0011"), Add(L"USB00"), Add(L"USB001 ")};
  EXPECT_EQ(distinct.size(), 5U);
}

TEST_F(LangMonTableTest, ANullNameCountsAsTheEmptyOne) {
  const PortKey key = Add(nullptr);
  EXPECT_EQ(CLangMon::FindLangMon(key)->Name, L"");
  PortKey other = 0;
  EXPECT_FALSE(CLangMon::AddLangMon(L"", &other, false));
}

TEST_F(LangMonTableTest, AnUnknownKeyGivesNothing) {
  EXPECT_EQ(CLangMon::FindLangMon(0), nullptr);
  EXPECT_EQ(CLangMon::FindLangMon(0xFFFFFFFFFFFFFFFF), nullptr);
}

TEST_F(LangMonTableTest, RemovingAnUnknownKeyChangesNothing) {
  const PortKey key = Add(L"USB001");
  EXPECT_FALSE(CLangMon::RemoveLangMon(key + 1000));
  EXPECT_FALSE(CLangMon::RemoveLangMon(0));
  EXPECT_NE(CLangMon::FindLangMon(key), nullptr);
}

TEST_F(LangMonTableTest, AKeyIsRemovedOnce) {
  const PortKey key = Add(L"USB001");
  EXPECT_TRUE(CLangMon::RemoveLangMon(key));
  EXPECT_FALSE(CLangMon::RemoveLangMon(key));
}

TEST_F(LangMonTableTest, AReferenceKeepsTheObjectAliveBehindItsRemoval) {
  const PortKey key = Add(L"USB001");
  auto held = CLangMon::FindLangMon(key);
  const std::weak_ptr<CLangMon> watch = held;
  CLangMon::RemoveLangMon(key);
  EXPECT_FALSE(watch.expired());
  EXPECT_EQ(held->Name, L"USB001");
  held.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(LangMonTableTest, WithoutOtherReferencesRemovalEndsTheObject) {
  const PortKey key = Add(L"USB001");
  const std::weak_ptr<CLangMon> watch = CLangMon::FindLangMon(key);
  CLangMon::RemoveLangMon(key);
  EXPECT_TRUE(watch.expired());
}

TEST_F(LangMonTableTest, ManyPortsAreFoundEachByItsKey) {
  std::map<PortKey, std::wstring> expected;
  for (int i = 0; i < 200; ++i) {
    const std::wstring name = L"USB" + std::to_wstring(i);
    expected[Add(name.c_str())] = name;
  }
  EXPECT_EQ(expected.size(), 200U);
  for (const auto& [key, name] : expected) {
    EXPECT_EQ(CLangMon::FindLangMon(key)->Name, name);
  }
}

TEST_F(LangMonTableTest, ThreadsOpenAndClosePortsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<std::vector<PortKey>> given(4);
  for (std::size_t i = 0; i < given.size(); ++i) {
    threads.emplace_back([&own = given[i], i] {
      for (int n = 0; n < 200; ++n) {
        PortKey key = 0;
        if (CLangMon::AddLangMon((L"PORT" + std::to_wstring(i)).c_str(), &key, false) &&
            CLangMon::FindLangMon(key) != nullptr && CLangMon::RemoveLangMon(key)) {
          own.push_back(key);
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::set<PortKey> distinct;
  for (const auto& own : given) {
    EXPECT_EQ(own.size(), 200U);
    EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
    distinct.insert(own.begin(), own.end());
  }
  EXPECT_EQ(distinct.size(), 800U);
}

}  // namespace
}  // namespace sc3xxmon
