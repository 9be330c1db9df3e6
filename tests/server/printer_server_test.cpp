// Printers behind real sockets on loopback.
#include "apps/server/printer_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <thread>

#include "server/tcp_client.h"
#include "simulator/printer_desk.h"

namespace sc3xx::test {
namespace {

using simulator::test::Ask;
using simulator::test::EndOfJob;
using simulator::test::FaultOf;
using simulator::test::JobStart;
using simulator::test::Label;
using simulator::test::operator+;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr std::size_t kRecordBytes = 32;
constexpr std::chrono::seconds kPatience(20);

std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator begin("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

// A server on a thread of its own, and what it told.
class RunningServer {
 public:
  RunningServer()
      : server_({[this](std::size_t, const PrinterNews& news) { Take(news); },
                 [this](std::size_t, const std::string& what) { Tell(what); },
                 {}}) {}
  ~RunningServer() { End(); }
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  ListenAddress Add(const simulator::PrinterSettings& settings = {}, const ServiceLimits& limits = {},
                    const std::string& host = "127.0.0.2") {
    return server_.Add(settings, {host, 0}, limits);
  }
  void Start() {
    thread_ = std::thread([this] { server_.Run(kPatience * 3); });
  }
  void End() {
    server_.Stop();
    if (thread_.joinable()) {
      thread_.join();
    }
  }

  bool AwaitLabels(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return labels_.size() >= count; });
  }
  bool AwaitTold(const std::string& words) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return told_.find(words) != std::string::npos; });
  }
  std::vector<int> Labels() {
    const std::lock_guard lock(mutex_);
    return labels_;
  }
  std::string Told() {
    const std::lock_guard lock(mutex_);
    return told_;
  }

 private:
  void Take(const PrinterNews& news) {
    const std::lock_guard lock(mutex_);
    for (const simulator::PrintedLabel& label : news.printed) {
      labels_.push_back(label.index);
    }
    for (const simulator::Exchange& exchange : news.exchanges) {
      told_ += exchange.kind + "\n";
    }
    changed_.notify_all();
  }
  void Tell(const std::string& what) {
    const std::lock_guard lock(mutex_);
    told_ += what + "\n";
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<int> labels_;
  std::string told_;
  PrinterServer server_;
  std::thread thread_;
};

TEST(PrinterServerTest, PrintsAJobAndAnswersBehindEachLabel) {
  RunningServer server;
  const ListenAddress address = server.Add();
  server.Start();
  const TcpClient client(address);
  ASSERT_TRUE(client.Send(JobStart() + Label(1) + Ask(2) + Label(2) + Ask(2) + EndOfJob()));
  EXPECT_THAT(client.Receive(2 * kRecordBytes), Not(IsEmpty()));
  server.End();
  EXPECT_THAT(server.Labels(), ElementsAre(1, 2));
}

TEST(PrinterServerTest, ALabelIsHandedOutBeforeItsAnswerLeaves) {
  RunningServer server;
  const ListenAddress address = server.Add();
  server.Start();
  const TcpClient client(address);
  for (std::uint16_t index = 1; index <= 50; ++index) {
    ASSERT_TRUE(client.Send(Label(index) + Ask(2)));
    ASSERT_THAT(client.Receive(kRecordBytes), Not(IsEmpty()));
    ASSERT_THAT(server.Labels(), SizeIs(index));
  }
}

TEST(PrinterServerTest, SeveralPrintersAreServedEachAtItsOwnAddress) {
  RunningServer server;
  simulator::PrinterSettings tape;
  tape.model = 8;
  const ListenAddress desktop = server.Add();
  const ListenAddress other = server.Add(tape, {}, "127.0.0.3");
  server.Start();
  const TcpClient first(desktop);
  const TcpClient second(other);
  ASSERT_TRUE(second.Send(Ask(0)));
  ASSERT_TRUE(first.Send(Ask(0)));
  const Bytes plain = first.Receive(kRecordBytes);
  const Bytes escapeS = second.Receive(kRecordBytes);
  ASSERT_THAT(plain, SizeIs(kRecordBytes));
  ASSERT_THAT(escapeS, SizeIs(kRecordBytes));
  EXPECT_EQ(plain[0], 0);
  EXPECT_EQ(escapeS[0], 0x1B);
}

