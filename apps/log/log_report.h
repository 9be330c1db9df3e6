// A log's story for a person at a terminal, or as one JSON object for a program.
#pragma once

#include <string>

#include "apps/log/log_story.h"

namespace sc3xx {

// Both end in a line end. `colours`: with the terminal's colours for what went well and what didn't.
std::string StoryAsText(const LogStory& story, const std::string& name, bool colours);
std::string StoryAsJson(const LogStory& story, const std::string& name);

}  // namespace sc3xx
