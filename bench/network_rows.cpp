// Printing over the network, in real time: over loopback, against what the sockets alone can do, and over a link with
// delay to a printer that takes its time.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "apps/server/printer_server.h"
#include "bench/delay_relay.h"
#include "bench/fast_sink.h"
#include "bench/network_job.h"
#include "bench/table.h"
#include "lan/lan_printer.h"

namespace sc3xxmon::bench {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// ---------------------------------------------------------------------------------------------- a job at full speed

constexpr std::size_t kJobLabels = 500;
constexpr LabelSize kLabel{1200, 700};  // 105 KB
constexpr int kRuns = 41;

// A virtual printer on the network that prints in no time, on a thread of its own.
class InstantPrinter {
 public:
  InstantPrinter() : server_({[this](std::size_t, const sc3xx::PrinterNews& news) { Count(news); }, {}, {}}) {
    simulator::PrinterSettings settings;
    settings.keepCommandBytes = false;
    settings.transcript = false;
    // Whoever had this address has shut its door, and is gone when this one opens.
    address_ = TcpDoor(kPrinterTcpPort).Address();
    server_.Add(settings, {address_, kPrinterTcpPort});
    thread_ = std::thread([this] { server_.Run(); });
  }
  ~InstantPrinter() {
    server_.Stop();
    thread_.join();
  }
  InstantPrinter(const InstantPrinter&) = delete;
  InstantPrinter& operator=(const InstantPrinter&) = delete;

  const std::string& Address() const { return address_; }
  void Await(std::size_t jobs) {
    std::unique_lock lock(mutex_);
    printed_.wait(lock, [&] { return labels_ >= jobs * kJobLabels; });
  }

