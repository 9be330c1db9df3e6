// The log of one story: a folder of its own at debug level 2, and the whole file compared with a stored text.
//
// The stored texts, stories/NAME.log, are the log's lines without time and thread, and without the line numbers, the
// build's date and the printer's name, which differ from build to build and run to run. They are checked by hand: each
// line is a promise to those who read logs, whatever the system. With SC3XXMON_STORIES_OUT=FOLDER in the environment the texts of the run are
// left in that folder.
#pragma once

#include <string>
#include <vector>

#include "support/log_root.h"
#include "support/recording_host.h"

namespace sc3xxmon::test {

class StoryLog {
 public:
  // From the next load of the monitor on it logs here.
  explicit StoryLog(RecordingHost& host);
  ~StoryLog();
  StoryLog(const StoryLog&) = delete;
  StoryLog& operator=(const StoryLog&) = delete;

  // Fails the test with the first line that differs. The printer's name is ASCII.
  void ExpectToldAsIn(const std::string& story, const std::wstring& printerName) const;

  const LogRoot& Root() const { return root_; }

 private:
  std::vector<std::string> Told(const std::string& printerName) const;

  LogRoot root_;
};

}  // namespace sc3xxmon::test
