// What a printer on a network decides, on virtual time.
#include "apps/server/printer_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/printer_desk.h"

namespace sc3xx::test {
namespace {

using simulator::ClientId;
using simulator::test::Ask;
using simulator::test::AskFirmware;
using simulator::test::Bytes;
using simulator::test::EndOfJob;
using simulator::test::FaultOf;
using simulator::test::Index;
using simulator::test::JobStart;
using simulator::test::Label;
using simulator::test::OpenLabel;
using simulator::test::ShortFormFeed;
using simulator::test::operator+;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kRecordBytes = 32;
// At this speed a label of 300 lines, an inch, takes a second.
constexpr double kInchASecond = 25.4;

class PrinterServiceTest : public ::testing::Test {
 protected:
  PrinterService& Service() {
    if (!service_) {
      service_.emplace(settings, limits);
    }
    return *service_;
  }

  ClientId Admit() {
    const auto client = Service().Admit(now);
    EXPECT_TRUE(client.has_value());
    return client.value_or(simulator::kNobody);
  }

  // Sends as much as there is room for, and gives how much that was.
  std::size_t Send(ClientId client, const Bytes& bytes) {
    const std::size_t count = std::min(Service().Room(client), bytes.size());
    if (count > 0) {
      Service().Receive(client, std::span(bytes).first(count), now);
    }
    return count;
  }

  Bytes Take(ClientId client) {
    const auto outgoing = Service().Outgoing(client);
    Bytes bytes(outgoing.begin(), outgoing.end());
    Service().Sent(client, bytes.size(), now);
    return bytes;
  }

  int StatusAfter(ClientId client, std::uint8_t operand) {
    Send(client, Ask(operand));
    const Bytes answer = Take(client);
    return answer.size() == kRecordBytes ? answer[0] : -1;
  }

  void Pass(std::uint64_t milliseconds) {
    now += milliseconds;
    Service().Advance(now);
  }

  std::vector<int> PrintedIndexes() {
    std::vector<int> indexes;
    for (const auto& label : Service().Printer().Printed()) {
      indexes.push_back(label.index);
    }
    return indexes;
  }

  simulator::PrinterSettings settings;
  ServiceLimits limits;
  std::uint64_t now = 0;

 private:
  std::optional<PrinterService> service_;
};

TEST_F(PrinterServiceTest, EachClientGetsItsOwnAnswers) {
  const ClientId first = Admit();
  const ClientId second = Admit();
  Send(first, AskFirmware());
  Send(second, Ask(0));
  EXPECT_EQ(Take(first).size(), 34u);
  EXPECT_EQ(Take(second).size(), kRecordBytes);
}

TEST_F(PrinterServiceTest, TheLockDecidesWhichClientPrints) {
  const ClientId first = Admit();
  const ClientId second = Admit();
  EXPECT_EQ(StatusAfter(first, 1), 0);
  EXPECT_EQ(StatusAfter(second, 1), 4);
  Send(second, JobStart() + Label(7));
  EXPECT_EQ(StatusAfter(second, 2), 5);
  Send(first, JobStart() + Label(1) + EndOfJob());
  EXPECT_EQ(StatusAfter(second, 1), 0);
  Send(second, JobStart() + Label(7));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 7));
}

TEST_F(PrinterServiceTest, AClientThatLeavesGivesTheLockBack) {
  const ClientId first = Admit();
  const ClientId second = Admit();
  EXPECT_EQ(StatusAfter(first, 1), 0);
  EXPECT_EQ(StatusAfter(second, 1), 4);
  Service().Leave(first, now);
  EXPECT_EQ(StatusAfter(second, 1), 0);
}

TEST_F(PrinterServiceTest, RefusesClientsBeyondTheLimitUntilOneLeaves) {
  limits.clients = 2;
  const ClientId first = Admit();
  Admit();
  EXPECT_EQ(Service().Admit(now), std::nullopt);
  Service().Leave(first, now);
  EXPECT_NE(Service().Admit(now), std::nullopt);
}

