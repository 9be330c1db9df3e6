#include "simulator/fault_script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace simulator {
namespace {

enum class ValueNeed { kNone, kOptional, kRequired };

// One row a kind: everything that the text form says of it.
struct KindRow {
  FaultKind kind;
  std::string_view name;
  ValueNeed need;
  std::uint32_t defaultValue;
  std::uint32_t most;
  std::string_view valueName;
  std::string_view meaning;
};

constexpr std::uint32_t kAnyNumber = std::numeric_limits<std::uint32_t>::max();

constexpr std::array<KindRow, 16> kKinds{{
    {FaultKind::kBay, "bay", ValueNeed::kRequired, 0, 255, "STATE",
     "media state: 1 bay open, 2 out of labels, 3 wrong media, 9 jam, 10 unknown label; 6 to 8 are good"},
    {FaultKind::kHead, "head", ValueNeed::kOptional, 1, 255, "STATE", "print head too hot"},
    {FaultKind::kCutter, "cutter", ValueNeed::kOptional, 4, 255, "STATE", "cutter jam (4)"},
    {FaultKind::kBattery, "battery", ValueNeed::kNone, 0, 0, "", "battery too low"},
    {FaultKind::kCommunication, "communication", ValueNeed::kNone, 0, 0, "", "the printer's communication error bit"},
    {FaultKind::kErrorBits, "error-bits", ValueNeed::kRequired, 0, kAnyNumber, "BITS", "other bits of the error word"},
    {FaultKind::kStatus, "status", ValueNeed::kRequired, 0, 255, "VALUE", "the status byte itself"},
    {FaultKind::kShortAnswer, "short", ValueNeed::kRequired, 0, kAnyNumber, "BYTES",
     "an answer is cut to so many bytes"},
    {FaultKind::kLateAnswer, "late", ValueNeed::kRequired, 0, kAnyNumber, "TIME", "an answer comes late"},
    {FaultKind::kNoAnswer, "silent", ValueNeed::kNone, 0, 0, "", "an answer never comes"},
    {FaultKind::kWriteFails, "write-fails", ValueNeed::kOptional, 0, kAnyNumber, "BYTES",
     "a write fails, after so many bytes"},
    {FaultKind::kWriteTakesPart, "write-part", ValueNeed::kRequired, 0, kAnyNumber, "BYTES",
     "a write takes only so many bytes"},
    {FaultKind::kReadFails, "read-fails", ValueNeed::kNone, 0, 0, "", "a read fails"},
    {FaultKind::kLock, "lock", ValueNeed::kNone, 0, 0, "", "somebody else has the printer"},
    {FaultKind::kCancel, "cancel", ValueNeed::kNone, 0, 0, "", "the job is cancelled at the printer"},
    {FaultKind::kPowerOff, "power-off", ValueNeed::kNone, 0, 0, "", "the power goes, and with it all that it holds"},
}};

const KindRow& RowOf(FaultKind kind) {
  return *std::find_if(kKinds.begin(), kKinds.end(), [kind](const KindRow& row) { return row.kind == kind; });
}

std::string KindChoices() {
  std::string choices;
  for (const KindRow& row : kKinds) choices.append(choices.empty() ? "" : ", ").append(row.name);
  return choices;
}

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// Thrown and caught in this file only: the parse stops at the first thing that is wrong.
struct Wrong {
  std::string message;
};

std::uint64_t ParseNumber(std::string_view text, std::string_view what, std::uint64_t most) {
  const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string_view digits = hexadecimal ? text.substr(2) : text;
  std::uint64_t number = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
  if (error == std::errc::result_out_of_range || (error == std::errc{} && number > most)) {
    throw Wrong{std::string(what) + " " + Quoted(text) + " is too large; the most is " + std::to_string(most)};
  }
  if (error != std::errc{} || end != digits.data() + digits.size()) {
    throw Wrong{std::string(what) + " " + Quoted(text) + " is not a number"};
  }
  return number;
}

std::uint64_t ParseTime(std::string_view text, std::string_view what) {
  double number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number, std::chars_format::fixed);
  const std::string_view unit(end, static_cast<std::size_t>(last - end));
  double milliseconds = number * 1000.0;
  if (unit == "ms") milliseconds = number;
  if (unit == "min") milliseconds = number * 60000.0;
  const bool knownUnit = unit.empty() || unit == "s" || unit == "ms" || unit == "min";
  if (error != std::errc{} || !knownUnit || !std::isfinite(milliseconds) || milliseconds < 0.0) {
    throw Wrong{std::string(what) + " " + Quoted(text) + " is not a time such as 3s, 250ms or 2min"};
  }
  if (milliseconds > 4.0e9) throw Wrong{std::string(what) + " " + Quoted(text) + " is longer than 46 days"};
  return static_cast<std::uint64_t>(std::llround(milliseconds));
}

