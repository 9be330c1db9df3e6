#include "apps/spooler/job_record.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

namespace sc3xx {
namespace {

// These bits follow from what was asked of the job. A monitor that writes the status word it read a moment
// ago must not take back a deletion that came in between.
constexpr DWORD kOwnStatusBits = JOB_STATUS_DELETING | JOB_STATUS_DELETED | JOB_STATUS_RESTART | JOB_STATUS_PAUSED;

// Lays a structure and, behind it, its texts into one caller's buffer.
class JobPacker {
 public:
  explicit JobPacker(std::size_t structureBytes) : needed_(structureBytes) {}

  void Text(LPWSTR& field, const std::wstring& text) {
    texts_.push_back({&field, &text, needed_});
    needed_ += (text.size() + 1) * sizeof(wchar_t);
  }

  DWORD Needed() const { return static_cast<DWORD>(needed_); }

  template <typename Structure>
  void Store(Structure& structure, LPBYTE buffer) const {
    for (const Placed& placed : texts_) {
      auto* const target = buffer + placed.offset;
      std::memcpy(target, placed.text->c_str(), (placed.text->size() + 1) * sizeof(wchar_t));
      void* const address = target;
      *placed.field = static_cast<LPWSTR>(address);
    }
    std::memcpy(buffer, &structure, sizeof(structure));
  }

 private:
  struct Placed {
    LPWSTR* field;
    const std::wstring* text;
    std::size_t offset;
  };

  std::size_t needed_;
  std::vector<Placed> texts_;
};

// The fields that both levels have under the same names.
template <typename JobInfo>
void FillCommon(JobInfo& job, JobPacker& packer, const JobTicket& ticket, const JobView& view, DWORD status) {
  job.JobId = ticket.jobId;
  job.Status = status;
  job.Position = view.position;
  job.TotalPages = ticket.totalPages;
  job.PagesPrinted = view.pagesPrinted;
  packer.Text(job.pPrinterName, ticket.printerName);
  packer.Text(job.pUserName, ticket.userName);
  packer.Text(job.pDocument, ticket.documentName);
  static const std::wstring raw = L"RAW";
  packer.Text(job.pDatatype, raw);
  if (!view.text.empty()) {
    packer.Text(job.pStatus, view.text);
  }
}

template <typename JobInfo>
DWORD Deliver(JobInfo& job, const JobPacker& packer, LPBYTE buffer, DWORD size, DWORD* needed) {
  if (needed != nullptr) {
    *needed = packer.Needed();
  }
  if (buffer == nullptr || size < packer.Needed()) {
    return ERROR_INSUFFICIENT_BUFFER;
  }
  packer.Store(job, buffer);
  return ERROR_SUCCESS;
}

}  // namespace

JobRecord::JobRecord(JobTicket ticket, JobObserver observer)
    : ticket_(std::move(ticket)), observer_(std::move(observer)) {
  view_.status = JOB_STATUS_SPOOLING;
}

DWORD JobRecord::StatusWord() const {
  return view_.status | (view_.deleteAsked ? JOB_STATUS_DELETING : 0) | (view_.restartAsked ? JOB_STATUS_RESTART : 0);
}

JobView JobRecord::View() const {
  const std::lock_guard lock(mutex_);
  JobView view = view_;
  view.status = StatusWord();
  return view;
}

void JobRecord::BeginRun() {
  bool messageWasShown = false;
  {
    const std::lock_guard lock(mutex_);
    messageWasShown = !view_.text.empty();
    JobView fresh;
    fresh.status = JOB_STATUS_PRINTING;
    fresh.deleteAsked = view_.deleteAsked;
    fresh.deletedByPerson = view_.deletedByPerson;
    fresh.queries = view_.queries;
    view_ = fresh;
  }
  if (messageWasShown && observer_.messageCleared) {
    observer_.messageCleared();
  }
}

void JobRecord::RequestDelete() {
  const std::lock_guard lock(mutex_);
  view_.deleteAsked = true;
  view_.deletedByPerson = true;
}

bool JobRecord::DeleteAsked() const {
  const std::lock_guard lock(mutex_);
  return view_.deleteAsked;
}

DWORD JobRecord::Read(DWORD level, LPBYTE job, DWORD size, DWORD* needed) {
  const std::lock_guard lock(mutex_);
  if (level == 1) {
    ++view_.queries;
    JOB_INFO_1W info{};
    JobPacker packer(sizeof(info));
    FillCommon(info, packer, ticket_, view_, StatusWord());
    return Deliver(info, packer, job, size, needed);
  }
  if (level == 2) {
    JOB_INFO_2W info{};
    JobPacker packer(sizeof(info));
    FillCommon(info, packer, ticket_, view_, StatusWord());
    packer.Text(info.pDriverName, ticket_.driverName);
    info.Size = ticket_.documentBytes;
    return Deliver(info, packer, job, size, needed);
  }
  return ERROR_INVALID_LEVEL;
}

DWORD JobRecord::SetFields(const JOB_INFO_1W& fields) {
  const std::wstring text = fields.pStatus == nullptr ? std::wstring() : std::wstring(fields.pStatus);
  const Change change = Apply(fields, text);
  if (change.messageCleared && observer_.messageCleared) {
    observer_.messageCleared();
  }
  if (change.messageShown && observer_.messageShown) {
    observer_.messageShown(text);
  }
  if (change.newlyAcknowledged != 0 && observer_.labelsAcknowledged) {
    observer_.labelsAcknowledged(change.newlyAcknowledged);
  }
  return ERROR_SUCCESS;
}

JobRecord::Change JobRecord::Apply(const JOB_INFO_1W& fields, const std::wstring& text) {
  const std::lock_guard lock(mutex_);
  Change change;
  change.messageShown = !text.empty() && text != view_.text;
  change.messageCleared = text.empty() && !view_.text.empty();
  view_.text = text;
  view_.status = (fields.Status & ~kOwnStatusBits) | (view_.status & JOB_STATUS_PAUSED);
  view_.complete = view_.complete || (fields.Status & JOB_STATUS_COMPLETE) != 0;
  // Position 0 is JOB_POSITION_UNSPECIFIED: the job stays where it is in the queue.
  view_.position = fields.Position == JOB_POSITION_UNSPECIFIED ? view_.position : fields.Position;
  view_.pagesPrinted = fields.PagesPrinted;
  if (fields.PagesPrinted > view_.mostPagesPrinted) {
    view_.mostPagesPrinted = change.newlyAcknowledged = fields.PagesPrinted;
  }
  return change;
}

DWORD JobRecord::Command(DWORD command) {
  const std::lock_guard lock(mutex_);
  switch (command) {
    case JOB_CONTROL_PAUSE:
      view_.status |= JOB_STATUS_PAUSED;
      return ERROR_SUCCESS;
    case JOB_CONTROL_RESUME:
      view_.status &= ~JOB_STATUS_PAUSED;
      return ERROR_SUCCESS;
    case JOB_CONTROL_RESTART:
      view_.restartAsked = true;
      return ERROR_SUCCESS;
    case JOB_CONTROL_CANCEL:
    case JOB_CONTROL_DELETE:
      view_.deleteAsked = true;
      return ERROR_SUCCESS;
    case JOB_CONTROL_SENT_TO_PRINTER:
      view_.sent = true;
      return ERROR_SUCCESS;
    case JOB_CONTROL_LAST_PAGE_EJECTED:
      view_.ejected = true;
      return ERROR_SUCCESS;
    default:
      return ERROR_INVALID_PARAMETER;
  }
}

}  // namespace sc3xx
