// The picture of a label's raster, for diagnosis. Whatever goes wrong, the label is printed all the same.

#include <algorithm>
#include <exception>
#include <span>

#include "diag/bitmap_file.h"
#include "diag/debug_settings.h"
#include "diag/dump_file.h"
#include "diag/text_format.h"
#include "stream/kpl_parser.h"
#include "stream/raster_compression.h"

namespace sc3xxmon {
namespace {

// A set dot is black.
constexpr std::uint32_t kColours[] = {0x00FFFFFF, 0x00000000};

// Memory for a damaged head's size need not be there: that label counts as one that can't be decompressed.
ByteVector DecompressedRaster(const KplLabel& label, const std::uint8_t* block) try {
  return DecompressRaster({block, label.CompressedSize}, label.RasterSize());
} catch (const std::bad_alloc&) {
  return {};
}

// An ESC Z that announces no bytes has a size in its head and no raster behind it: the label ends where it ends.
std::span<const std::uint8_t> PlainRaster(const KplLabel& label, const std::uint8_t* raster) {
  const auto left = static_cast<std::size_t>(label.Data.data() + label.Data.size() - raster);
  return {raster, std::min<std::size_t>(left, label.RasterSize())};
}

void WritePicture(const std::wstring& path, const KplLabel& label) {
  const RasterDescriptor raster = label.Raster();
  const std::uint8_t* const bytes = label.PrintDataParams + kRasterDescriptorSize;
  ByteVector decompressed;
  std::span<const std::uint8_t> source;
  if (label.CompressedSize == 0) {
    source = PlainRaster(label, bytes);
  } else {
    decompressed = DecompressedRaster(label, bytes);
    source = decompressed;
  }
  WriteBitmapFile(path, HeadsFor(raster.DotsPerLine, raster.LineCount), kColours, source, false);
}

}  // namespace

void CKplParser::DumpLabelRaster(const KplLabel& label) const try {
  if (!TraceHasLabelDump() || label.PrintDataParams == nullptr || label.RasterSize() == 0) {
    return;
  }
  WritePicture(MakeDumpPath(FormatToString("job%u_label%u_pd.bmp", JobNumber, label.LabelIndex)), label);
} catch (const std::exception&) {
  // No memory for a path.
}

}  // namespace sc3xxmon
