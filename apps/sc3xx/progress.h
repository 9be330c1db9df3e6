// Tells a person how a job fares: on a terminal a line for each printed label and below it one that is
// redrawn, with what the printer says and how long it has been waiting; elsewhere plain lines, one for each
// thing that happens.
//
// Threads: any; a deletion comes from another thread than the printing. Nothing throws but for lack of
// memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xx {

class Progress {
 public:
  // `debug` gets what a debugger would. `ticks` is the clock in milliseconds that the waiting is measured on. All of
  // them outlive this object.
  Progress(std::ostream& stream, std::ostream& debug, bool live, unsigned columns,
           std::function<std::uint64_t()> ticks);

  void BeginJob(const std::string& heading, std::size_t labels);
  void EndJob();

  void LabelsAcknowledged(DWORD labels);  // so many in all, in this run
  void MessageShown(const std::wstring& text);
  void MessageCleared();
  void Restarted(std::uint32_t restarts);
  void Refused(DWORD errorCode);
  void StartRefused(DWORD errorCode);
  void Connecting(const std::string& where);  // shown while it lasts, on a terminal
  void Connected();
  void ContactLost(const std::string& reason);  // the monitor waits for the printer to be back
  void ContactMayBeBack();                      // nothing is known any more that stands in the way
  void DeletionAsked();

  // Time passes: redraws the live line.
  void Tick();

  // A line of somebody else's that must not run into the live line.
  void Line(std::string_view text);

  // Pieces of text with their own line ends, as a debugger gets them. They go to `debug`.
  void DebugText(std::string_view text);

 private:
  void WriteLine(std::string_view text);  // these five with mutex_ held
  void Redraw();
  void EraseLiveLine();
  std::string LiveText() const;
  void TellOnce(std::string& last, const std::string& text);

  std::ostream& stream_;
  std::ostream& debug_;
  const bool live_;
  const unsigned columns_;
  const std::function<std::uint64_t()> ticks_;

  std::mutex mutex_;
  // guarded by mutex_
  bool inJob_ = false;
  bool liveLineShown_ = false;
  std::string liveText_;  // on the live line, if that is shown
  std::size_t labels_ = 0;
  DWORD acknowledged_ = 0;
  std::uint64_t sinceMs_ = 0;  // the last label, or the job's begin
  std::string message_;        // what the printer says
  std::uint64_t messageSinceMs_ = 0;
  std::string trouble_;     // what the port says; told once until a label gets through
  std::string connecting_;  // where to, before the document has started
  bool contactLost_ = false;
  bool deleting_ = false;
  bool debugLineOpen_ = false;
};

}  // namespace sc3xx
