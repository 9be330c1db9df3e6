#include "platform/named_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "support/child_process.h"
#include "support/test_host.h"

namespace sc3xxmon::platform {
namespace {

using test::ChildProcess;
using test::ProcessChannel;

// Closes the handle at its end.
class Event {
 public:
  explicit Event(const std::wstring& name) : handle_(CreateNamedEvent(name)) {}
  ~Event() { Close(); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  bool IsOpen() const { return handle_ != nullptr; }
  bool Take(std::uint32_t timeoutMs = 0) const { return WaitForNamedEvent(handle_, timeoutMs); }
  void Signal() const { SignalNamedEvent(handle_); }
  void Close() {
    if (handle_ != nullptr) {
      CloseNamedEvent(handle_);
      handle_ = nullptr;
    }
  }

 private:
  HANDLE handle_;
};

// Another process that takes the event, says 'T' when it has it (or 'F'), and then does what it is told: 'S' signals,
// 'C' closes, 'E' ends; each is answered with 'D' when done.
void HoldEvent(const std::wstring& name, ProcessChannel& parent) {
  Event event(name);
  parent.Tell(event.Take() ? 'T' : 'F');
  for (char word = parent.Hear(); word != '\0' && word != 'E'; word = parent.Hear()) {
    if (word == 'S') {
      event.Signal();
    } else if (word == 'C') {
      event.Close();
    }
    parent.Tell('D');
  }
}

class NamedEventTest : public ::testing::Test {
 protected:
  std::wstring NameOf(const std::wstring& rest = L"") const { return L"Global\\KOVA.Sc3xxSync." + word.Text() + rest; }

