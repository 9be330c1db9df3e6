#include "apps/sc3xx/document_options.h"

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "apps/sc3xx/help_text.h"

namespace sc3xx {
namespace {

constexpr const char* kGroup = "Pictures";

// The words of an option and what each stands for; the command line has refused any other word.
template <typename Value>
struct Choice {
  std::string_view word;
  Value value;
};

template <typename Value, std::size_t N>
Value Chosen(const Choice<Value> (&choices)[N], std::string_view word) {
  for (const Choice<Value>& choice : choices) {
    if (choice.word == word) {
      return choice.value;
    }
  }
  return choices[0].value;
}

template <typename Value, std::size_t N>
CLI::Validator WordsOf(const Choice<Value> (&choices)[N]) {
  std::vector<std::string> words;
  for (const Choice<Value>& choice : choices) {
    words.emplace_back(choice.word);
  }
  return CLI::IsMember(words).description("");
}

constexpr Choice<Fit> kFits[] = {{"pad", Fit::kPad}, {"crop", Fit::kCrop}, {"scale", Fit::kScale}};
constexpr Choice<Dithering> kDitherings[] = {{"threshold", Dithering::kThreshold},
                                             {"ordered", Dithering::kOrdered},
                                             {"floyd-steinberg", Dithering::kFloydSteinberg}};
constexpr Choice<LabelLength> kLengths[] = {
    {"announced", LabelLength::kAnnounced}, {"open", LabelLength::kOpen}, {"omitted", LabelLength::kOmitted}};
constexpr Choice<LabelEnd> kEnds[] = {
    {"feed", LabelEnd::kFormFeed}, {"cut", LabelEnd::kCut}, {"none", LabelEnd::kNone}};
constexpr Choice<std::uint8_t> kRolls[] = {{"left", std::uint8_t{0x31}}, {"right", std::uint8_t{0x32}}};

Rotation RotationFrom(std::uint32_t degrees) {
  switch (degrees) {
    case 90:
      return Rotation::kQuarter;
    case 180:
      return Rotation::kHalf;
    case 270:
      return Rotation::kThreeQuarters;
    default:
      return Rotation::kNone;
  }
}

}  // namespace

void AddDocumentOptions(CLI::App& command, DocumentOptions& options) {
  const auto add = [&command](const char* name, auto& value, const char* type, const char* description) {
    return command.add_option(name, value, Wrapped(description))->type_name(type)->capture_default_str()->group(kGroup);
  };
  const auto addFlag = [&command](const char* name, bool& value, const char* description) {
    command.add_flag(name, value, Wrapped(description))->group(kGroup);
  };
  // A validator's own description would stand beside the type in the help.
  const auto range = [](std::uint32_t least, std::uint32_t most) { return CLI::Range(least, most).description(""); };
  command.add_option("--width", options.width, "Width of the label in dots, 300 to the inch [the picture's own]")
      ->type_name("DOTS")
      ->group(kGroup)
      ->check(range(1, kMaxLabelDots));
  add("--fit", options.fit, "pad|crop|scale", "How a picture comes to that width")->check(WordsOf(kFits));
  add("--rotate", options.rotate, "0|90|180|270", "Turn clockwise by so many degrees")
      ->check(CLI::IsMember({0u, 90u, 180u, 270u}).description(""));
  add("--dither", options.dither, "threshold|ordered|floyd-steinberg", "How greys become dots")
      ->check(WordsOf(kDitherings));
  add("--threshold", options.threshold, "0-255", "Greys below this are black, with --dither threshold")
      ->check(range(0, 255));
  addFlag("--invert", options.invert, "Black for white");
  add("--copies", options.copies, "N", "Labels of each picture")->check(range(1, kMaxLabels));
  addFlag("--compress", options.compress, "Compress the rasters in the job itself (ESC Z)");
  add("--length", options.length, "announced|open|omitted",
      "How the label's length is told: announced (ESC L), open for continuous stock, or omitted")
      ->check(WordsOf(kLengths));
  add("--label-end", options.labelEnd, "feed|cut|none",
      "What ends a label: a short form feed (ESC G), a cut (ESC p), or nothing of its own")
      ->check(WordsOf(kEnds));
  addFlag("--final-feed", options.finalFeed, "A long form feed (ESC E) before the end of the job");
  add("--roll", options.roll, "left|right", "The roll to print on, where a printer has two")->check(WordsOf(kRolls));
}

PictureOptions PictureOptionsFrom(const DocumentOptions& options) {
  PictureOptions picture;
  if (options.width != 0) {
    picture.width = options.width;
  }
  picture.fit = Chosen(kFits, options.fit);
  picture.rotation = RotationFrom(options.rotate);
  picture.dithering = Chosen(kDitherings, options.dither);
  picture.threshold = static_cast<std::uint8_t>(options.threshold);
  picture.invert = options.invert;
  return picture;
}

EncodeOptions EncodeOptionsFrom(const DocumentOptions& options, std::uint32_t jobId) {
  EncodeOptions encode;
  encode.jobId = jobId;
  encode.compression = options.compress ? Compression::kLz4 : Compression::kNone;
  encode.labelEnd = Chosen(kEnds, options.labelEnd);
  encode.labelLength = Chosen(kLengths, options.length);
  encode.roll = Chosen(kRolls, options.roll);
  encode.finalFeed = options.finalFeed;
  encode.copies = options.copies;
  return encode;
}

}  // namespace sc3xx
