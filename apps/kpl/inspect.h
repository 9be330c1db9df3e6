// Says what stands in a KPL stream, and what the monitor makes of it: the job header, the labels and the
// footer it cuts, every command with its place and meaning, and, where the stream is broken, at which byte,
// why, and what becomes of the rest.
//
// The walk over the commands and the cutting rules are written here anew and not taken from the monitor, so
// that a mistake in one shows against the other.
//
// Blocking: only WriteLabelPictures touches files. Threads: none; free functions without shared state.
// Ownership: a report holds numbers and texts only; the functions that need the stream take it again.
#ifndef SC3XX_APPS_KPL_INSPECT_H
#define SC3XX_APPS_KPL_INSPECT_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sc3xx {

// Which part of the job a command falls in.
enum class JobSection {
  kHeader,
  kBetweenLabels,  // the inter-page header at the front of a label
  kLabel,
  kFooter,
  kLost,  // a sound command that the monitor never reaches or never sends
};

struct InspectedCommand {
  std::uint64_t offset = 0;  // of the ESC, from the front of the stream
  std::uint64_t length = 0;  // ESC, letter, operands and raster
  std::uint8_t letter = 0;
  JobSection section = JobSection::kLost;
  std::uint32_t label = 0;  // 1 for the first label of the stream; 0 outside labels
};

// One raster command of a label.
struct InspectedRaster {
  std::uint64_t offset = 0;      // of the command's ESC
  std::uint64_t dataOffset = 0;  // of the raster, or of the LZ4 block
  std::uint64_t dataLength = 0;  // bytes in the stream
  bool compressed = false;
  std::uint8_t bitsPerDot = 0;
  std::uint8_t rasterFlags = 0;
  std::uint32_t lineCount = 0;
  std::uint32_t dotsPerLine = 0;
  std::uint32_t lineBytes = 0;
  std::uint32_t rasterBytes = 0;  // once decompressed
};

struct InspectedLabel {
  std::uint32_t number = 0;  // 1 for the first label of the stream
  std::uint32_t index = 0;   // operand of ESC n
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::uint32_t betweenLabelsBytes = 0;
  std::uint8_t endLetter = 0;            // 'G' or 'p' (in the label), 'n', 'Q' or 'E' (behind it)
  bool discarded = false;                // no raster, or one without dots: dropped unless PrintEmptyLabel is on
  std::vector<InspectedRaster> rasters;  // in stream order; the monitor goes by the last
};

struct InspectedProblem {
  enum class Severity {
    kNote,     // worth knowing; the job prints
    kWarning,  // prints, but perhaps not as meant
    kError,    // something of the job doesn't reach the printer
  };
  Severity severity = Severity::kNote;
  std::uint64_t offset = 0;
  std::string what;         // what stands there, and why it is wrong
  std::string consequence;  // what the monitor does with it
};

struct InspectedSpan {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
};

struct InspectReport {
  std::string name;
  std::uint64_t size = 0;
  std::optional<InspectedSpan> header;
  std::uint32_t jobId = 0;  // operand of ESC s; 0 without a header
  bool openLength = false;
  std::vector<InspectedLabel> labels;  // complete labels, in stream order
  std::optional<InspectedSpan> footer;
  std::optional<InspectedSpan> lost;  // the bytes that never leave the monitor
  std::uint64_t commandCount = 0;
  std::vector<InspectedCommand> commands;  // the first InspectOptions::maxCommands of them
  std::vector<InspectedProblem> problems;  // by offset

  bool IsSound() const;               // no problem of severity kError
  std::size_t LabelsToPrint() const;  // labels less the discarded ones
};

struct InspectOptions {
  std::size_t maxCommands = 1'000'000;  // kept in the report; all are counted
};

// Never throws for what stands in `stream`, an empty one included.
InspectReport InspectStream(std::span<const std::uint8_t> stream, std::string name, const InspectOptions& options = {});

// For people. With `withCommands`, every command in a line of its own; without, header, labels, footer and
// problems.
std::string ReportAsText(const InspectReport& report, std::span<const std::uint8_t> stream, bool withCommands = true);

// For programs: one JSON object, indented by two, in UTF-8, with a line feed at its end.
std::string ReportAsJson(const InspectReport& report, std::span<const std::uint8_t> stream);

// What a label looks like once it is printed: lines of (bitsPerDot * dotsPerLine + 7) / 8 bytes, as in ESC D.
struct LabelRaster {
  std::uint8_t bitsPerDot = 1;
  std::uint32_t dotsPerLine = 0;
  std::uint32_t lineCount = 0;
  std::vector<std::uint8_t> bytes;
};

inline constexpr std::uint64_t kMaxLabelRasterBytes = std::uint64_t{256} << 20;

// All rasters of the label, decompressed, one below the other. Throws InputError with the reason if that can't be
// had: no raster or no dots, a length that wraps, rasters of different widths or depths, an LZ4 block that doesn't
// decode to the size its head tells, or more than `maxBytes` in all.
LabelRaster RasterOfLabel(const InspectedLabel& label, std::span<const std::uint8_t> stream,
                          std::uint64_t maxBytes = kMaxLabelRasterBytes);

struct WrittenPictures {
  std::vector<std::filesystem::path> files;
  std::vector<std::string> skipped;  // one text for each label that has no picture, with the reason
};

// Writes label-001.png and so on, numbered as in the report, making `folder` if need be. Depths of 1, 2, 4 and 8 bits a
// dot can be drawn. Throws InputError if
// the folder or a file can't be written; what was written before stays.
WrittenPictures WriteLabelPictures(const InspectReport& report, std::span<const std::uint8_t> stream,
                                   const std::filesystem::path& folder);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_INSPECT_H
