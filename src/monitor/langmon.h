// CLangMon: what stands behind a port handle of the spooler. It knows the port's name, how to reach the port, and which
// job is in progress on it; its operations hold every exchange with the printer.
//
// One object from open to close, held by shared reference: an entry point keeps one for the length of its call, so that
// a close on another thread can't pull the object away. The process-wide table turns the spooler's handle, a key that is
// never reused, into the object.
//
// Threads: the operations run on the spooler's thread for the port and take no lock. DocBusy admits one document at a
// time; hPort, Monitor and isUsb are constant once the key has been handed out.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

#include "job/print_job.h"
#include "printer/status_record.h"

namespace sc3xxmon {

// The spooler's handle for a port. First key 1; 0 is none.
using PortKey = std::uint64_t;

class CLangMon {
 public:
  // ------------------------------------------------------------------------------- monitor/langmon.cpp: the object
  // Throws Exception "name parameter is invalid" for a null name.
  explicit CLangMon(const wchar_t* name);
  ~CLangMon();
  CLangMon(const CLangMon&) = delete;
  CLangMon& operator=(const CLangMon&) = delete;

  // The job on top of the stack; empty if there is none.
  std::shared_ptr<CPrintJob> CurrentJob() const;
  void PushJob(std::shared_ptr<CPrintJob> job);
  std::shared_ptr<CPrintJob> PopJob();
  // False sets last error 87.
  bool HasCurrentJob() const;
  // A lost connection can be waited out in the middle of the job. Otherwise the job restarts through the spooler.
  bool CanRecoverInPlace() const;

  // ------------------------------------------------------------------- monitor/langmon_table.cpp: the open ports
  // Makes the object for a port. A port whose name is open already (every character counts, case included) gives false,
  // or with `allowExisting` the key that it has.
  static bool AddLangMon(const wchar_t* portName, PortKey* key, bool allowExisting);
  static std::shared_ptr<CLangMon> FindLangMon(PortKey key);
  // True if the key was there.
  static bool RemoveLangMon(PortKey key);

  // ---------------------------------------------------------------- monitor/port_choice.cpp: what a port goes through
  // Looks at the next monitor's table and decides whether the port is USB or LAN. `table` gets a copy of the functions
  // to use. False, with last error 3007, for a table that lacks a function.
  static bool ValidateMonitor(const wchar_t* portName, const MONITOR2* nextMonitor, MONITOR2* table,
                              std::uint32_t* isUsb);
  // The arguments of a document's start. False with last error 87 or 124.
  static bool ValidateDocInfo(const wchar_t* printerName, DWORD level, const void* docInfo);

  // ------------------------------------------------------------- printer/port_io.cpp: every byte to and from a port
  // All give false on failure, with the port's last error, and throw nothing. They block as long as the port does.
  //
  // One write call. A success that took fewer bytes is a success. `written` must not be null.
  bool Send(const void* buffer, std::uint32_t size, std::uint32_t* written);
  // Writes until all bytes have gone, or a call fails or takes none.
  bool SendAll(const void* buffer, std::uint32_t size);
  // One read call: one attempt.
  bool Recv(void* buffer, std::uint32_t size, std::uint32_t* read);
  // The spooler's own read, passed through: a null buffer or a size of 0 is the port's business.
  bool RecvForSpooler(void* buffer, std::uint32_t size, std::uint32_t* read);
  bool StartDoc(const wchar_t* printerName, DWORD jobId, DWORD level, void* docInfo);
  void EndDoc();
  void ClosePortChain();
  // True without a call for a port that has no such function.
  bool SetTimeouts(COMMTIMEOUTS* timeouts);
  // Raises the time-outs to what the oldest label in flight needs, in a job of open-length labels; brings them back
  // down for a short one.
  void AdjustPortTimeouts();

  // ------------------------------------------------------- printer/status_protocol.cpp: requests and their responses
  // These need a current job.
  //
  // `ESC A n` and its response. Throws PrintCommException for a failed exchange and, with `checkBad`, for a bad status;
  // PrintCanceledException, with `checkCancel`, for a cancel at the printer.
  StatusRecord& FetchStatus(StatusRecord& out, std::uint8_t n, bool checkCancel, bool checkBad);
  // As FetchStatus with the cancel check, and once more where the first answer calls for action or didn't come.
  StatusRecord& FetchSettledStatus(StatusRecord& out, std::uint8_t n);
  // Asks the printer for its firmware, once a job. False if the exchange failed; throws nothing for that.
  bool FetchFirmwareInfo();

  // ----------------------------------------------------------- printer/inflight_status.cpp: the overlapped exchange
  // Writes `ESC A n` and notes that a response is due.
  bool SendStatusRequest(std::uint8_t n);
  // The same for the label that went out last. Throws PrintCommException.
  void SendInflightStatusRequest();
  // Reads the response that is due. False if none is, or it didn't come whole.
  bool RecvStatusResponse(StatusRecord* out);
  // The same with the checks of FetchStatus. Throws PrintCommException, PrintCanceledException.
  StatusRecord& GetInflightStatusResponse(StatusRecord& out, bool checkCancel, bool checkBad);

  // -------------------------------------------------------------- printer/control_commands.cpp: commands of our own
  bool SendEndJob();
  // Writes nothing, and succeeds, while a job of a tape model is current.
  bool SendLongFormFeed();
  bool SendShortFormFeed();
  // The long form feed where it applies, and if that went out the end of the job.
  bool SendCancelSequence();

  // ------------------------------------------------------------ printer/host_sync.cpp: one document for a printer
  // False if the port is in a document or another holds the printer for 5000 ms.
  bool AcquireHostSync(const wchar_t* printerName);
  // True if the port had been busy.
  bool ReleaseHostSync();

  // --------------------------------------------------------------- engine/job_error_state.cpp: texts for people
  void SetJobStatusMessageUI(std::uint32_t statusWord, std::uint32_t stringId);

  // Documents on this port; the last is the current one. More than one doesn't occur in normal running.
  std::vector<std::shared_ptr<CPrintJob>> Jobs;
  const std::wstring Name;

  std::atomic<std::uint32_t> DocBusy{0};
  HANDLE SyncEvent = nullptr;

  // What the port's own open gave; passed to every function of the table, never interpreted.
  HANDLE hPort = nullptr;
  // A copy of the port's functions, never a pointer to the caller's table.
  MONITOR2 Monitor{};
  std::uint32_t isUsb = 1;

  // These survive the jobs: that is how a job that restarts through the spooler is known as the same job.
  std::uint32_t LastJobId = 0;
  std::uint32_t RestartCount = 0;             // ends of that job id; kept for diagnosis
  std::uint32_t NoProgressCount = 0;          // ends in a row without an acknowledged label
  std::uint32_t LastAckedCount = 0;           // kept for diagnosis
  std::atomic<std::uint64_t> LastIoTick = 0;  // of the last successful transfer; kept for diagnosis
  std::uint32_t EndDocDelay = 0;              // milliseconds to sleep once at the end of the document

 private:
  bool WritePortOnce(const void* buffer, std::uint32_t size, std::uint32_t* written);
  bool ReadStatusBytes(std::uint32_t model, StatusRecord& out, std::uint32_t* read);
  std::uint32_t CurrentModel() const;
  bool SendCommand(const char* function, const char* text, std::uint8_t letter);
};

}  // namespace sc3xxmon
