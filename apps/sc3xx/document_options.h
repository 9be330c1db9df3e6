// The options that say how a picture becomes a label, shared by `print` and `encode`.
#pragma once

#include <cstdint>
#include <string>

#include "apps/kpl/encode.h"
#include "apps/kpl/picture.h"

namespace CLI {
class App;
}

namespace sc3xx {

// As they stand on the command line; checked and turned into the document side's own by the functions below.
struct DocumentOptions {
  std::uint32_t width = 0;  // 0: the picture's own
  std::string fit = "pad";
  std::uint32_t rotate = 0;
  std::string dither = "threshold";
  std::uint32_t threshold = 128;
  bool invert = false;
  std::uint32_t copies = 1;
  bool compress = false;
  std::string length = "announced";
  std::string labelEnd = "feed";
  bool finalFeed = false;
  std::string roll = "left";
};

// Adds them to a command, in a group of their own. `options` outlives the parsing.
void AddDocumentOptions(CLI::App& command, DocumentOptions& options);

PictureOptions PictureOptionsFrom(const DocumentOptions& options);
EncodeOptions EncodeOptionsFrom(const DocumentOptions& options, std::uint32_t jobId);

}  // namespace sc3xx