 private:
  void Count(const sc3xx::PrinterNews& news) {
    const std::lock_guard lock(mutex_);
    labels_ += news.printed.size();
    printed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable printed_;
  std::size_t labels_ = 0;
  std::string address_;
  sc3xx::PrinterServer server_;
  std::thread thread_;
};

struct Speeds {
  double monitor = 1e9;  // seconds for the job
  double plain = 1e9;
};

// One after the other, so that a machine that slows down does so for both. The best of each: what disturbs a run only
// ever makes it longer. The plain loop sends the same bytes in the same pieces, and leaves the answers unread.
template <class Sink>
Speeds Compare(Sink& sink, Bytes stream, Bytes wire) {
  NetworkJob job(sink.Address());
  std::size_t jobs = 0;
  Speeds speeds;
  for (int run = 0; run < kRuns; ++run) {
    auto begin = Clock::now();
    {
      const TcpEnd end = TcpEnd::ConnectTo(sink.Address(), kPrinterTcpPort);
      InPieces(wire, kSpoolerPiece, [&end](Bytes piece) { end.Send(piece); });
      end.EndOutput();
      sink.Await(++jobs);
      speeds.plain = std::min(speeds.plain, SecondsSince(begin));
    }
    begin = Clock::now();
    job.Print(stream);
    sink.Await(++jobs);
    speeds.monitor = std::min(speeds.monitor, SecondsSince(begin));
  }
  return speeds;
}

// What the monitor puts on the wire.
Stream WireOf(Bytes stream) {
  FastSink sink(kPrinterTcpPort);
  sink.Record();
  NetworkJob(sink.Address()).Print(stream);
  sink.Await(1);
  return sink.Recorded();
}

std::vector<TableRow> FullSpeedRows() {
  const Stream stream = MakeJob(kJobLabels, kLabel);
  const Stream wire = WireOf(stream);
  FastSink sink(kPrinterTcpPort);
  const Speeds toSink = Compare(sink, stream, wire);
  InstantPrinter printer;
  const Speeds toPrinter = Compare(printer, stream, wire);
  return {
      {"500 labels of 105 KB over TCP to the fastest sink: speed against a plain send loop",
       toSink.plain / toSink.monitor,
       "",
       {AimKind::kAtLeast, 0.9}},
      {"the same: parsing, acknowledgements and all else, a label",
       (toSink.monitor - toSink.plain) * 1e6 / kJobLabels,
       " us",
       {}},
      {"the same to a virtual printer: speed against a plain send loop", toPrinter.plain / toPrinter.monitor, "", {}}};
}

// ------------------------------------------------------------------------------------------------------- short jobs

TableRow ShortJobsRow() {
  constexpr std::size_t kJobs = 500;
  const Stream stream = MakeJob(1, kTinyLabel);
  FastSink sink(kPrinterTcpPort);
  NetworkJob job(sink.Address());
  const auto begin = Clock::now();
  for (std::size_t count = 0; count < kJobs; ++count) {
    job.Print(stream);
  }
  sink.Await(kJobs);
  return {"jobs of one label, a connection each", kJobs / SecondsSince(begin), " a second", {}};
}

// ---------------------------------------------------------------------------------------- a paced printer far away

constexpr std::size_t kPacedLabels = 20;
constexpr LabelSize kInchLabel{600, 300};
constexpr double kSpeed = 254;  // mm/s: a tenth of a second for such a label

// Milliseconds that the printer stood still between two labels of a job, on average.
double IdleMs(std::chrono::milliseconds delay) {
  simulator::PrinterSettings settings;
  settings.millimetresPerSecond = kSpeed;
  settings.transcript = false;
  std::vector<simulator::PrintedLabel> printed;
  sc3xx::PrinterServer server({[&](std::size_t, const sc3xx::PrinterNews& news) {
                                 printed.insert(printed.end(), news.printed.begin(), news.printed.end());
                               },
                               {},
                               {}});
  const sc3xx::ListenAddress address = server.Add(settings, {"127.0.0.2", 0});
  std::thread printer([&server] { server.Run(); });
  {
    DelayRelay link(kPrinterTcpPort, address.host, address.port, delay);
    NetworkJob(link.Address()).Print(MakeJob(kPacedLabels, kInchLabel));
  }
  server.Stop();
  printer.join();
  double idle = 0;
  for (std::size_t label = 1; label < printed.size(); ++label) {
    idle += static_cast<double>(printed[label].startedMs - printed[label - 1].finishedMs);
  }
  return idle / static_cast<double>(kPacedLabels - 1);
}

// ------------------------------------------------------------------------------------------------------ small writes

// Median time from a request right behind a label to its answer.
double RequestMs(bool atOnce) {
  constexpr int kRounds = 40;
  constexpr LabelSize kSmallLabel{80, 100};  // 1 KB
  constexpr std::uint8_t kRequest[] = {0x1B, 'A', 2};
  const Stream job = MakeJob(1, kSmallLabel);
  const Bytes label = Bytes(job).first(job.size() - 2);  // without the end of the job
  FastSink sink(kPrinterTcpPort);
  const TcpEnd end = TcpEnd::ConnectTo(sink.Address(), kPrinterTcpPort);
  end.SendAtOnce(atOnce);
  std::vector<double> times;
  for (int round = 0; round < kRounds; ++round) {
    std::uint8_t answer[32];
    end.Send(label);
    const auto begin = Clock::now();
    end.Send(kRequest);
    end.ReceiveAll(answer, sizeof(answer));
    times.push_back(SecondsSince(begin) * 1e3);
  }
  end.ShutDown();
  return Median(times);
}

}  // namespace

std::vector<TableRow> NetworkRows() {
  constexpr Aim kNone{AimKind::kAtMost, 0};
  std::vector<TableRow> rows = FullSpeedRows();
  rows.push_back(ShortJobsRow());
  rows.push_back(
      {"printer idle between two labels, 1 ms of delay each way", IdleMs(std::chrono::milliseconds(1)), " ms", kNone});
  rows.push_back({"the same, 20 ms of delay each way", IdleMs(std::chrono::milliseconds(20)), " ms", kNone});
  rows.push_back({"status request right behind a label of 1 KB, TCP_NODELAY", RequestMs(true), " ms", {}});
  rows.push_back({"the same, small writes gathered", RequestMs(false), " ms", {}});
  return rows;
}

}  // namespace sc3xxmon::bench
