// A text as a regular expression has it, the same on every system: GoogleTest's own matcher knows classes of characters
// only where the system has POSIX expressions.
#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace sc3xxmon::test {

MATCHER_P(MatchesPattern, pattern, std::string(negation ? "doesn't match " : "matches ") + pattern) {
  return std::regex_match(std::string(arg), std::regex(pattern));
}

}  // namespace sc3xxmon::test