TEST_F(PrinterServiceTest, AClientWaitsWhileThePrinterHasNoRoomAndGoesOnLater) {
  settings.millimetresPerSecond = kInchASecond;
  settings.receiveBufferBytes = 1000;
  limits.inputBytes = 500;
  const ClientId client = Admit();
  Send(client, JobStart());
  Bytes labels;
  for (std::uint16_t index = 1; index <= 3; ++index) {
    labels = std::move(labels) + Label(index, 300);
  }
  std::size_t sent = 0;
  while (const std::size_t count =
             Send(client, Bytes(labels.begin() + static_cast<std::ptrdiff_t>(sent), labels.end()))) {
    sent += count;
  }
  EXPECT_LT(sent, labels.size());
  EXPECT_EQ(Service().Room(client), 0u);
  Pass(1000);
  EXPECT_GT(Service().Room(client), 0u);
  for (int second = 0; second < 5; ++second) {
    while (sent < labels.size()) {
      const std::size_t count = Send(client, Bytes(labels.begin() + static_cast<std::ptrdiff_t>(sent), labels.end()));
      if (count == 0) {
        break;
      }
      sent += count;
    }
    Pass(1000);
  }
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(PrinterServiceTest, AClientThatNeverReadsItsAnswersIsHeldBackInTheEnd) {
  const ClientId client = Admit();
  constexpr std::size_t kFarTooMany = 1'000'000;
  std::size_t requests = 0;
  while (requests < kFarTooMany && Send(client, Ask(0)) == 3) {
    ++requests;
  }
  EXPECT_LT(requests, kFarTooMany);
  EXPECT_LE(Service().Outgoing(client).size(), limits.outgoingBytes);
  std::size_t answers = 0;
  for (Bytes taken = Take(client); !taken.empty(); taken = Take(client)) {
    answers += taken.size() / kRecordBytes;
    Service().Advance(now);
  }
  EXPECT_GE(answers, requests);
  EXPECT_GT(Service().Room(client), 0u);
}

TEST_F(PrinterServiceTest, AnswersThatWaitForPrintingAreDueWhenTheLabelIsOut) {
  settings.millimetresPerSecond = kInchASecond;
  const ClientId client = Admit();
  Send(client, JobStart() + Label(1, 300) + Ask(2));
  EXPECT_THAT(Take(client), IsEmpty());
  EXPECT_EQ(Service().NextEvent(), 1000u);
  Pass(999);
  EXPECT_THAT(Take(client), IsEmpty());
  Pass(1);
  EXPECT_EQ(Take(client).size(), kRecordBytes);
}

TEST_F(PrinterServiceTest, ALabelWithItsClientGoneIsPrintedWhenItCameWhole) {
  const ClientId client = Admit();
  Send(client, JobStart() + Label(1) + OpenLabel(2) + Index(3));
  Service().EndInput(client, now);
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kClose);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

TEST_F(PrinterServiceTest, AClientThatSendsNothingMoreStillGetsItsAnswers) {
  const ClientId client = Admit();
  Send(client, Ask(0));
  Service().EndInput(client, now);
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kNone);
  EXPECT_EQ(Take(client).size(), kRecordBytes);
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kClose);
}

TEST_F(PrinterServiceTest, InputThatWaitsIsPrintedAlsoAfterItsClientHasEnded) {
  settings.millimetresPerSecond = kInchASecond;
  settings.receiveBufferBytes = 100;
  const ClientId client = Admit();
  ASSERT_EQ(Send(client, JobStart() + Label(1, 300) + Label(2, 300) + Label(3, 300)), 6u + 3 * (300 * 8 + 18));
  Service().EndInput(client, now);
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kNone);
  Pass(1000);
  Pass(1000);
  Pass(1000);
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kClose);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(PrinterServiceTest, APowerCutResetsEverybodyAndRefusesNewcomersUntilItIsOver) {
  settings.faults = {FaultOf("power-off@label:2,for:5s")};
  const ClientId first = Admit();
  const ClientId second = Admit();
  Send(first, JobStart() + Label(1) + Label(2));
  EXPECT_FALSE(Service().PoweredOn());
  EXPECT_EQ(Service().EndOf(first), ServiceEnd::kReset);
  EXPECT_EQ(Service().EndOf(second), ServiceEnd::kReset);
  EXPECT_EQ(Service().Room(first), 0u);
  EXPECT_EQ(Service().Admit(now), std::nullopt);
  EXPECT_EQ(Service().NextEvent(), 5000u);
  Service().Leave(first, now);
  Service().Leave(second, now);
  Pass(5000);
  const ClientId third = Admit();
  EXPECT_EQ(StatusAfter(third, 1), 0);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PrinterServiceTest, APowerCutThatIsOverBeforeAnybodyLooksIsFeltAllTheSame) {
  settings.faults = {FaultOf("power-off@1s,for:1s")};
  const ClientId client = Admit();
  Pass(10'000);
  EXPECT_TRUE(Service().PoweredOn());
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kReset);
  EXPECT_NE(Service().Admit(now), std::nullopt);
}

