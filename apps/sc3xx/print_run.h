// Carries out a print plan: the monitor with the small spooler as its host, a port, one document after another,
// progress, and what came out.
//
// Blocking: Run returns when every job is printed, has failed or is deleted. Threads: Ctrl-C comes in on a thread of
// its own and only marks the job that happens to be printing.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "apps/ports/device_port.h"
#include "apps/ports/lan_port.h"
#include "apps/ports/virtual_port.h"
#include "apps/sc3xx/console.h"
#include "apps/sc3xx/monitor_door.h"
#include "apps/sc3xx/print_output.h"
#include "apps/sc3xx/print_plan.h"
#include "apps/sc3xx/print_report.h"
#include "apps/sc3xx/progress.h"
#include "apps/spooler/spooler_host.h"

namespace sc3xx {

// Lets Ctrl-C reach whichever job is printing.
class Deletion {
 public:
  explicit Deletion(Progress& progress) : progress_(progress) {}

  void Ask();
  void SetCurrent(JobRecord* job);  // null between jobs
  bool Asked() const;

 private:
  Progress& progress_;
  mutable std::mutex mutex_;
  bool asked_ = false;
  JobRecord* current_ = nullptr;
};

class PrintRun {
 public:
  // Makes the port and the output folder. All arguments outlive this object. Throws InputError for a folder that can't
  // be written.
  PrintRun(const PrintRequest& request, const PrintPlan& plan, Console& console, const MonitorDoor& door);

  // Gives the exit code; the report is on the console then. Throws PortError if the port can't be opened, InputError
  // if the output can't be written.
  int Run();

 private:
  HostHooks Hooks();
  void PrintAll();
  void MakePort();
  PortBelow Below();
  std::string PortTrouble() const;
  void BeforeSleep();
  std::unique_ptr<MonitorPort> OpenPort(MONITOR2& monitor);
  JobReport PrintOne(MonitorPort& port, const PrintJob& job, DWORD jobId);
  JobTicket TicketOf(const PrintJob& job, DWORD jobId) const;
  void TellBeginning(const PrintJob& job, DWORD jobId);
  JobObserver ObserverOfJob();
  RunnerEvents EventsOfRunner();
  void Collect();
  void TellReasons();

  const PrintRequest& request_;
  const PrintPlan& plan_;
  Console& console_;
  const MonitorDoor& door_;
  Progress progress_;
  SpoolerHost host_;
  Deletion deletion_;
  std::optional<VirtualPort> virtualPort_;  // one of the three ports
  std::optional<DevicePort> devicePort_;
  std::optional<LanPort> lanPort_;
  std::optional<PrintOutput> output_;
  PrintReport report_;
};

}  // namespace sc3xx
