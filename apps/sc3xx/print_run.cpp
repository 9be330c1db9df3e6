#include "apps/sc3xx/print_run.h"

#include "apps/sc3xx/interrupt.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

bool DebugFlagIsOn(const platform::SettingsFile& settings, const wchar_t* name) {
  const std::uint32_t level = settings.Number(platform::kDebugKey, L"DebugLevel", 0);
  return (level == 1 || level == 2) && settings.Number(platform::kDebugKey, name, 0) == 1;
}

// In this mode the monitor passes the stream on unread, so that no label is ever acknowledged.
bool PassesThrough(const platform::SettingsFile& settings) {
  return DebugFlagIsOn(settings, L"BypassMode");
}

std::string CaveatOf(const platform::SettingsFile& settings) {
  if (DebugFlagIsOn(settings, L"NoDeviceIO")) {
    return "NoDeviceIO is on: nothing went to the printer, and its answers were made up.";
  }
  if (PassesThrough(settings)) {
    return "BypassMode is on: the stream was passed on unread, and nothing tells whether labels came out.";
  }
  return {};
}

// The monitor with its host behind it, for as long as this object lives.
class LoadedMonitor {
 public:
  LoadedMonitor(const MonitorDoor& door, const SpoolerHost& host) : door_(door) {
    door_.setHost(&host.Table());
    MONITORINIT init{};
    init.cbSize = sizeof(init);
    init.bLocal = TRUE;
    HANDLE monitor = nullptr;
    table_ = door_.initialize(&init, &monitor);
    if (table_ == nullptr) {
      door_.setHost(nullptr);
      throw PortError("the monitor refuses to start");
    }
  }
  ~LoadedMonitor() { door_.setHost(nullptr); }
  LoadedMonitor(const LoadedMonitor&) = delete;
  LoadedMonitor& operator=(const LoadedMonitor&) = delete;

  MONITOR2& Table() const { return *table_; }

 private:
  const MonitorDoor& door_;
  MONITOR2* table_ = nullptr;
};

int ExitCodeFor(JobOutcome outcome) {
  switch (outcome) {
    case JobOutcome::kPrinted:
      return kExitPrinted;
    case JobOutcome::kDeleted:
      return kExitDeleted;
    case JobOutcome::kFailed:
      break;
  }
  return kExitFailed;
}

}  // namespace

void Deletion::Ask() {
  const std::lock_guard lock(mutex_);
  asked_ = true;
  if (current_ != nullptr) {
    current_->RequestDelete();
  }
  progress_.DeletionAsked();
}

void Deletion::SetCurrent(JobRecord* job) {
  const std::lock_guard lock(mutex_);
  current_ = job;
  if (asked_ && current_ != nullptr) {
    current_->RequestDelete();
  }
}

bool Deletion::Asked() const {
  const std::lock_guard lock(mutex_);
  return asked_;
}

PrintRun::PrintRun(const PrintRequest& request, const PrintPlan& plan, Console& console, const MonitorDoor& door)
    : request_(request),
      plan_(plan),
      console_(console),
      door_(door),
      progress_(request.json ? console.err : console.out, console.err, request.json ? console.liveErr : console.liveOut,
                console.columns, [this] { return host_.TickCount(); }),
      host_(plan.settings, SteadyHostClock(), Hooks()),
      deletion_(progress_) {
  MakePort();
  if (!request_.outFolder.empty()) {
    output_.emplace(request_.outFolder);
  }
}

void PrintRun::MakePort() {
  switch (plan_.port.kind) {
    case PortKind::kVirtual:
      virtualPort_.emplace(plan_.virtualPrinter, host_);
      return;
    case PortKind::kDevice:
      devicePort_.emplace(plan_.port.target);
      return;
    case PortKind::kLan:
      lanPort_.emplace(plan_.lanHost, L"lan:" + platform::FromUtf8(plan_.port.target));
      return;
  }
}

PortBelow PrintRun::Below() {
  return virtualPort_ ? virtualPort_->Below() : devicePort_ ? devicePort_->Below() : lanPort_->Below();
}

// What the port itself knows of its last failure: more than the code that comes through the monitor.
std::string PrintRun::PortTrouble() const {
  return devicePort_ ? devicePort_->LastTrouble() : lanPort_ ? lanPort_->Misuse() : std::string();
}

HostHooks PrintRun::Hooks() {
  HostHooks hooks;
  hooks.beforeSleep = [this](std::uint32_t) { BeforeSleep(); };
  hooks.errorNoted = [this](DWORD code) {
    if (lanPort_) {
      lanPort_->NoteErrorCode(code);
    }
  };
  hooks.debugOutput = [this](std::string_view text) { progress_.DebugText(text); };
  return hooks;
}

void PrintRun::BeforeSleep() {
  const std::string trouble = lanPort_ ? lanPort_->Trouble() : std::string();
  if (!trouble.empty()) {
    progress_.ContactLost(trouble);
  } else if (lanPort_) {
    progress_.ContactMayBeBack();
  }
  progress_.Tick();
}

int PrintRun::Run() {
  for (const std::string& remark : plan_.remarks) {
    console_.err << "sc3xx: note: " << remark << '\n';
  }
  const std::uint64_t startedMs = host_.TickCount();
  {
    const InterruptWatch watch([this] { deletion_.Ask(); });
    PrintAll();
  }
  report_.elapsedMs = host_.TickCount() - startedMs;
  if (!plan_.logRoot.empty()) {
    report_.logFiles = FindLogFiles(plan_.logRoot);
  }
  const JobOutcome outcome = OutcomeOf(report_);
  if (virtualPort_ && outcome == JobOutcome::kPrinted) {
    report_.labelsSentAgain += virtualPort_->LabelsToBeSentAgain();
  }
  TellReasons();
  if (request_.json) {
    WriteJson(report_, console_.out);
  } else {
    WriteSummary(report_, console_.out);
  }
  return ExitCodeFor(outcome);
}

