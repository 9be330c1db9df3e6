#include "monitor/langmon.h"

#include "job/failure.h"
#include "monitor/options.h"
#include "platform/last_error.h"
#include "platform/named_event.h"

namespace sc3xxmon {
namespace {

const wchar_t* ValidName(const wchar_t* name) {
  if (name == nullptr) {
    throw Exception("name parameter is invalid");
  }
  return name;
}

}  // namespace

CLangMon::CLangMon(const wchar_t* name) : Name(ValidName(name)) {
  Monitor.cbSize = sizeof(MONITOR2);
}

CLangMon::~CLangMon() {
  if (SyncEvent != nullptr) {
    platform::CloseNamedEvent(SyncEvent);
  }
}

std::shared_ptr<CPrintJob> CLangMon::CurrentJob() const {
  return Jobs.empty() ? nullptr : Jobs.back();
}

void CLangMon::PushJob(std::shared_ptr<CPrintJob> job) {
  Jobs.push_back(std::move(job));
}

std::shared_ptr<CPrintJob> CLangMon::PopJob() {
  if (Jobs.empty()) {
    return nullptr;
  }
  std::shared_ptr<CPrintJob> job = std::move(Jobs.back());
  Jobs.pop_back();
  return job;
}

bool CLangMon::HasCurrentJob() const {
  if (CurrentJob() != nullptr) {
    return true;
  }
  platform::SetLastErrorCode(ERROR_INVALID_PARAMETER);
  return false;
}

bool CLangMon::CanRecoverInPlace() const {
  return isUsb == 0 && SendIPHs != 0;
}

std::uint32_t CLangMon::CurrentModel() const {
  const auto job = CurrentJob();
  return job != nullptr ? job->Model : 0;
}

}  // namespace sc3xxmon
