#include "log_stories/story_log.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "log_stories/fresh_library.h"
#include "log_stories/masked_log.h"

namespace sc3xxmon::test {
namespace {

namespace fs = std::filesystem;

std::string Replaced(std::string line, const std::string& word, const std::string& by) {
  for (std::size_t at = line.find(word); at != std::string::npos; at = line.find(word, at + by.size())) {
    line.replace(at, word.size(), by);
  }
  return line;
}

void LeaveText(const std::string& story, const std::vector<std::string>& lines) {
  const char* folder = std::getenv("SC3XXMON_STORIES_OUT");
  if (folder == nullptr) {
    return;
  }
  std::ofstream file(fs::path(folder) / (story + ".log"));
  for (const std::string& line : lines) {
    file << line << '\n';
  }
}

}  // namespace

StoryLog::StoryLog(RecordingHost& host) {
  host.logRoot = root_.Name();
  host.SetNumber(RecordingHost::kDebug, L"DebugLevel", 2);
  BeginWithFreshLibrary();
}

StoryLog::~StoryLog() {
  LeaveLibrary();
}

std::vector<std::string> StoryLog::Told(const std::string& printerName) const {
  const std::vector<fs::path> files = root_.Files(".log");
  EXPECT_EQ(files.size(), 1U);
  if (files.empty()) {
    return {};
  }
  std::vector<std::string> told = MaskedLines(files.front());
  for (std::string& line : told) {
    line = Replaced(line, printerName, "PRINTER");
  }
  return told;
}

void StoryLog::ExpectToldAsIn(const std::string& story, const std::wstring& printerName) const {
  const std::vector<std::string> told = Told({printerName.begin(), printerName.end()});
  LeaveText(story, told);
  const fs::path file = fs::path(SC3XXMON_SOURCE_DIR) / "tests/log_stories/stories" / (story + ".log");
  const std::vector<std::string> stored = LinesOf(TextOfFile(file));
  for (std::size_t i = 0; i < std::min(told.size(), stored.size()); ++i) {
    ASSERT_EQ(told[i], stored[i]) << file.string() << ", line " << i + 1;
  }
  ASSERT_EQ(told.size(), stored.size()) << file.string() << ": first line without its counterpart: "
                                        << (told.size() > stored.size() ? told
                                                                        : stored)[std::min(told.size(), stored.size())];
}

}  // namespace sc3xxmon::test
