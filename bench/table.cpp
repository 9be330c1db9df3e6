#include "bench/table.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sc3xxmon::bench {
namespace {

constexpr std::size_t kColumns = 4;
using Cells = std::array<std::string, kColumns>;

std::string Number(double value, const char* unit) {
  char text[48];
  std::snprintf(text, sizeof(text), "%.2f%s", value, unit);
  return text;
}

std::string AimText(const TableRow& row) {
  switch (row.aim.kind) {
    case AimKind::kAtLeast:
      return "at least " + Number(row.aim.value, row.unit);
    case AimKind::kAtMost:
      return "at most " + Number(row.aim.value, row.unit);
    case AimKind::kBelow:
      return "below " + Number(row.aim.value, row.unit);
    case AimKind::kNone:
      break;
  }
  return "-";
}

std::string Verdict(const TableRow& row) {
  if (row.aim.kind == AimKind::kNone) {
    return "-";
  }
  return row.Met() ? "yes" : "NO";
}

std::string Joined(const Cells& cells, const std::array<std::size_t, kColumns>& widths, TableForm form) {
  const bool markdown = form == TableForm::kMarkdown;
  std::string line = markdown ? "| " : "";
  for (std::size_t column = 0; column < kColumns; ++column) {
    const bool last = column + 1 == kColumns;
    line += cells[column];
    line.append(last && !markdown ? 0 : widths[column] - cells[column].size(), ' ');
    line += last ? (markdown ? " |" : "") : " | ";
  }
  return line + "\n";
}

}  // namespace

bool TableRow::Met() const {
  switch (aim.kind) {
    case AimKind::kAtLeast:
      return measured >= aim.value;
    case AimKind::kAtMost:
      return measured <= aim.value;
    case AimKind::kBelow:
      return measured < aim.value;
    case AimKind::kNone:
      break;
  }
  return true;
}

std::string FormatTable(const std::vector<TableRow>& rows, TableForm form) {
  std::vector<Cells> lines{{"what", "measured", "aim", "ok"}};
  for (const TableRow& row : rows) {
    lines.push_back({row.what, Number(row.measured, row.unit), AimText(row), Verdict(row)});
  }
  std::array<std::size_t, kColumns> widths{};
  for (const Cells& cells : lines) {
    for (std::size_t column = 0; column < kColumns; ++column) {
      widths[column] = std::max(widths[column], cells[column].size());
    }
  }
  Cells rule;
  std::transform(widths.begin(), widths.end(), rule.begin(), [](std::size_t width) { return std::string(width, '-'); });
  lines.insert(lines.begin() + 1, rule);
  std::string text;
  for (const Cells& cells : lines) {
    text += Joined(cells, widths, form);
  }
  return text;
}

}  // namespace sc3xxmon::bench