TEST(PrinterServerTest, ListensOnIPv6) {
  RunningServer server;
  ListenAddress address;
  try {
    address = server.Add({}, {}, "::1");
  } catch (const ListenError& error) {
    GTEST_SKIP() << "no IPv6 here: " << error.what();
  }
  server.Start();
  const TcpClient client(address);
  ASSERT_TRUE(client.Send(Ask(0)));
  EXPECT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
}

TEST(PrinterServerTest, ClientsBeyondTheLimitAreClosedInOrderAndOthersGoOn) {
  RunningServer server;
  ServiceLimits limits;
  limits.clients = 1;
  const ListenAddress address = server.Add({}, limits);
  server.Start();
  const TcpClient first(address);
  ASSERT_TRUE(first.Send(Ask(0)));
  ASSERT_THAT(first.Receive(kRecordBytes), SizeIs(kRecordBytes));
  const TcpClient second(address);
  EXPECT_EQ(second.Next(), Arrival::kClosed);
  EXPECT_TRUE(server.AwaitTold("clients are refused"));
  ASSERT_TRUE(first.Send(Ask(0)));
  EXPECT_THAT(first.Receive(kRecordBytes), SizeIs(kRecordBytes));
}

TEST(PrinterServerTest, AClientThatHasSentAllGetsItsAnswerAndThenTheEnd) {
  RunningServer server;
  const ListenAddress address = server.Add();
  server.Start();
  const TcpClient client(address);
  ASSERT_TRUE(client.Send(Ask(0)));
  client.EndOutput();
  EXPECT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
  EXPECT_EQ(client.Next(), Arrival::kClosed);
}

TEST(PrinterServerTest, APowerCutResetsConnectionsAndNobodyCanConnectUntilThePowerIsBack) {
  RunningServer server;
  simulator::PrinterSettings settings;
  settings.faults = {FaultOf("power-off@label:2,for:300ms")};
  const ListenAddress address = server.Add(settings);
  server.Start();
  const TcpClient idle(address);
  ASSERT_TRUE(idle.Send(Ask(0)));
  ASSERT_THAT(idle.Receive(kRecordBytes), SizeIs(kRecordBytes));
  const TcpClient client(address);
  ASSERT_TRUE(client.Send(JobStart() + Label(1) + Label(2)));
  EXPECT_EQ(client.Next(), Arrival::kReset);
  EXPECT_EQ(idle.Next(), Arrival::kReset);
  EXPECT_TRUE(TcpClient::IsRefused(address));
  ASSERT_TRUE(server.AwaitTold("fault ends"));
  while (TcpClient::IsRefused(address)) {
    std::this_thread::yield();
  }
  const TcpClient again(address);
  ASSERT_TRUE(again.Send(JobStart() + Label(2) + Ask(2)));
  EXPECT_THAT(again.Receive(kRecordBytes), SizeIs(kRecordBytes));
  EXPECT_THAT(server.Labels(), ElementsAre(1, 2));
}

TEST(PrinterServerTest, AFullPrinterHoldsItsClientBackAndPrintsAllOfItInTheEnd) {
  RunningServer server;
  simulator::PrinterSettings settings;
  settings.millimetresPerSecond = 1000;
  settings.receiveBufferBytes = 20'000;
  settings.faults = {FaultOf("bay=2,for:500ms")};  // meanwhile nothing is printed
  const ListenAddress address = server.Add(settings);
  server.Start();
  const TcpClient client(address);
  Bytes job = JobStart();
  constexpr std::uint16_t kLabels = 1000;
  constexpr std::uint32_t kLines = 2000;  // 16 KB
  for (std::uint16_t index = 1; index <= kLabels; ++index) {
    job = std::move(job) + Label(index, index <= 5 ? kLines : 1);
  }
  ASSERT_TRUE(client.Send(job + Ask(2)));
  EXPECT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
  EXPECT_TRUE(server.AwaitLabels(kLabels));
}

