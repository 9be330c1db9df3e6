// While the printer can't print, the person at the computer has to see why. The job's error state lives in the spooler;
// the monitor keeps no copy but the flags that the readiness wait holds from round to round.

#include <array>
#include <iterator>

#include "diag/debug_log.h"
#include "engine/engine.h"
#include "monitor/module_handle.h"
#include "monitor/printer_models.h"
#include "platform/string_table.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kErrorWord = JOB_STATUS_ERROR | JOB_STATUS_USER_INTERVENTION;
constexpr std::uint32_t kPaperOutWord = JOB_STATUS_PAPEROUT | JOB_STATUS_USER_INTERVENTION;

constexpr std::size_t kLongestText = 1024;

struct Message {
  std::uint32_t statusWord;  // 0: no message
  std::uint32_t stringId;
};

// By the record's Bay value; a value beyond the table stops the job too, but shows nothing.
constexpr Message kMediaMessages[] = {
    {kErrorWord, 14},     // out of labels
    {kErrorWord, 13},     // bay open
    {kPaperOutWord, 14},  // out of labels
    {kErrorWord, 15},     // wrong media
    {kErrorWord, 14},     // out of labels
    {kPaperOutWord, 16},  // out of labels
    {0, 0},               // good
    {0, 0},               // good
    {0, 0},               // good
    {kErrorWord, 11},     // label jam
    {kErrorWord, 12},     // unknown label
};

constexpr Message kHeadMessage = {kErrorWord, 9};
constexpr Message kBatteryMessage = {kErrorWord, 17};
constexpr Message kCutterMessage = {kErrorWord, 18};

void Show(CLangMon& langMon, const Message& message) {
  if (message.statusWord != 0) {
    langMon.SetJobStatusMessageUI(message.statusWord, message.stringId);
  }
}

}  // namespace

void CLangMon::SetJobStatusMessageUI(std::uint32_t statusWord, std::uint32_t stringId) {
  std::array<wchar_t, kLongestText> text{};
  KovaDebugPrint(At("CLangMon::SetJobStatusMessageUI"), "");
  platform::LoadText(ModuleHandle(), stringId, text.data(), text.size());
  CurrentJob()->SetJobMessage(statusWord, text.data());
}

void SetJobErrorState(CLangMon& langMon, const StatusRecord& record, std::uint32_t flags) {
  constexpr char kFunction[] = "SetJobErrorState";
  if ((flags & kBatteryError) != 0) {
    KovaDebugPrint(At(kFunction), "Battery level became too low");
    Show(langMon, kBatteryMessage);
  } else if ((flags & kCutterError) != 0) {
    KovaDebugPrint(At(kFunction), "Cutter status has become BAD");
    Show(langMon, kCutterMessage);
  } else if ((flags & kHeadError) != 0) {
    KovaDebugPrint(At(kFunction), "PH status has become BAD");
    Show(langMon, kHeadMessage);
  } else if ((flags & kMediaError) != 0) {
    const std::uint8_t bay = record.Bay();
    KovaDebugPrint(At(kFunction), "Media status has become BAD: %d", bay);
    Show(langMon, bay < std::size(kMediaMessages) ? kMediaMessages[bay] : Message{0, 0});
  }
}

void LogErrorsGone(const char* function, std::uint32_t flags) {
  struct Line {
    std::uint32_t flag;
    const char* text;
  };
  constexpr Line kLines[] = {
      {kBatteryError, "Battery level GOOD"},
      {kCutterError, "Cutter status has become GOOD"},
      {kHeadError, "PH status has become GOOD"},
      {kMediaError, "Media status GOOD"},
  };
  for (const Line& line : kLines) {
    if ((flags & line.flag) != 0) {
      KovaDebugPrint(At(function), line.text);
    }
  }
}

void ClearJobErrorState(CLangMon& langMon, std::uint32_t flags, bool resume) {
  LogErrorsGone("ClearJobErrorState", flags);
  if (!resume) {
    return;
  }
  const auto job = langMon.CurrentJob();
  if (!PrinterModelRow(job->Model).tape) {
    langMon.SendShortFormFeed();
  }
  job->SetJobState(JOB_STATUS_PRINTING, 0);
  job->Resume();
}

}  // namespace sc3xxmon
