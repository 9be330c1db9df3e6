#include "diag/bitmap_file.h"

#include <algorithm>
#include <vector>

#include "diag/log_file.h"
#include "platform/file.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kColourSize = 4;
constexpr std::uint32_t kFileHeadSize = 14;
constexpr std::uint32_t kInfoHeadSize = 40;
constexpr std::uint32_t kTwoColours = 2;

// Puts numbers one behind the other, lowest byte first.
class LittleEndian {
 public:
  explicit LittleEndian(std::uint8_t* to) : next_(to) {}
  LittleEndian& Word(std::uint16_t value) { return Put(value, 2); }
  LittleEndian& Double(std::uint32_t value) { return Put(value, 4); }

 private:
  LittleEndian& Put(std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
      *next_++ = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return *this;
  }
  std::uint8_t* next_;
};

std::vector<std::uint8_t> ColourTable(std::span<const std::uint32_t> colours) {
  std::vector<std::uint8_t> table(colours.size() * kColourSize);
  LittleEndian bytes(table.data());
  for (const std::uint32_t colour : colours) {
    bytes.Double(colour);
  }
  return table;
}

// Rows of a source, and how many bytes of each there are.
class RowSource {
 public:
  RowSource(const BitmapHeads& heads, std::span<const std::uint8_t> bytes, bool padded)
      : bytes_(bytes),
        row_(std::uint64_t{heads.biBitCount} * static_cast<std::uint32_t>(heads.biWidth) / 8),
        padding_((4 - row_ % 4) % 4),
        stride_(row_ + (padded ? padding_ : 0)) {}

  std::size_t Padding() const { return static_cast<std::size_t>(padding_); }

  std::span<const std::uint8_t> Row(std::uint64_t index) const {
    const std::uint64_t start = std::min<std::uint64_t>(index * stride_, bytes_.size());
    return bytes_.subspan(static_cast<std::size_t>(start),
                          static_cast<std::size_t>(std::min<std::uint64_t>(row_, bytes_.size() - start)));
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::uint64_t row_;
  std::uint64_t padding_;
  std::uint64_t stride_;
};

// A row that can't be written whole ends there, and the next goes on.
void WriteRows(platform::File& file, const RowSource& source, std::uint64_t count) {
  constexpr std::uint8_t kZeros[4] = {};
  for (std::uint64_t row = count; row > 0; --row) {
    const std::span<const std::uint8_t> bytes = source.Row(row - 1);
    if (WriteAll(file, bytes.data(), bytes.size())) {
      WriteAll(file, kZeros, source.Padding());
    }
  }
}

}  // namespace

std::array<std::uint8_t, BitmapHeads::kSize> BitmapHeads::Bytes() const {
  constexpr std::uint32_t bfOffBits = kFileHeadSize + kInfoHeadSize + kTwoColours * kColourSize;
  const std::uint32_t bfSize = biSizeImage + bfOffBits;
  std::array<std::uint8_t, kSize> bytes{'B', 'M'};  // bfType
  LittleEndian(bytes.data() + 2)
      .Double(bfSize)
      .Word(0)  // bfReserved1
      .Word(0)  // bfReserved2
      .Double(bfOffBits)
      .Double(kInfoHeadSize)  // biSize
      .Double(static_cast<std::uint32_t>(biWidth))
      .Double(static_cast<std::uint32_t>(biHeight))
      .Word(1)  // biPlanes
      .Word(biBitCount)
      .Double(0)  // biCompression
      .Double(biSizeImage)
      .Double(0)  // biXPelsPerMeter
      .Double(0)  // biYPelsPerMeter
      .Double(biClrUsed)
      .Double(0);  // biClrImportant
  return bytes;
}

BitmapHeads HeadsFor(std::uint32_t dotsPerLine, std::uint32_t lineCount) {
  const std::uint32_t paddedDots = (dotsPerLine + 31) & ~std::uint32_t{31};
  BitmapHeads heads;
  heads.biSizeImage = static_cast<std::uint32_t>((std::uint64_t{lineCount} * paddedDots) >> 3);
  heads.biWidth = static_cast<std::int32_t>(dotsPerLine);
  heads.biHeight = static_cast<std::int32_t>(lineCount);
  return heads;
}

bool WriteBitmapFile(const std::wstring& path, const BitmapHeads& heads, std::span<const std::uint32_t> colours,
                     std::span<const std::uint8_t> rows, bool paddedRows) {
  if (path.empty()) {
    return false;
  }
  platform::File file = platform::File::CreateEmpty(path);
  if (!file.IsOpen()) {
    return false;
  }
  WriteAll(file, heads.Bytes().data(), BitmapHeads::kSize);
  if (heads.biClrUsed != 0) {
    const std::vector<std::uint8_t> table =
        ColourTable(colours.first(std::min<std::size_t>(colours.size(), heads.biClrUsed)));
    WriteAll(file, table.data(), table.size());
  }
  const std::int64_t height = heads.biHeight;
  WriteRows(file, RowSource(heads, rows, paddedRows), static_cast<std::uint64_t>(height < 0 ? -height : height));
  return true;
}

}  // namespace sc3xxmon