TEST(PrinterServerTest, AStoppedPrinterTakesNoMoreThanItHasRoomFor) {
  RunningServer server;
  simulator::PrinterSettings settings;
  settings.receiveBufferBytes = 1u << 20;
  settings.faults = {FaultOf("bay=2")};
  const ListenAddress address = server.Add(settings);
  server.Start();
  const TcpClient client(address);
  Bytes job = JobStart();
  for (std::uint16_t index = 1; index <= 64; ++index) {
    job = std::move(job) + Label(index, 128 * 1024);  // 1 MiB
  }
  // The sockets between hold some megabytes as well; 64 are beyond all of it.
  std::size_t sent = 0;
  std::size_t idleRounds = 0;
  while (sent < job.size() && idleRounds < 200'000) {
    const std::size_t count =
        client.SendSome(Bytes(job.begin() + static_cast<std::ptrdiff_t>(sent),
                              job.begin() + static_cast<std::ptrdiff_t>(std::min(job.size(), sent + (256u << 10)))));
    idleRounds = count == 0 ? idleRounds + 1 : 0;
    sent += count;
  }
  EXPECT_LT(sent, job.size());
}

TEST(PrinterServerTest, AnAddressInUseIsToldWithWhatToDo) {
  RunningServer server;
  const ListenAddress address = server.Add();
  PrinterServer other({});
  try {
    other.Add({}, address);
    FAIL() << "two listeners at one address";
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr(Format(address)));
    EXPECT_THAT(error.what(), HasSubstr("another program listens there"));
  }
}

TEST(PrinterServerTest, AForeignAddressAndANameAreToldWithWhatToDo) {
  PrinterServer server({});
  for (const auto& [host, words] : {std::pair{"192.0.2.1", "no such address"}, {"printer", "no numeric"}}) {
    try {
      server.Add({}, {host, 0});
      FAIL() << host;
    } catch (const ListenError& error) {
      EXPECT_THAT(error.what(), HasSubstr(words));
    }
  }
}

TEST(PrinterServerTest, EndedItClosesEveryConnectionAndLeavesNoDescriptor) {
  const std::size_t before = OpenDescriptors();
  {
    RunningServer server;
    const ListenAddress address = server.Add();
    server.Start();
    const TcpClient first(address);
    const TcpClient second(address);
    ASSERT_TRUE(first.Send(Ask(0)));
    ASSERT_THAT(first.Receive(kRecordBytes), SizeIs(kRecordBytes));
    ASSERT_TRUE(second.Send(Ask(0)));
    ASSERT_THAT(second.Receive(kRecordBytes), SizeIs(kRecordBytes));
    server.End();
    EXPECT_EQ(first.Next(), Arrival::kClosed);
    EXPECT_EQ(second.Next(), Arrival::kClosed);
    EXPECT_TRUE(TcpClient::IsRefused(address));
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(PrinterServerTest, EndedInMidLabelItPrintsWhatItHasAnsweredFor) {
  RunningServer server;
  simulator::PrinterSettings settings;
  settings.millimetresPerSecond = 0.01;  // hours
  const ListenAddress address = server.Add(settings);
  server.Start();
  const TcpClient client(address);
  ASSERT_TRUE(client.Send(JobStart() + Label(1) + Ask(0)));
  ASSERT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
  ASSERT_TRUE(client.Send(Label(2) + simulator::test::AskFirmware()));
  ASSERT_THAT(client.Receive(34), SizeIs(34));
  EXPECT_THAT(server.Labels(), IsEmpty());
  server.End();
  EXPECT_THAT(server.Labels(), ElementsAre(1));
}

TEST(PrinterServerTest, ItsTimeOverItEndsByItself) {
  PrinterServer server({});
  server.Add({}, {"127.0.0.2", 0});
  server.Run(std::chrono::milliseconds(0));
  SUCCEED();
}

}  // namespace
}  // namespace sc3xx::test