TEST_F(PrinterServiceTest, AWriteThatFailsBreaksTheConnectionBehindTheBytesThatGotThrough) {
  const Bytes start = JobStart() + Label(1);
  settings.faults = {FaultOf("write-fails=" + std::to_string(start.size()) + "@call:1")};
  const ClientId client = Admit();
  Send(client, start + Label(2));
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kReset);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PrinterServiceTest, AReadThatFailsBreaksTheConnectionInPlaceOfTheAnswer) {
  settings.faults = {FaultOf("read-fails")};
  const ClientId client = Admit();
  Send(client, Ask(0));
  EXPECT_EQ(Service().EndOf(client), ServiceEnd::kReset);
  EXPECT_THAT(Take(client), IsEmpty());
}

TEST_F(PrinterServiceTest, ALateAnswerIsHeldForItsTime) {
  settings.faults = {FaultOf("late=2s@exchange:1")};
  const ClientId client = Admit();
  Send(client, Ask(0));
  EXPECT_THAT(Take(client), IsEmpty());
  EXPECT_EQ(Service().NextEvent(), 2000u);
  Pass(2000);
  EXPECT_EQ(Take(client).size(), kRecordBytes);
}

TEST_F(PrinterServiceTest, ALabelBeyondTheLimitIsDroppedAndCostsNoMemory) {
  settings.maxLabelBytes = 1000;
  const ClientId client = Admit();
  Send(client, JobStart() + Label(1, 10) + Label(2, 500) + Label(3, 10));
  EXPECT_GT(Service().Printer().Counts().malformed, 0u);
  for (const auto& label : Service().Printer().Printed()) {
    EXPECT_LE(label.raster.size(), 1000u);
    EXPECT_FALSE(label.index == 2) << "a label without its raster must not come out blank";
  }
  EXPECT_EQ(StatusAfter(client, 0), 0);
}

TEST_F(PrinterServiceTest, GarbageNeitherDisturbsOtherClientsNorGrowsWhatIsKept) {
  const ClientId noisy = Admit();
  const ClientId quiet = Admit();
  Bytes garbage(60'000);
  std::uint32_t state = 12345;
  for (int round = 0; round < 50; ++round) {
    for (std::uint8_t& byte : garbage) {
      state = state * 1664525u + 1013904223u;
      byte = static_cast<std::uint8_t>(state >> 24);
    }
    Send(noisy, garbage);
    Take(noisy);
    Service().Printer().TakeTranscript();
  }
  Service().Leave(noisy, now);
  EXPECT_EQ(StatusAfter(quiet, 1), 0);
  Send(quiet, JobStart() + Label(9));
  EXPECT_EQ(PrintedIndexes().back(), 9);
  EXPECT_LE(Service().Printer().Malformed().size(), 1000u);
}

TEST_F(PrinterServiceTest, AClientThatIsSilentForAnHourKeepsItsPlaceAndItsHalfLabel) {
  const ClientId silent = Admit();
  const ClientId other = Admit();
  settings.incompleteCommandTimeoutMs = 0;
  const Bytes label = Label(1);
  Send(silent, JobStart());
  Pass(3'600'000);
  EXPECT_EQ(Service().EndOf(silent), ServiceEnd::kNone);
  EXPECT_EQ(StatusAfter(other, 0), 4);
  Send(silent, label + Ask(2));
  EXPECT_EQ(Take(silent).size(), kRecordBytes);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PrinterServiceTest, SwitchedOffItPrintsWhatItHasAnsweredForAndDropsTheRest) {
  settings.millimetresPerSecond = kInchASecond;
  const ClientId client = Admit();
  Send(client, JobStart() + Label(1, 300) + Ask(0) + Label(2, 300) + OpenLabel(3) + Index(4));
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Service().SwitchOff(now);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  EXPECT_EQ(Service().Printer().Counts().labelsDropped, 3u);
  EXPECT_EQ(Service().Printer().Counts().labelsLost, 0u);
  EXPECT_EQ(Service().Clients(), 0u);
  EXPECT_TRUE(Service().Printer().Idle());
}

TEST_F(PrinterServiceTest, SwitchedOffWithoutLabelsInItsRollItLosesWhatItHadAnsweredForAndSaysSo) {
  settings.millimetresPerSecond = kInchASecond;
  settings.faults = {FaultOf("bay=2@500ms")};
  const ClientId client = Admit();
  Send(client, JobStart() + Label(1, 300) + Ask(0));
  Pass(600);
  Service().SwitchOff(now);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  EXPECT_EQ(Service().Printer().Counts().labelsLost, 1u);
}

}  // namespace
}  // namespace sc3xx::test
