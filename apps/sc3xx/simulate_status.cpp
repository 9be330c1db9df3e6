#include "apps/sc3xx/simulate_status.h"

#include <algorithm>

#include "apps/sc3xx/simulate_plan.h"
#include "apps/sc3xx/terminal_text.h"

namespace sc3xx {
namespace {

constexpr std::size_t kMostMalformedTold = 10;
constexpr unsigned kFewestColumns = 20;

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string StateOf(const PrinterService& service) {
  return service.Printer().View().state + ", " + Counted(service.Clients(), "client") + ", " +
         Counted(service.Printer().Counts().labelsPrinted, "label") + " printed";
}

std::string ClientName(simulator::ClientId client) {
  return "client " + std::to_string(client);
}

}  // namespace

SimulateStatus::~SimulateStatus() {
  EraseState();
}

void SimulateStatus::AddPrinter(const ListenAddress& address, const simulator::PrinterModel& model) {
  printers_.push_back({ShortNameOf(address)});
  Line("listening on " + Format(address) + " (" + std::string(model.name) + ")");
}

void SimulateStatus::Line(const std::string& text) {
  EraseState();
  console_.out << text << '\n' << std::flush;
}

void SimulateStatus::EraseState() {
  if (!state_.empty()) {
    console_.out << "\r\x1b[K" << std::flush;
    state_.clear();
  }
}

void SimulateStatus::Show(const PrinterServer& server) {
  if (!console_.liveOut) {
    return;
  }
  std::string text;
  for (std::size_t printer = 0; printer < printers_.size(); ++printer) {
    text += (printer == 0 ? "" : " | ") + printers_[printer].name + ": " + StateOf(server.Service(printer));
  }
  text = CutToColumns(text, std::max(console_.columns, kFewestColumns) - 1);
  if (text != state_) {
    EraseState();
    console_.out << text << std::flush;
    state_ = text;
  }
}

void SimulateStatus::Told(std::size_t printer, const std::string& what) {
  Line(printers_[printer].name + ": " + what);
}

void SimulateStatus::LabelPrinted(std::size_t printer, const simulator::PrintedLabel& label,
                                  const std::string& picture) {
  std::string text = "label " + std::to_string(label.index) + " printed";
  if (label.raster.empty()) {
    text += ", blank";
  }
  Told(printer, picture.empty() ? text : text + ": " + picture);
}

void SimulateStatus::TellMalformed(std::size_t printer, const simulator::Exchange& exchange) {
  const std::size_t count = ++printers_[printer].malformedTold;
  if (count <= kMostMalformedTold) {
    Told(printer, ClientName(exchange.client) + " sent what a printer can't understand: " + exchange.meaning);
  }
  if (count == kMostMalformedTold) {
    Told(printer, "more of that kind isn't shown");
  }
}

void SimulateStatus::Happened(std::size_t printer, const simulator::Exchange& exchange) {
  const std::string& kind = exchange.kind;
  if (kind == "start of job") {
    Told(printer, ClientName(exchange.client) + " starts a job");
  } else if (kind == "end of job") {
    Told(printer, ClientName(exchange.client) + " ends its job");
  } else if (kind == "disconnected") {
    Told(printer, ClientName(exchange.client) + " is gone");
  } else if (kind == "label dropped") {
    Told(printer, exchange.meaning + "; it isn't printed");
  } else if (kind == "fault begins" || kind == "fault ends") {
    Told(printer, kind + ": " + exchange.meaning);
  } else if (kind == "answer withheld") {
    Told(printer, ClientName(exchange.client) + " gets no answer");
  } else if (kind == "malformed") {
    TellMalformed(printer, exchange);
  }
}

}  // namespace sc3xx
