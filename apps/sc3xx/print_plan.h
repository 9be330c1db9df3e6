// Everything that `sc3xx print` was asked for, checked and read before the first byte goes to a printer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/sc3xx/document_options.h"
#include "apps/sc3xx/port_choice.h"
#include "apps/sc3xx/print_jobs.h"
#include "platform/posix/settings_file.h"
#include "simulator/models.h"
#include "simulator/printer_settings.h"

namespace sc3xx {

// The command line as it was given.
struct PrintRequest {
  std::vector<std::string> files;
  std::string port = "virtual";
  std::string model = "5";
  std::vector<std::string> settings;  // NAME=VALUE
  std::string logRoot;                // empty: LogRoot of the settings, else the user's own
  std::string configFile;             // empty: SC3XXMON_CONFIG, else the one in /etc
  std::uint32_t bufferBytes = 65536;
  std::uint32_t patienceSeconds = 600;
  std::vector<std::string> faults;
  std::string speed = "instant";
  std::string outFolder;
  std::string printerName;  // empty: made from the port
  bool json = false;
  DocumentOptions document;
};

struct PrintPlan {
  const simulator::PrinterModel* model = nullptr;  // never null; a row of the constant table
  PortChoice port;
  std::string lanHost;                        // of a port on the network
  simulator::PrinterSettings virtualPrinter;  // of the virtual port
  sc3xxmon::platform::SettingsFile settings;  // the file's, with --set and the network printer's entries over them
  std::string logRoot;                        // empty: no log is written
  std::vector<std::string> remarks;           // for the person at the terminal
  std::wstring printerName;
  std::vector<PrintJob> jobs;
};

// Throws UsageError, InputError or SettingsFileError.
PrintPlan PlanPrint(const PrintRequest& request);

}  // namespace sc3xx
