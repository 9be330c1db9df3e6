// What a print run leaves for diagnosis: the folder for the monitor's log and dumps, made before anything is printed, and
// the files that the monitor wrote there.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/posix/settings_file.h"

namespace sc3xx {

// The folder that the log lies below: LogRoot of the settings, else the user's own.
std::filesystem::path LogRootOf(const sc3xxmon::platform::SettingsFile& settings);

// True if the settings make the monitor write files there.
bool WritesLogFiles(const sc3xxmon::platform::SettingsFile& settings);

// Makes the folder and its "Logs", which the monitor expects to be there, for the user and the printing group. Gives what
// is wrong and what to do about it; empty if all is well.
std::string PrepareLogRoot(const std::filesystem::path& root);

struct LogFiles {
  std::string log;                      // empty: none
  std::vector<std::string> jobDumps;    // .prn
  std::vector<std::string> labelDumps;  // .bmp
};

// The files of this process, in the order of their names.
LogFiles FindLogFiles(const std::filesystem::path& root);

}  // namespace sc3xx
