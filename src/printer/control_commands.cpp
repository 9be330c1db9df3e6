// The two-byte commands that tell the printer what the driver's stream no longer can: the job was cut short, or an error
// was cleared in the middle of it. None has a response; all are best effort.

#include <array>

#include "diag/debug_log.h"
#include "monitor/langmon.h"
#include "monitor/printer_models.h"

namespace sc3xxmon {

bool CLangMon::SendCommand(const char* function, const char* text, std::uint8_t letter) {
  KovaDebugPrint(At(function), text);
  const std::array<std::uint8_t, 2> command{kEsc, letter};
  std::uint32_t written = 0;
  return Send(command.data(), command.size(), &written);
}

bool CLangMon::SendEndJob() {
  return SendCommand("CLangMon::SendEndJob", "Sending end job", 'Q');
}

bool CLangMon::SendLongFormFeed() {
  if (PrinterModelRow(CurrentModel()).tape) {
    return true;
  }
  return SendCommand("CLangMon::SendLongFormFeed", "Sending long form feed", 'E');
}

bool CLangMon::SendShortFormFeed() {
  return SendCommand("CLangMon::SendShortFormFeed", "Sending short form feed", 'G');
}

// The form feed first, so that the label that was cut short leaves the printer, and the end of the job last.
bool CLangMon::SendCancelSequence() {
  if (!PrinterModelRow(CurrentModel()).tape && !SendLongFormFeed()) {
    return false;
  }
  return SendEndJob();
}

}  // namespace sc3xxmon
