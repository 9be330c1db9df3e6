#include "log_stories/masked_log.h"

#include <gtest/gtest.h>

#include <regex>

#include "support/log_root.h"

namespace sc3xxmon::test {
namespace {

// What stands behind time and thread. The rest isn't part of the pattern: lines are long, and the standard library's
// matching goes as deep as they are.
std::string Message(const std::string& line) {
  static const std::regex stamp("\\[[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9]{3}\\] \\[[0-9A-F]{4,}\\] ");
  std::smatch found;
  if (!std::regex_search(line, found, stamp, std::regex_constants::match_continuous)) {
    ADD_FAILURE() << "no line of a log: " << line;
    return line;
  }
  return found.suffix();
}

std::string WithoutLineNumber(const std::string& message) {
  static const std::regex prefix("^\\[218:([A-Za-z0-9_:]+),[0-9]{4,}\\] ");
  return std::regex_replace(message, prefix, "[218:$1] ");
}

std::string WithoutBuildDate(const std::string& message) {
  static const std::regex atLoad(" built on [A-Z][a-z]{2} [ 0-9]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}$");
  static const std::regex atUnload(" Date\\[[A-Z][a-z]{2} [ 0-9]{2} [0-9]{4}\\] Time\\[[0-9]{2}:[0-9]{2}:[0-9]{2}\\] ");
  return std::regex_replace(std::regex_replace(message, atLoad, " built on DATE TIME"), atUnload, " Date Time ");
}

}  // namespace

std::vector<std::string> MaskedLines(const std::filesystem::path& log) {
  std::vector<std::string> lines = LinesOf(TextOfFile(log));
  for (std::string& line : lines) {
    line = WithoutBuildDate(WithoutLineNumber(Message(line)));
  }
  return lines;
}

}  // namespace sc3xxmon::test
