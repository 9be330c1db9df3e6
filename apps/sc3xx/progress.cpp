#include "apps/sc3xx/progress.h"

#include <utility>

#include "apps/sc3xx/terminal_text.h"
#include "apps/spooler/last_error.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

// Shorter waits are the normal pace of printing and would only flicker.
constexpr std::uint64_t kWorthMentioningMs = 2000;

std::string Seconds(std::uint64_t milliseconds) {
  return std::to_string(milliseconds / 1000) + " s";
}

}  // namespace

Progress::Progress(std::ostream& stream, std::ostream& debug, bool live, unsigned columns,
                   std::function<std::uint64_t()> ticks)
    : stream_(stream), debug_(debug), live_(live), columns_(columns < 20 ? 20 : columns), ticks_(std::move(ticks)) {}

void Progress::WriteLine(std::string_view text) {
  EraseLiveLine();
  stream_ << text << '\n';
  Redraw();
  stream_.flush();
}

void Progress::EraseLiveLine() {
  if (liveLineShown_) {
    stream_ << "\r\x1b[K";
    liveLineShown_ = false;
  }
}

std::string Progress::LiveText() const {
  if (acknowledged_ >= labels_ && message_.empty() && trouble_.empty() && !deleting_) {
    return {};
  }
  std::string text = "  label " + std::to_string(acknowledged_ + 1) + " of " + std::to_string(labels_);
  if (acknowledged_ >= labels_) {
    text = "  end of job";
  }
  const std::string& said = !message_.empty() ? message_ : !trouble_.empty() ? trouble_ : connecting_;
  text += deleting_ ? ": deleting the job" : said.empty() ? " ..." : ": " + said;
  const std::uint64_t now = ticks_();
  const std::uint64_t since = message_.empty() ? sinceMs_ : messageSinceMs_;
  if (now - since >= kWorthMentioningMs) {
    text += ", waiting " + Seconds(now - since);
  }
  return text;
}

void Progress::Redraw() {
  const std::string text = live_ && inJob_ && !debugLineOpen_ ? LiveText() : std::string();
  if (text.empty() || (liveLineShown_ && text == liveText_)) {
    return;
  }
  EraseLiveLine();
  stream_ << CutToColumns(text, columns_ - 1);
  stream_.flush();
  liveLineShown_ = true;
  liveText_ = text;
}

void Progress::BeginJob(const std::string& heading, std::size_t labels) {
  const std::lock_guard lock(mutex_);
  inJob_ = true;
  labels_ = labels;
  acknowledged_ = 0;
  sinceMs_ = ticks_();
  message_.clear();
  trouble_.clear();
  connecting_.clear();
  contactLost_ = false;
  WriteLine(heading);
}

void Progress::EndJob() {
  const std::lock_guard lock(mutex_);
  inJob_ = false;
  EraseLiveLine();
  stream_.flush();
}

void Progress::LabelsAcknowledged(DWORD labels) {
  const std::lock_guard lock(mutex_);
  trouble_.clear();
  sinceMs_ = ticks_();
  while (acknowledged_ < labels) {
    ++acknowledged_;
    WriteLine("  label " + std::to_string(acknowledged_) + " of " + std::to_string(labels_) + " printed");
  }
}

void Progress::MessageShown(const std::wstring& text) {
  const std::lock_guard lock(mutex_);
  message_ = sc3xxmon::platform::ToUtf8(text);
  messageSinceMs_ = ticks_();
  WriteLine("  printer: " + message_);
}

void Progress::MessageCleared() {
  const std::lock_guard lock(mutex_);
  message_.clear();
  sinceMs_ = ticks_();
  WriteLine("  printer: ready again after " + Seconds(ticks_() - messageSinceMs_));
}

void Progress::Restarted(std::uint32_t restarts) {
  const std::lock_guard lock(mutex_);
  acknowledged_ = 0;
  sinceMs_ = ticks_();
  WriteLine("  contact with the printer was lost; the job starts again from its first label (restart " +
            std::to_string(restarts) + ")");
}

void Progress::TellOnce(std::string& last, const std::string& text) {
  if (std::exchange(last, text) != text) {
    WriteLine("  " + text);
  }
}

void Progress::Refused(DWORD errorCode) {
  const std::lock_guard lock(mutex_);
  TellOnce(trouble_, "the printer can't take data just now" +
                         (errorCode == ERROR_SUCCESS ? "" : ": " + DescribeErrorCode(errorCode)));
}

void Progress::StartRefused(DWORD errorCode) {
  const std::lock_guard lock(mutex_);
  TellOnce(trouble_, errorCode == ERROR_BUSY
                         ? "another document has the printer"
                         : "the port doesn't accept the document yet: " + DescribeErrorCode(errorCode));
}

void Progress::Connecting(const std::string& where) {
  const std::lock_guard lock(mutex_);
  connecting_ = "connecting to " + where;
  Redraw();
}

void Progress::Connected() {
  const std::lock_guard lock(mutex_);
  connecting_.clear();
  Redraw();
}

void Progress::ContactLost(const std::string& reason) {
  const std::lock_guard lock(mutex_);
  contactLost_ = true;
  TellOnce(trouble_, "no contact: " + reason);
}

void Progress::ContactMayBeBack() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(contactLost_, false)) {
    trouble_.clear();
  }
}

void Progress::DeletionAsked() {
  const std::lock_guard lock(mutex_);
  deleting_ = true;
  WriteLine("  deleting the job (press Ctrl-C again to leave at once)");
}

void Progress::Tick() {
  const std::lock_guard lock(mutex_);
  Redraw();
}

void Progress::Line(std::string_view text) {
  const std::lock_guard lock(mutex_);
  WriteLine(text);
}

void Progress::DebugText(std::string_view text) {
  const std::lock_guard lock(mutex_);
  EraseLiveLine();
  stream_.flush();
  debug_ << text << std::flush;
  debugLineOpen_ = !text.empty() && text.back() != '\n';
  if (!debugLineOpen_) {
    Redraw();
  }
}

}  // namespace sc3xx
