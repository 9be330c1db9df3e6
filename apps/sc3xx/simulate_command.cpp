#include "apps/sc3xx/simulate_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>

#include "apps/sc3xx/help_text.h"
#include "apps/sc3xx/interrupt.h"
#include "apps/sc3xx/simulate_output.h"
#include "apps/sc3xx/simulate_status.h"
#include "apps/server/printer_server.h"
#include "simulator/fault_script.h"

namespace sc3xx {
namespace {

constexpr const char* kSimulateFooter =
    "Each printer prints a line \"listening on ADDRESS:PORT (MODEL)\" once it can be reached, and then a\n"
    "line for each thing that happens. On the network a call is a piece of data that came or an answer\n"
    "that goes; a write or read that fails, and power-off, break the connection, and a printer without\n"
    "power can't be reached.\n"
    "Examples:\n"
    "  sc3xx simulate --model 5 --listen 127.0.0.2 --out printed\n"
    "  sc3xx simulate --printer SC310@127.0.0.2 --printer RB410@127.0.0.3 --transcript talk.jsonl\n"
    "  sc3xx simulate --listen 127.0.0.2 --fault power-off@label:2,for:5s\n"
    "      somebody pulls the plug when the second label begins, and puts it back after 5 seconds\n"
    "Ctrl-C ends it: labels that the printers have answered for are printed at once, then all\n"
    "connections are closed. Exit codes: 0 ended so, 1 failed (an address that can't be had, say),\n"
    "  2 wrong use, 130 left at once by a second Ctrl-C.\n";

// The printers with all that is told and written about them.
class Simulation {
 public:
  Simulation(const SimulateRequest& request, const SimulatePlan& plan, Console& console)
      : plan_(plan), console_(console), status_(console), server_(Hooks()) {
    if (!request.transcriptFile.empty()) {
      transcript_.emplace(request.transcriptFile);
    }
    for (const SimulatedPrinter& printer : plan.printers) {
      AddPrinter(request, printer);
    }
  }

  void Run() {
    {
      const InterruptWatch watch([this] { server_.Stop(); });
      TellListening();
      server_.Run(plan_.duration);
    }
    status_.EraseState();
    Summarize();
  }

 private:
  ServerHooks Hooks() {
    ServerHooks hooks;
    hooks.news = [this](std::size_t printer, const PrinterNews& news) { Take(printer, news); };
    hooks.told = [this](std::size_t printer, const std::string& what) { status_.Told(printer, what); };
    hooks.round = [this] { EndRound(); };
    return hooks;
  }

  void AddPrinter(const SimulateRequest& request, const SimulatedPrinter& printer) {
    addresses_.push_back(server_.Add(printer.settings, printer.address, plan_.limits));
    if (request.outFolder.empty()) {
      return;
    }
    std::filesystem::path folder = request.outFolder;
    if (plan_.printers.size() > 1) {
      folder /= ShortNameOf(addresses_.back());
    }
    folders_.emplace_back(folder);
  }

  // Once all of them can be reached: a script that waits for its printer's line may use any of them.
  void TellListening() {
    for (std::size_t printer = 0; printer < addresses_.size(); ++printer) {
      if (IsSkippedByMonitor(addresses_[printer])) {
        console_.err << "sc3xx: note: sc3xx print and the monitor skip " << addresses_[printer].host
                     << "; take another address, such as " << kDefaultListenHost << ", to print through them\n"
                     << std::flush;
      }
      status_.AddPrinter(addresses_[printer], server_.Service(printer).Printer().Model());
    }
  }

  void Take(std::size_t printer, const PrinterNews& news) {
    if (transcript_) {
      transcript_->Add(news.exchanges, ShortNameOf(addresses_[printer]));
    }
    for (const simulator::PrintedLabel& label : news.printed) {
      status_.LabelPrinted(printer, label, folders_.empty() ? "" : folders_[printer].Add(label));
    }
    for (const simulator::Exchange& exchange : news.exchanges) {
      status_.Happened(printer, exchange);
    }
  }

  void EndRound() {
    if (plan_.jobs > 0 && JobsAreDone()) {
      server_.Stop();
    }
    status_.Show(server_);
  }

  bool JobsAreDone() const {
    std::uint64_t ended = 0;
    bool idle = true;
    for (std::size_t printer = 0; printer < server_.Size(); ++printer) {
      const PrinterService& service = server_.Service(printer);
      ended += service.Printer().Counts().jobsEnded;
      idle = idle && service.Clients() == 0 && service.Printer().Idle();
    }
    return idle && ended >= plan_.jobs;
  }

  void Summarize() {
    for (std::size_t printer = 0; printer < server_.Size(); ++printer) {
      const simulator::PrinterCounts& counts = server_.Service(printer).Printer().Counts();
      status_.Told(printer, "labels printed: " + std::to_string(counts.labelsPrinted) + ", dropped: " +
                                std::to_string(counts.labelsDropped) + ", lost: " + std::to_string(counts.labelsLost) +
                                "; jobs ended: " + std::to_string(counts.jobsEnded));
    }
  }

  const SimulatePlan& plan_;
  Console& console_;
  SimulateStatus status_;
  std::optional<TranscriptFile> transcript_;
  std::vector<LabelFolder> folders_;  // one a printer, or none
  std::vector<ListenAddress> addresses_;
  PrinterServer server_;
};

}  // namespace

void AddSimulateCommand(CLI::App& program, SimulateRequest& request) {
  CLI::App& command = *program.add_subcommand("simulate", "Put virtual printers on the network");
  const auto add = [&command](const char* name, auto& value, const char* type, const char* description) {
    return command.add_option(name, value, Wrapped(description))->type_name(type);
  };
  add("--model", request.model, "NAME_OR_ROW", "What the printers of --listen are (see `sc3xx models`)")
      ->capture_default_str();
  add("--listen", request.listen, "ADDRESS[:PORT]",
      "Where a printer listens: a numeric address of this machine; port 9100 unless given, 0 for any that is free. "
      "Each --listen is one more printer. [127.0.0.2]")
      ->allow_extra_args(false);
  add("--printer", request.printers, "MODEL@ADDRESS[:PORT]", "One more printer, of a model of its own")
      ->allow_extra_args(false);
  add("--speed", request.speed, "SPEED", "instant, model (the model's own), or millimetres a second")
      ->capture_default_str();
  add("--fault", request.faults, "[ADDRESS[:PORT]/]SPEC",
      "Something that goes wrong (below) at one printer, or at each")
      ->allow_extra_args(false);
  add("--out", request.outFolder, "DIR",
      "Write a PNG of each printed label there (label-001.png ...), with several printers in a folder for each; "
      "numbers go on behind those that are there");
  add("--transcript", request.transcriptFile, "FILE", "Append what printers and clients say, as JSON lines");
  add("--clients", request.clients, "COUNT", "Clients of a printer at once; more are refused")
      ->capture_default_str()
      ->check(CLI::Range(1u, 10'000u).description(""));
  add("--label-limit", request.labelMegabytes, "MIB", "A label beyond this isn't kept and isn't printed")
      ->capture_default_str()
      ->check(CLI::Range(1u, 1024u).description(""));
  add("--jobs", request.jobs, "COUNT", "End when so many jobs have ended and all clients are gone");
  add("--for", request.seconds, "SECONDS", "End after so long");
  command.footer([] { return simulator::FaultScriptHelp() + "\n" + kSimulateFooter; });
}

int RunSimulate(const SimulateRequest& request, Console& console) {
  const SimulatePlan plan = PlanSimulation(request);
  Simulation(request, plan, console).Run();
  return kExitPrinted;
}

}  // namespace sc3xx
