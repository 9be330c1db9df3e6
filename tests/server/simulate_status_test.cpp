#include "apps/sc3xx/simulate_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace sc3xx::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class SimulateStatusTest : public ::testing::Test {
 protected:
  static simulator::Exchange Exchange(const char* kind, const char* meaning = "") {
    simulator::Exchange exchange;
    exchange.client = 3;
    exchange.kind = kind;
    exchange.meaning = meaning;
    return exchange;
  }

  std::ostringstream out;
  std::ostringstream err;
  Console console{out, err};
};

TEST_F(SimulateStatusTest, ListeningIsALineThatAScriptCanWaitFor) {
  SimulateStatus status(console);
  status.AddPrinter({"127.0.0.2", 9100}, *simulator::FindModel(5));
  EXPECT_EQ(out.str(), "listening on 127.0.0.2:9100 (KOVA Scrivelo 310 Plus)\n");
}

TEST_F(SimulateStatusTest, TellsWhatHappensInPlainLinesWhenThereIsNoTerminal) {
  PrinterServer server({});
  server.Add({}, {"127.0.0.2", 0});
  SimulateStatus status(console);
  status.AddPrinter({"127.0.0.2", 9100}, *simulator::FindModel(5));
  simulator::PrintedLabel label;
  label.index = 7;
  status.Happened(0, Exchange("start of job"));
  status.LabelPrinted(0, label, "");
  status.Happened(0, Exchange("fault begins", "power-off"));
  status.Happened(0, Exchange("status request 0"));
  status.Show(server);
  EXPECT_THAT(out.str(), EndsWith("127.0.0.2: client 3 starts a job\n"
                                  "127.0.0.2: label 7 printed, blank\n"
                                  "127.0.0.2: fault begins: power-off\n"));
  EXPECT_THAT(out.str(), Not(HasSubstr("\x1b")));
}

TEST_F(SimulateStatusTest, OnATerminalTheStateOfEveryPrinterStandsBelowTheLines) {
  console.liveOut = true;
  PrinterServer server({});
  server.Add({}, {"127.0.0.2", 0});
  server.Add({}, {"127.0.0.3", 0});
  {
    SimulateStatus status(console);
    status.AddPrinter({"127.0.0.2", 9100}, *simulator::FindModel(5));
    status.AddPrinter({"127.0.0.3", 9100}, *simulator::FindModel(5));
    status.Show(server);
    const std::string shown = out.str();
    EXPECT_THAT(shown, EndsWith("127.0.0.2: ready, 0 clients, 0 labels printed | 127.0.0.3: ready, 0 clients, 0 "));
    status.Show(server);
    EXPECT_EQ(out.str(), shown) << "what hasn't changed isn't drawn again";
    status.Told(1, "something");
    EXPECT_THAT(out.str().substr(shown.size()), "\r\x1b[K127.0.0.3: something\n");
    status.Show(server);
  }
  EXPECT_THAT(out.str(), EndsWith("\r\x1b[K"));
}

TEST_F(SimulateStatusTest, GarbageWithoutEndIsToldSoOftenAndNoMore) {
  SimulateStatus status(console);
  status.AddPrinter({"127.0.0.2", 9100}, *simulator::FindModel(5));
  for (int i = 0; i < 1000; ++i) {
    status.Happened(0, Exchange("malformed", "byte 1: unknown"));
  }
  const std::string text = out.str();
  EXPECT_LT(std::count(text.begin(), text.end(), '\n'), 20);
  EXPECT_THAT(text, EndsWith("more of that kind isn't shown\n"));
}

}  // namespace
}  // namespace sc3xx::test
