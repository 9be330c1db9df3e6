// From a label's raster commands to what it looks like on paper.
#include <lz4.h>

#include <algorithm>
#include <fstream>
#include <utility>
#include <variant>

#include "apps/kpl/input_error.h"
#include "apps/kpl/inspect.h"
#include "apps/kpl/inspect_rasters.h"
#include "apps/kpl/kpl_commands.h"
#include "simulator/label_picture.h"

namespace sc3xx {
namespace {

using Severity = InspectedProblem::Severity;

// No LZ4 block grows by more than this, so that a head that tells more is refused before memory is taken for it.
constexpr std::uint64_t kLargestLz4Growth = 255;

RasterGeometry GeometryOf(const InspectedRaster& raster) {
  return {raster.bitsPerDot, raster.rasterFlags, raster.lineCount, raster.dotsPerLine};
}

std::span<const std::uint8_t> DataOf(const InspectedRaster& raster, std::span<const std::uint8_t> stream) {
  return stream.subspan(static_cast<std::size_t>(raster.dataOffset), static_cast<std::size_t>(raster.dataLength));
}

// Empty if `block` doesn't hold exactly `size` bytes.
std::vector<std::uint8_t> Decompressed(std::span<const std::uint8_t> block, std::uint32_t size) {
  if (size > LZ4_MAX_INPUT_SIZE || block.size() > LZ4_MAX_INPUT_SIZE || size / kLargestLz4Growth > block.size()) {
    return {};
  }
  std::vector<std::uint8_t> bytes(size);
  const int written =
      LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(bytes.data()),
                          static_cast<int>(block.size()), static_cast<int>(size));
  return written >= 0 && static_cast<std::uint32_t>(written) == size ? bytes : std::vector<std::uint8_t>{};
}

std::string WhyNotDecoded(const InspectedRaster& raster) {
  return "its LZ4 block at byte " + std::to_string(raster.dataOffset) + " (" + Counted(raster.dataLength, "byte") +
         ") doesn't decode to the " + Counted(raster.rasterBytes, "byte") + " that its head tells";
}

[[noreturn]] void NoRaster(const InspectedLabel& label, const std::string& why) {
  throw InputError("label " + std::to_string(label.number) + " can't be drawn: " + why);
}

void RequireJoinable(const InspectedLabel& label, std::uint64_t maxBytes) {
  if (label.rasters.empty()) {
    NoRaster(label, "it has no raster");
  }
  const InspectedRaster& first = label.rasters.front();
  std::uint64_t bytes = 0;
  for (const InspectedRaster& raster : label.rasters) {
    if (GeometryOf(raster).Wraps()) {
      NoRaster(label, "the size of its raster doesn't fit into 32 bits");
    }
    if (raster.bitsPerDot != first.bitsPerDot || raster.dotsPerLine != first.dotsPerLine) {
      NoRaster(label, "its rasters differ in width or depth");
    }
    bytes += raster.rasterBytes;
  }
  if (bytes == 0) {
    NoRaster(label, "its raster has no dots");
  }
  if (bytes > maxBytes) {
    NoRaster(label, "its raster has " + Counted(bytes, "byte") + ", more than the " + std::to_string(maxBytes) +
                        " that are decoded");
  }
}

void Append(LabelRaster& whole, const InspectedLabel& label, const InspectedRaster& raster,
            std::span<const std::uint8_t> stream) {
  const auto data = DataOf(raster, stream);
  if (raster.compressed) {
    const auto bytes = Decompressed(data, raster.rasterBytes);
    if (bytes.size() != raster.rasterBytes) {
      NoRaster(label, WhyNotDecoded(raster));
    }
    whole.bytes.insert(whole.bytes.end(), bytes.begin(), bytes.end());
  } else {
    whole.bytes.insert(whole.bytes.end(), data.begin(), data.end());
  }
  whole.lineCount += raster.lineCount;
}

struct PngOrReason {
  std::vector<std::uint8_t> png;
  std::string reason;  // why there is none
};

PngOrReason Drawn(const InspectedLabel& label, std::span<const std::uint8_t> stream) {
  try {
    const LabelRaster raster = RasterOfLabel(label, stream);
    auto png = simulator::EncodePng({raster.bytes, raster.dotsPerLine, raster.lineCount, raster.bitsPerDot});
    if (const auto* error = std::get_if<simulator::PictureError>(&png)) {
      NoRaster(label, error->message);
    }
    return {std::move(std::get<std::vector<std::uint8_t>>(png)), {}};
  } catch (const InputError& error) {
    return {{}, error.what()};
  }
}

std::filesystem::path PictureName(std::size_t number, std::size_t count) {
  const std::size_t digits = std::max<std::size_t>(3, std::to_string(count).size());
  std::string text = std::to_string(number);
  text.insert(0, digits - text.size(), '0');
  return "label-" + text + ".png";
}

void WriteFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    throw InputError(path.string() +
                     ": can't be written; check that the folder may be written to and that the disk has room");
  }
}

void MakeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !std::filesystem::is_directory(folder, error)) {
    throw InputError(folder.string() + ": can't be used as the folder for pictures" +
                     (error ? " (" + error.message() + ")" : "") + "; name another one");
  }
}

class RasterJudge {
 public:
  RasterJudge(InspectReport& report, std::span<const std::uint8_t> stream) : report_(report), stream_(stream) {}

  void Judge(const InspectedLabel& label) {
    if (label.discarded) {
      Add(Severity::kWarning, label.offset,
          "label " + std::to_string(label.number) +
              (label.rasters.empty() ? " has no raster" : " has a raster without dots"),
          "it is discarded, unless the option PrintEmptyLabel is on");
    }
    for (const InspectedRaster& raster : label.rasters) {
      Judge(label, raster);
    }
  }

 private:
  void Judge(const InspectedLabel& label, const InspectedRaster& raster) {
    const std::string which = "label " + std::to_string(label.number) + ": ";
    if (GeometryOf(raster).Wraps()) {
      Add(Severity::kWarning, raster.offset,
          which + Counted(raster.lineCount, "line") + " of " + Counted(raster.dotsPerLine, "dot") + " with " +
              Counted(raster.bitsPerDot, "bit") + " each are more than 32 bits can count",
          "the length that is left modulo 2^32, " + Counted(raster.rasterBytes, "byte") + ", counts");
    } else if (raster.compressed && raster.rasterBytes != 0 &&
               Decompressed(DataOf(raster, stream_), raster.rasterBytes).empty()) {
      Add(Severity::kError, raster.offset, which + WhyNotDecoded(raster),
          "the monitor passes it on as it came, and the printer can't print it");
    }
  }

  void Add(Severity severity, std::uint64_t offset, std::string what, std::string consequence) {
    report_.problems.push_back({severity, offset, std::move(what), std::move(consequence)});
  }

  InspectReport& report_;
  std::span<const std::uint8_t> stream_;
};

}  // namespace

LabelRaster RasterOfLabel(const InspectedLabel& label, std::span<const std::uint8_t> stream, std::uint64_t maxBytes) {
  RequireJoinable(label, maxBytes);
  LabelRaster whole;
  whole.bitsPerDot = label.rasters.front().bitsPerDot;
  whole.dotsPerLine = label.rasters.front().dotsPerLine;
  for (const InspectedRaster& raster : label.rasters) {
    Append(whole, label, raster, stream);
  }
  return whole;
}

WrittenPictures WriteLabelPictures(const InspectReport& report, std::span<const std::uint8_t> stream,
                                   const std::filesystem::path& folder) {
  MakeFolder(folder);
  WrittenPictures written;
  for (const InspectedLabel& label : report.labels) {
    const PngOrReason picture = Drawn(label, stream);
    if (!picture.reason.empty()) {
      written.skipped.push_back(picture.reason);
      continue;
    }
    const auto path = folder / PictureName(label.number, report.labels.size());
    WriteFile(path, picture.png);
    written.files.push_back(path);
  }
  return written;
}

void JudgeRasters(InspectReport& report, std::span<const std::uint8_t> stream) {
  RasterJudge judge(report, stream);
  for (const InspectedLabel& label : report.labels) {
    judge.Judge(label);
  }
}

}  // namespace sc3xx
