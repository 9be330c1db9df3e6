#include "apps/sc3xx/document_options.h"

#include <CLI/CLI.hpp>
#include <string_view>

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
CLI::IsMember WordsOf(const Choice<Value> (&choices)[N]) {
  std::vector<std::string> words;
  for (const Choice<Value>& choice : choices) {
    words.emplace_back(choice.word);
  }
  return CLI::IsMember(words);
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
  command.add_option("--width", options.width, "Width of the label in dots, 300 to the inch [the picture's own]")
      ->check(CLI::Range(1u, kMaxLabelDots))
      ->type_name("DOTS")
      ->group(kGroup);
  command.add_option("--fit", options.fit, "How a picture comes to that width")
      ->check(WordsOf(kFits))
      ->capture_default_str()
      ->group(kGroup);
  command.add_option("--rotate", options.rotate, "Turn clockwise by so many degrees")
      ->check(CLI::IsMember({0u, 90u, 180u, 270u}))
      ->type_name("DEGREES")
      ->capture_default_str()
      ->group(kGroup);
  command.add_option("--dither", options.dither, "How greys become dots")
      ->check(WordsOf(kDitherings))
      ->capture_default_str()
      ->group(kGroup);
  command.add_option("--threshold", options.threshold, "Greys below this are black, with --dither threshold")
      ->check(CLI::Range(0u, 255u))
      ->type_name("0-255")
      ->capture_default_str()
      ->group(kGroup);
  command.add_flag("--invert", options.invert, "Black for white")->group(kGroup);
  command.add_option("--copies", options.copies, "Labels of each picture")
      ->check(CLI::Range(1u, kMaxLabels))
      ->type_name("N")
      ->capture_default_str()
      ->group(kGroup);
  command.add_flag("--compress", options.compress, "Compress the rasters in the job itself (ESC Z)")->group(kGroup);
  command
      .add_option("--length", options.length,
                  "How the label's length is told: announced (ESC L), open for "
                  "continuous stock, or omitted")
      ->check(WordsOf(kLengths))
      ->capture_default_str()
      ->group(kGroup);
  command
      .add_option("--label-end", options.labelEnd,
                  "What ends a label: a short form feed (ESC G), a cut (ESC p), "
                  "or nothing of its own")
      ->check(WordsOf(kEnds))
      ->capture_default_str()
      ->group(kGroup);
  command.add_flag("--final-feed", options.finalFeed, "A long form feed (ESC E) before the end of the job")
      ->group(kGroup);
  command.add_option("--roll", options.roll, "The roll to print on, where a printer has two")
      ->check(WordsOf(kRolls))
      ->capture_default_str()
      ->group(kGroup);
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