void PrintRun::PrintAll() {
  const LoadedMonitor monitor(door_, host_);
  const std::unique_ptr<MonitorPort> port = OpenPort(monitor.Table());
  DWORD jobId = 0;
  for (const PrintJob& job : plan_.jobs) {
    if (deletion_.Asked()) {
      ++report_.jobsNotStarted;
      continue;
    }
    report_.jobs.push_back(PrintOne(*port, job, ++jobId));
    Collect();
  }
}

std::unique_ptr<MonitorPort> PrintRun::OpenPort(MONITOR2& monitor) {
  const PortBelow below = Below();
  report_.port = platform::ToUtf8(below.name);
  report_.model = plan_.model->name;
  report_.caveat = CaveatOf(plan_.settings);
  try {
    return std::make_unique<MonitorPort>(monitor, below, plan_.printerName);
  } catch (const PortError& error) {
    const std::string trouble = PortTrouble();
    throw PortError(trouble.empty() ? error.what() : trouble);
  }
}

JobReport PrintRun::PrintOne(MonitorPort& port, const PrintJob& job, DWORD jobId) {
  TellBeginning(job, jobId);
  if (lanPort_) {
    progress_.Connecting(lanPort_->HostName());
  }
  JobRecord record(TicketOf(job, jobId), ObserverOfJob());
  RunnerOptions options;
  options.bufferBytes = request_.bufferBytes;
  options.patienceMs = std::uint64_t{request_.patienceSeconds} * 1000;
  StreamExpectation expected = job.expected;
  expected.acknowledgements = !PassesThrough(plan_.settings);
  ByteStream stream(job.bytes);

  host_.AddJob(record);
  deletion_.SetCurrent(&record);
  const DocumentResult result = DocumentRunner(port, host_, record, options, EventsOfRunner()).Print(stream, expected);
  deletion_.SetCurrent(nullptr);
  host_.RemoveJob(jobId);
  progress_.EndJob();
  return {job.name, job.expected.labels, result};
}

JobTicket PrintRun::TicketOf(const PrintJob& job, DWORD jobId) const {
  JobTicket ticket;
  ticket.jobId = jobId;
  ticket.printerName = plan_.printerName;
  ticket.driverName = platform::FromUtf8(plan_.model->name);
  ticket.documentName = platform::FromUtf8(job.name);
  ticket.documentBytes = static_cast<DWORD>(job.bytes.size());
  ticket.totalPages = static_cast<DWORD>(job.expected.labels);
  return ticket;
}

void PrintRun::TellBeginning(const PrintJob& job, DWORD jobId) {
  std::string heading = job.name;
  if (plan_.jobs.size() > 1) {
    heading += " (job " + std::to_string(jobId) + " of " + std::to_string(plan_.jobs.size()) + ")";
  }
  const std::size_t labels = job.expected.labels;
  heading += ": " + std::to_string(labels) + (labels == 1 ? " label" : " labels");
  progress_.BeginJob(heading, labels);
  if (!job.expected.defect.empty()) {
    progress_.Line("  warning: the stream is broken at " + job.expected.defect + "; " + job.consequence);
  }
}

JobObserver PrintRun::ObserverOfJob() {
  JobObserver observer;
  observer.labelsAcknowledged = [this](DWORD labels) { progress_.LabelsAcknowledged(labels); };
  observer.messageShown = [this](const std::wstring& text) { progress_.MessageShown(text); };
  observer.messageCleared = [this] { progress_.MessageCleared(); };
  return observer;
}

RunnerEvents PrintRun::EventsOfRunner() {
  RunnerEvents events;
  events.started = [this] { progress_.Connected(); };
  events.restarted = [this](std::uint32_t restarts) { progress_.Restarted(restarts); };
  events.refused = [this](DWORD code) { progress_.Refused(code); };
  events.startRefused = [this](DWORD code) { progress_.StartRefused(code); };
  return events;
}

// After each job, so that what was printed is on disk even if a later job fails.
void PrintRun::Collect() {
  const JobReport& job = report_.jobs.back();
  if (!virtualPort_) {
    report_.labelsRepeated += job.result.labelsRepeated;
    return;
  }
  virtualPort_->WaitUntilIdle();
  const std::vector<simulator::PrintedLabel> printed = virtualPort_->TakePrinted();
  if (job.result.outcome == JobOutcome::kPrinted && printed.size() > job.labels) {
    report_.labelsRepeated += printed.size() - job.labels;
  }
  if (output_) {
    output_->Add(printed);
    output_->Add(virtualPort_->TakeTranscript());
    report_.pictures = output_->Pictures();
    report_.transcript = output_->TranscriptPath();
  }
}

void PrintRun::TellReasons() {
  const std::string device = PortTrouble();
  for (const JobReport& job : report_.jobs) {
    if (job.result.reason.empty()) {
      continue;
    }
    console_.err << "sc3xx: " << job.name << ": " << job.result.reason;
    if (job.result.outcome == JobOutcome::kFailed && !device.empty()) {
      console_.err << " (" << device << ")";
    }
    console_.err << '\n';
  }
  console_.err.flush();
}

}  // namespace sc3xx