  test::UniqueWord word;
  test::TestHost host;
  const std::wstring name = NameOf(L"Labels");
};

TEST_F(NamedEventTest, ANewEventIsFree) {
  const Event event(name);
  ASSERT_TRUE(event.IsOpen());
  EXPECT_TRUE(event.Take());
}

TEST_F(NamedEventTest, TakingAFreeEventTakesNoTime) {
  const Event event(name);
  EXPECT_TRUE(event.Take(5000));
  EXPECT_EQ(host.now, 1000U);
  EXPECT_TRUE(host.sleeps.empty());
}

TEST_F(NamedEventTest, ASecondHandleInTheSameProcessFindsItTaken) {
  const Event first(name);
  const Event second(name);
  EXPECT_TRUE(first.Take());
  EXPECT_FALSE(second.Take());
}

TEST_F(NamedEventTest, AWaiterGivesUpAfterItsTimeOnTheHostsClock) {
  const Event holder(name);
  const Event waiter(name);
  EXPECT_TRUE(holder.Take());
  EXPECT_FALSE(waiter.Take(5000));
  EXPECT_EQ(host.now, 1000U + 5000U);
}

TEST_F(NamedEventTest, AWaiterIsAdmittedWhenTheHolderSignals) {
  const Event holder(name);
  const Event waiter(name);
  EXPECT_TRUE(holder.Take());
  host.onSleep = [&](std::uint32_t) {
    if (host.now >= 1000 + 3000) {
      holder.Signal();
    }
  };
  EXPECT_TRUE(waiter.Take(5000));
  EXPECT_GE(host.now, 1000U + 3000U);
  EXPECT_LT(host.now, 1000U + 5000U);
}

TEST_F(NamedEventTest, ASignalInTheLastMomentStillCounts) {
  const Event holder(name);
  const Event waiter(name);
  EXPECT_TRUE(holder.Take());
  host.onSleep = [&](std::uint32_t milliseconds) {
    if (host.now + milliseconds >= 1000 + 5000) {
      holder.Signal();
    }
  };
  EXPECT_TRUE(waiter.Take(5000));
}

TEST_F(NamedEventTest, ASignalAdmitsOneWaiterOnly) {
  const Event first(name);
  const Event second(name);
  const Event third(name);
  EXPECT_TRUE(first.Take());
  first.Signal();
  EXPECT_TRUE(second.Take());
  EXPECT_FALSE(third.Take());
}

TEST_F(NamedEventTest, TwoSignalsAdmitOneWaiterToo) {
  const Event first(name);
  const Event second(name);
  const Event third(name);
  EXPECT_TRUE(first.Take());
  first.Signal();
  first.Signal();
  EXPECT_TRUE(second.Take());
  EXPECT_FALSE(third.Take());
}

TEST_F(NamedEventTest, TheSameHandleCanTakeItAgainOnceItWasSignalled) {
  const Event event(name);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(event.Take());
    event.Signal();
  }
}

TEST_F(NamedEventTest, AnybodyMaySignalWhoeverTookIt) {
  const Event holder(name);
  const Event stranger(name);
  const Event waiter(name);
  EXPECT_TRUE(holder.Take());
  stranger.Signal();
  EXPECT_TRUE(waiter.Take());
  EXPECT_FALSE(stranger.Take());
}

TEST_F(NamedEventTest, ASignalToAFreeEventLeavesItFreeForOne) {
  const Event event(name);
  event.Signal();
  const Event waiter(name);
  EXPECT_TRUE(event.Take());
  EXPECT_FALSE(waiter.Take());
}

TEST_F(NamedEventTest, OpeningItAgainDoesntFreeIt) {
  const Event holder(name);
  EXPECT_TRUE(holder.Take());
  for (int i = 0; i < 3; ++i) {
    const Event later(name);
    EXPECT_FALSE(later.Take());
  }
}

TEST_F(NamedEventTest, ASignalOutlivesAllHandles) {
  {
    const Event holder(name);
    EXPECT_TRUE(holder.Take());
    holder.Signal();
  }
  const Event next(name);
  EXPECT_TRUE(next.Take());
}

TEST_F(NamedEventTest, AHolderThatClosesWithoutASignalGivesItBack) {
  Event holder(name);
  const Event waiter(name);
  EXPECT_TRUE(holder.Take());
  holder.Close();
  EXPECT_TRUE(waiter.Take());
}

// A port overwrites a handle that a time-out left behind: the stale one keeps nobody out.
TEST_F(NamedEventTest, AHandleWhoseWaitTimedOutHoldsNothing) {
  const Event holder(name);
  const Event stale(name);
  EXPECT_TRUE(holder.Take());
  EXPECT_FALSE(stale.Take(100));
  holder.Signal();
  const Event next(name);
  EXPECT_TRUE(next.Take());
}

// ----------------------------------------------------------------------------------------------------------- names

TEST_F(NamedEventTest, TwoNamesAreTwoEvents) {
  const Event first(NameOf(L"one"));
  const Event second(NameOf(L"two"));
  EXPECT_TRUE(first.Take());
  EXPECT_TRUE(second.Take());
}

TEST_F(NamedEventTest, NamesWithEveryKindOfCharacterAreEventsOfTheirOwn) {
  const std::wstring names[] = {L"a/b",    L"a\\b",       L"a_b",     L"a%2Fb", L"a%b",          L"a b",
                                L"a.b",    L"A/B",        L"../a",    L"a\nb",  L"a:b",          L"\u00E4",
                                L"\u30E9", L"\U0001F5A8", L"a\u00FC", L"a|b*?", L"\\\\server\\p"};
  std::vector<std::unique_ptr<Event>> taken;
  for (const std::wstring& rest : names) {
    taken.push_back(std::make_unique<Event>(NameOf(rest)));
    ASSERT_TRUE(taken.back()->IsOpen());
    EXPECT_TRUE(taken.back()->Take()) << "another name stands for the same event";
    EXPECT_FALSE(Event(NameOf(rest)).Take());
  }
}

TEST_F(NamedEventTest, VeryLongNamesThatDifferInTheLastCharacterAreTwoEvents) {
  const std::wstring longName = NameOf(std::wstring(1000, L'x'));
  const Event first(longName + L"1");
  const Event second(longName + L"2");
  ASSERT_TRUE(first.IsOpen());
  EXPECT_TRUE(first.Take());
  EXPECT_TRUE(second.Take());
  EXPECT_FALSE(Event(longName + L"1").Take());
  EXPECT_FALSE(Event(longName + L"2").Take());
}

TEST_F(NamedEventTest, LongNamesOfEveryLengthWork) {
  for (std::size_t length = 100; length < 260; ++length) {
    const Event event(NameOf(std::wstring(length, L'\u30E9')));
    ASSERT_TRUE(event.IsOpen()) << length;
    EXPECT_TRUE(event.Take()) << length;
  }
}

// ------------------------------------------------------------------------------------------------- two processes

TEST_F(NamedEventTest, AnotherProcessFindsItTaken) {
  const Event event(name);
  EXPECT_TRUE(event.Take());
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  EXPECT_EQ(child.Channel().Hear(), 'F');
}

TEST_F(NamedEventTest, AnEventThatAnotherProcessHoldsIsWaitedForFiveSeconds) {
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  const Event event(name);
  EXPECT_FALSE(event.Take(5000));
  EXPECT_EQ(host.now, 1000U + 5000U);
}

TEST_F(NamedEventTest, AWaiterIsAdmittedWhenAnotherProcessSignals) {
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  const Event event(name);
  host.onSleep = [&](std::uint32_t) {
    if (host.sleeps.size() == 20) {
      child.Channel().Tell('S');
      ASSERT_EQ(child.Channel().Hear(), 'D');
    }
  };
  EXPECT_TRUE(event.Take(5000));
  EXPECT_EQ(host.sleeps.size(), 20U);
}

TEST_F(NamedEventTest, AHolderThatDiesGivesItBack) {
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  const Event event(name);
  EXPECT_FALSE(event.Take());
  host.onSleep = [&](std::uint32_t) {
    if (host.sleeps.size() == 20) {
      child.Kill();
    }
  };
  EXPECT_TRUE(event.Take(5000));
}

TEST_F(NamedEventTest, AfterAHolderDiedTheEventIsAnOrdinaryOneAgain) {
  {
    ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
    ASSERT_EQ(child.Channel().Hear(), 'T');
  }
  const Event first(name);
  const Event second(name);
  EXPECT_TRUE(first.Take());
  EXPECT_FALSE(second.Take());
  first.Signal();
  EXPECT_TRUE(second.Take());
}

TEST_F(NamedEventTest, ASignalFromAProcessThatDidntTakeItFreesIt) {
  const Event holder(name);
  EXPECT_TRUE(holder.Take());
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  ASSERT_EQ(child.Channel().Hear(), 'F');
  child.Channel().Tell('S');
  ASSERT_EQ(child.Channel().Hear(), 'D');
  const Event waiter(name);
  EXPECT_TRUE(waiter.Take());
}

TEST_F(NamedEventTest, AnAdmittedProcessKeepsTheOthersOutAlthoughAStrangerHadFreedIt) {
  const Event holder(name);
  EXPECT_TRUE(holder.Take());
  holder.Signal();
  ChildProcess child([this](ProcessChannel& parent) { HoldEvent(name, parent); });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  const Event waiter(name);
  EXPECT_FALSE(waiter.Take());
  EXPECT_FALSE(holder.Take());
  child.Channel().Tell('C');
  ASSERT_EQ(child.Channel().Hear(), 'D');
  EXPECT_TRUE(waiter.Take());
}

TEST_F(NamedEventTest, OfManyProcessesAtATimeOneIsInside) {
  const std::wstring counter = name;
  std::vector<std::unique_ptr<ChildProcess>> children;
  int admitted = 0;
  for (int i = 0; i < 8; ++i) {
    children.push_back(
        std::make_unique<ChildProcess>([&counter](ProcessChannel& parent) { HoldEvent(counter, parent); }));
  }
  for (const auto& child : children) {
    admitted += child->Channel().Hear() == 'T' ? 1 : 0;
  }
  EXPECT_EQ(admitted, 1);
}

}  // namespace
}  // namespace sc3xxmon::platform
