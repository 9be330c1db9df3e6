// One document in flight, from the start of the document to its end: towards the spooler its status and the commands to
// it, towards the engine how far the conversation with the printer has come. The job's bytes are in its base, the
// parser.
//
// Held by shared reference. No lock: the thread on which the spooler calls touches it, one document at a time. The
// spooler's own view of the job can change at any moment, and is seen only where QueryStatus asks.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "printer/firmware_info.h"
#include "stream/kpl_parser.h"

namespace sc3xxmon {

// Values of AbortState. Anything but running closes the write path, and no value goes back to it.
inline constexpr std::uint32_t kJobRunning = 0;
inline constexpr std::uint32_t kJobGivenUp = 1;  // restart asked for, or given up
inline constexpr std::uint32_t kJobAbortedBySpooler = 2;
inline constexpr std::uint32_t kJobCancelledAtPrinter = 3;

// A job whose spooler status has one of these bits has been deleted.
inline constexpr std::uint32_t kJobDeletedBits = JOB_STATUS_DELETING | JOB_STATUS_DELETED;

class CPrintJob : public CKplParser {
 public:
  // Opens the printer and looks its driver's name up in the model table. A null name counts as an empty one. Throws
  // Exception: "OpenPrinter failed", "Failed to get driver info"; after the second the printer stays open in the
  // spooler.
  CPrintJob(std::uint32_t jobId, const wchar_t* printerName);
  ~CPrintJob();

  // The job's status word in the spooler; 0 if it can't be read, so that such a job counts as not deleted.
  std::uint32_t QueryStatus() const;
  bool IsDeleted() const { return (QueryStatus() & kJobDeletedBits) != 0; }

  // Hands a command to the spooler. A refusal is logged, gives 0, and never stops the engine.
  BOOL SetJobCmd(std::uint32_t command, std::uint32_t level, void* jobInfo) const;
  void Resume() const;
  void Restart() const;
  void Delete() const;
  void MarkSentToPrinter() const;
  void MarkLastPageEjected() const;

  // Sets status word and pages printed, and wipes the status text.
  void SetJobState(std::uint32_t statusWord, std::uint32_t pagesPrinted) const;
  // Sets status word and text, unless the job shows a bit of the word already: the first of several texts stands.
  void SetJobMessage(std::uint32_t statusWord, wchar_t* text) const;

  // Keeps the firmware's information and, where it names another model, believes it over the driver's name.
  void SetFwInfo(const FwInfo& info);
  // Firmware information that counts: type and first two numbers are there.
  bool HasFwInfo() const { return FwType != 0 && FwNumber1 != 0 && FwNumber2 != 0; }

  // False is the one way back to a clean sending state: the job header and every unacknowledged label go out again.
  void SetLockHeld(bool held);

  // Appends bytes offered to the port to the job's dump file. True if all were written.
  bool DumpData(std::span<const std::uint8_t> bytes) const;

  std::wstring PrinterName;

  std::string FwName;
  std::uint16_t FwType = 0;
  std::uint16_t FwNumber1 = 0;
  std::uint16_t FwNumber2 = 0;
  std::uint16_t FwNumber3 = 0;
  std::uint16_t FwNumber4 = 0;
  std::uint32_t FwModel = 0;

  HANDLE PrinterHandle = nullptr;
  std::uint32_t JobId;
  std::uint32_t Model = 0;  // row of the model table, 0 unknown

  std::uint32_t AbortState = kJobRunning;
  std::uint32_t LockHeld = 0;        // the printer was found ready for this job; written by SetLockHeld
  std::uint32_t HeaderSent = 0;      // the job header has gone to the port
  std::uint32_t FooterSent = 0;      // the footer has gone, or a cancel sequence took its place
  std::uint32_t StatusInFlight = 0;  // a status request awaits its response
  std::uint8_t QParameter = '0';     // operand of the stream's ESC q on dual-roll models; a record that nothing reads
  std::wstring DumpPath;             // empty: no dump
};

}  // namespace sc3xxmon
