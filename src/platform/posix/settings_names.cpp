#include "platform/posix/settings_names.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace sc3xxmon::platform {
namespace {

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Levenshtein's distance without regard to case: how many letters to insert, delete or replace.
std::size_t LettersToChange(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (LowerAscii(from[i]) == LowerAscii(to[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string_view ClosestName(std::string_view word, std::span<const std::string_view> candidates) {
  std::string_view closest;
  std::size_t fewest = word.size() / 3 + 2;  // beyond this a guess only misleads
  for (const std::string_view candidate : candidates) {
    const std::size_t changes = LettersToChange(word, candidate);
    if (changes < fewest && changes < candidate.size()) {
      fewest = changes;
      closest = candidate;
    }
  }
  return closest;
}

std::string JoinNames(std::span<const std::string_view> names) {
  std::string joined;
  for (const std::string_view name : names) {
    joined += joined.empty() ? "" : ", ";
    joined += name;
  }
  return joined;
}

}  // namespace sc3xxmon::platform
