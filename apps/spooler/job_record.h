// One job as the small spooler knows it: what GetJobW shows and SetJobW changes, and what the job commands
// asked for.
//
// The monitor reads and writes the record on the printing thread; a person deletes the job on another one.
// Every operation takes the record's lock and holds it for no longer than the copying takes. The observer's
// functions run on the thread that made the change, without the lock, so that they may look at the record;
// they must not throw.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xx {

// Fixed for the life of a job.
struct JobTicket {
  DWORD jobId = 1;
  std::wstring printerName;
  std::wstring driverName;  // decides the printer's model; empty leaves it to the printer's firmware
  std::wstring documentName;
  std::wstring userName;
  DWORD documentBytes = 0;
  DWORD totalPages = 0;  // labels that the document is expected to give; 0 when that isn't known
};

// The record at one moment.
struct JobView {
  DWORD status = 0;  // JOB_STATUS_ bits
  std::wstring text;
  DWORD position = 1;
  DWORD pagesPrinted = 0;
  DWORD mostPagesPrinted = 0;  // of this run of the document: resuming after a fault shows 0 pages for a while
  bool complete = false;       // the monitor called the job complete in this run
  bool sent = false;           // marked as sent to the printer
  bool ejected = false;        // last page marked as ejected
  bool restartAsked = false;
  bool deleteAsked = false;      // by anybody
  bool deletedByPerson = false;  // by RequestDelete, and not by the monitor
  std::uint64_t queries = 0;     // how often the monitor has read the record, over all runs
};

struct JobObserver {
  std::function<void(DWORD labels)> labelsAcknowledged;        // more than ever before in this run
  std::function<void(const std::wstring& text)> messageShown;  // the printer's trouble, in the user's language
  std::function<void()> messageCleared;
};

class JobRecord {
 public:
  explicit JobRecord(JobTicket ticket, JobObserver observer = {});

  const JobTicket& Ticket() const { return ticket_; }
  JobView View() const;

  // Before each run of the document: the traces of the run before go, a deletion stays.
  void BeginRun();

  // What a person does. Any thread, also while the monitor is inside a write call.
  void RequestDelete();
  bool DeleteAsked() const;

  // The spooler's job functions, with the last-error code that they fail with, 0 for success.
  DWORD Read(DWORD level, LPBYTE job, DWORD size, DWORD* needed);
  DWORD SetFields(const JOB_INFO_1W& fields);
  DWORD Command(DWORD command);

 private:
  struct Change {
    DWORD newlyAcknowledged = 0;
    bool messageShown = false;
    bool messageCleared = false;
  };

  DWORD StatusWord() const;  // with mutex_ held
  Change Apply(const JOB_INFO_1W& fields, const std::wstring& text);

  const JobTicket ticket_;
  const JobObserver observer_;

  mutable std::mutex mutex_;
  // guarded by mutex_
  JobView view_;
};

}  // namespace sc3xx