void ParseKind(std::string_view text, Fault& fault) {
  const std::size_t equals = text.find('=');
  const std::string_view name = text.substr(0, equals);
  const auto row =
      std::find_if(kKinds.begin(), kKinds.end(), [name](const KindRow& each) { return each.name == name; });
  if (row == kKinds.end()) throw Wrong{"no fault is called " + Quoted(name) + "; there are " + KindChoices()};
  fault.kind = row->kind;
  fault.value = row->defaultValue;
  if (equals == std::string_view::npos) {
    if (row->need == ValueNeed::kRequired) {
      throw Wrong{Quoted(name) + " needs a value: " + std::string(name) + "=" + std::string(row->valueName)};
    }
    return;
  }
  if (row->need == ValueNeed::kNone) throw Wrong{Quoted(name) + " takes no value"};
  const std::string_view value = text.substr(equals + 1);
  const std::uint64_t number =
      row->kind == FaultKind::kLateAnswer ? ParseTime(value, "value") : ParseNumber(value, "value", row->most);
  fault.value = static_cast<std::uint32_t>(number);
}

void ParseTrigger(std::string_view text, Fault& fault) {
  constexpr std::array<std::pair<std::string_view, FaultTrigger>, 3> kTriggers{{
      {"label:", FaultTrigger::kLabel},
      {"call:", FaultTrigger::kCall},
      {"exchange:", FaultTrigger::kExchange},
  }};
  for (const auto& [prefix, trigger] : kTriggers) {
    if (text.substr(0, prefix.size()) != prefix) continue;
    fault.trigger = trigger;
    fault.at = ParseNumber(text.substr(prefix.size()), prefix, kAnyNumber);
    if (fault.at == 0) throw Wrong{Quoted(text) + ": they are counted from 1"};
    return;
  }
  if (text.find(':') != std::string_view::npos) {
    throw Wrong{"nothing begins at " + Quoted(text) + "; say @label:N, @call:N, @exchange:N or a time such as @2s"};
  }
  fault.trigger = FaultTrigger::kTime;
  fault.at = ParseTime(text, "begin");
}

void ParseLimit(std::string_view text, Fault& fault) {
  if (text.substr(0, 4) == "for:") {
    fault.forMs = ParseTime(text.substr(4), "for:");
  } else if (text.substr(0, 6) == "count:") {
    fault.count = static_cast<std::uint32_t>(ParseNumber(text.substr(6), "count:", kAnyNumber));
    if (*fault.count == 0) throw Wrong{"count:0 would never happen"};
  } else {
    throw Wrong{"nothing ends with " + Quoted(text) + "; say for:TIME or count:N"};
  }
}

Fault Parse(std::string_view text) {
  Fault fault;
  std::size_t comma = text.find(',');
  const std::string_view first = text.substr(0, comma);
  const std::size_t at = first.find('@');
  ParseKind(first.substr(0, at), fault);
  if (at != std::string_view::npos) ParseTrigger(first.substr(at + 1), fault);
  while (comma != std::string_view::npos) {
    text = text.substr(comma + 1);
    comma = text.find(',');
    ParseLimit(text.substr(0, comma), fault);
  }
  return fault;
}

std::string FormatTime(std::uint64_t milliseconds) {
  if (milliseconds % 1000 == 0) return std::to_string(milliseconds / 1000) + "s";
  return std::to_string(milliseconds) + "ms";
}

std::string FormatTrigger(const Fault& fault) {
  switch (fault.trigger) {
    case FaultTrigger::kTime:
      return fault.at == 0 ? "" : std::string("@").append(FormatTime(fault.at));
    case FaultTrigger::kLabel:
      return "@label:" + std::to_string(fault.at);
    case FaultTrigger::kCall:
      return "@call:" + std::to_string(fault.at);
    case FaultTrigger::kExchange:
      return "@exchange:" + std::to_string(fault.at);
  }
  return {};
}

}  // namespace

std::variant<Fault, FaultScriptError> ParseFault(std::string_view text) {
  try {
    return Parse(text);
  } catch (const Wrong& wrong) {
    return FaultScriptError{"fault " + Quoted(text) + ": " + wrong.message};
  }
}

std::string FormatFault(const Fault& fault) {
  const KindRow& row = RowOf(fault.kind);
  std::string text(row.name);
  if (row.need != ValueNeed::kNone) {
    text.append("=").append(fault.kind == FaultKind::kLateAnswer ? FormatTime(fault.value)
                                                                 : std::to_string(fault.value));
  }
  text += FormatTrigger(fault);
  if (fault.forMs) text.append(",for:").append(FormatTime(*fault.forMs));
  if (fault.count) text.append(",count:").append(std::to_string(*fault.count));
  return text;
}

std::string_view FaultName(FaultKind kind) {
  return RowOf(kind).name;
}

std::string FaultScriptHelp() {
  std::string help =
      "FAULT is KIND[=VALUE][@BEGIN][,for:TIME][,count:N]\n"
      "BEGIN is a time (2s), label:N (the N-th label begins to print), call:N (the N-th read or write)\n"
      "or exchange:N (the N-th request for an answer); without it the fault is there from the start.\n"
      "A TIME is 3s, 250ms or 2min. Without for: and count:, faults of answers and transfers and the\n"
      "cancel happen once, and the others stand until the end.\n";
  for (const KindRow& row : kKinds) {
    std::string name(row.name);
    if (row.need == ValueNeed::kRequired) name.append("=").append(row.valueName);
    if (row.need == ValueNeed::kOptional) name.append("[=").append(row.valueName).append("]");
    name.resize(std::max<std::size_t>(name.size() + 2, 22), ' ');
    help.append("  ").append(name).append(row.meaning).append("\n");
  }
  help += "Examples: bay=2@label:3,for:5s  power-off@label:2,for:4s  status=5@label:2,count:1  silent@exchange:3\n";
  return help;
}

}  // namespace simulator
