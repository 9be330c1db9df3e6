// A log's lines without what differs from build to build and run to run: time, thread, line numbers and the build's date.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sc3xxmon::test {

// Fails the test with each line that isn't a record: "[12:34:56.789] [1A2B] ...".
std::vector<std::string> MaskedLines(const std::filesystem::path& log);

}  // namespace sc3xxmon::test
