#include "simulator/models.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace simulator {
namespace {

constexpr auto kPlain = StatusForm::kPlain;
constexpr auto kEscapeS = StatusForm::kEscapeS;
constexpr auto kAscii = HardwareIdForm::kAsciiHex;
constexpr auto kBinary = HardwareIdForm::kBinary;

// Speeds are those of ordinary labels; the dual printers feed one roll at a time.
constexpr std::array<PrinterModel, 9> kModels{{
    {1, "KOVA Scrivelo 310", "SC310", false, 1, 40.0, 32, kPlain, 0x28, kAscii},
    {2, "KOVA Scrivelo 310 Swift", "SC310S", false, 1, 60.0, 32, kPlain, 0x29, kAscii},
    {3, "KOVA Scrivelo 3WD", "SC3WD", false, 1, 40.0, 32, kPlain, 0x2A, kAscii},
    {4, "KOVA Scrivelo 310 Dual Swift", "SC310DS", false, 2, 60.0, 70, kPlain, 0x2B, kAscii},
    {5, "KOVA Scrivelo 310 Plus", "SC310P", false, 1, 70.0, 32, kPlain, 0x2C, kAscii},
    {6, "KOVA Scrivelo 310 Dual Plus", "SC310DP", false, 2, 70.0, 70, kPlain, 0x2D, kAscii},
    {7, "KOVA Scrivelo 3WD Plus", "SC3WDP", false, 1, 60.0, 32, kPlain, 0x2E, kAscii},
    {8, "KOVA Ribbonet Office 410", "RB410", true, 0, 15.0, 32, kEscapeS, 0x100A, kBinary},
    {9, "KOVA Ribbonet Office 430", "RB430", true, 0, 20.0, 32, kEscapeS, 0x1010, kBinary},
}};

bool SameText(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  });
}

}  // namespace

std::span<const PrinterModel> Models() {
  return kModels;
}

const PrinterModel* FindModel(int row) {
  if (row < 1 || row > static_cast<int>(kModels.size())) return nullptr;
  return &kModels[static_cast<std::size_t>(row) - 1];
}

const PrinterModel* FindModel(std::string_view nameOrRow) {
  if (nameOrRow.size() == 1 && nameOrRow[0] >= '1' && nameOrRow[0] <= '9') return FindModel(nameOrRow[0] - '0');
  const auto* found = std::find_if(kModels.begin(), kModels.end(), [&](const PrinterModel& model) {
    return SameText(nameOrRow, model.name) || SameText(nameOrRow, model.shortName);
  });
  return found == kModels.end() ? nullptr : found;
}

std::string ModelChoices() {
  std::string choices;
  for (const PrinterModel& model : kModels) {
    if (!choices.empty()) choices += ", ";
    choices += std::to_string(model.row) + " " + std::string(model.shortName);
  }
  return choices;
}

}  // namespace simulator
