// The document side: what it says of a stream against what the naive parser makes of it, and pictures of every kind.
// The only failure that may come out is the one with a text for a person.

#include <algorithm>
#include <vector>

#include "apps/kpl/input_error.h"
#include "apps/kpl/input_file.h"
#include "apps/kpl/inspect.h"
#include "apps/kpl/picture.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/input_reader.h"
#include "fuzz/naive_parser.h"
#include "fuzz/stream_maker.h"

namespace sc3xxmon::fuzz {
namespace {

using Bytes = std::span<const std::uint8_t>;

bool Same(Bytes one, Bytes other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

void CompareWithMonitor(const sc3xx::InspectReport& report, Bytes stream) {
  NaiveParser parser(true);
  parser.ProcessData(stream);
  FUZZ_CHECK(report.header.has_value() == (parser.state >= 1));
  if (report.header) {
    FUZZ_CHECK(report.header->offset == 0 && report.header->length == parser.jobHeader.size());
    FUZZ_CHECK(report.openLength == parser.openLengthLabels);
  }
  FUZZ_CHECK(report.footer.has_value() == (parser.state >= 3));
  if (report.footer) {
    FUZZ_CHECK(Same(stream.subspan(report.footer->offset, report.footer->length), parser.jobFooter));
  }
  FUZZ_CHECK((report.lost ? report.lost->length : 0) == parser.Buffer().size());
  FUZZ_CHECK(report.labels.size() == parser.labels.size());
  for (std::size_t i = 0; i < parser.labels.size(); ++i) {
    const sc3xx::InspectedLabel& label = report.labels[i];
    const NaiveLabel& naive = parser.labels[i];
    FUZZ_CHECK(Same(stream.subspan(label.offset, label.length), naive.data));
    FUZZ_CHECK(label.betweenLabelsBytes == naive.iphLength);
    FUZZ_CHECK(label.rasters.empty() == !naive.raster.has_value());
    FUZZ_CHECK(label.rasters.empty() || label.rasters.back().rasterBytes == naive.RasterSize());
    FUZZ_CHECK(label.discarded == (naive.RasterSize() == 0));
  }
}

void DrawLabels(const sc3xx::InspectReport& report, Bytes stream) {
  constexpr std::uint64_t kMostBytes = 1 << 20;
  for (const sc3xx::InspectedLabel& label : report.labels) {
    try {
      const sc3xx::LabelRaster raster = sc3xx::RasterOfLabel(label, stream, kMostBytes);
      const std::size_t lineBytes = (std::size_t{raster.bitsPerDot} * raster.dotsPerLine + 7) / 8;
      FUZZ_CHECK(raster.bytes.size() == lineBytes * raster.lineCount);
    } catch (const sc3xx::InputError& error) {
      FUZZ_CHECK(*error.what() != '\0');
    }
  }
}

void Inspect(Bytes stream) {
  const sc3xx::InspectReport report = sc3xx::InspectStream(stream, "fuzz.kpl", {200});
  FUZZ_CHECK(report.commands.size() <= 200);
  CompareWithMonitor(report, stream);
  DrawLabels(report, stream);
  FUZZ_CHECK(!sc3xx::ReportAsText(report, stream).empty());
  FUZZ_CHECK(!sc3xx::ReportAsJson(report, stream).empty());
}

void ReadAPicture(InputReader& input) {
  sc3xx::PictureOptions options;
  const std::uint8_t shape = input.Byte();
  options.fit = static_cast<sc3xx::Fit>(shape % 3);
  options.rotation = static_cast<sc3xx::Rotation>((shape >> 2) & 3);
  options.dithering = static_cast<sc3xx::Dithering>((shape >> 4) % 3);
  if ((shape & 0x80) != 0) {
    options.width = input.Byte();
  }
  options.maxDots = 200;
  options.maxLines = 500;
  options.maxSourcePixels = 100000;
  const Bytes bytes = input.TakeAll();
  try {
    const sc3xx::Picture picture =
        sc3xx::ReadPicture(sc3xx::InputFromMemory("fuzz.png", {bytes.begin(), bytes.end()}), options);
    FUZZ_CHECK(picture.raster.size() == picture.LineBytes() * picture.height);
    FUZZ_CHECK(picture.width <= options.maxDots && picture.height <= options.maxLines);
  } catch (const sc3xx::InputError& error) {
    FUZZ_CHECK(*error.what() != '\0');
  }
}

}  // namespace
}  // namespace sc3xxmon::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sc3xxmon::fuzz;
  InputReader input(data, size);
  switch (input.Byte() & 3) {
    case 0:
      ReadAPicture(input);
      break;
    case 1:
      Inspect(input.TakeAll());
      break;
    case 2:
      Inspect(MakeJob(input, 30));
      break;
    default:
      Inspect(MakeCommands(input));
      break;
  }
  return 0;
}
