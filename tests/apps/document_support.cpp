#include "document_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>

namespace document_support {
namespace {

void Add32(Bytes& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

std::uint32_t Crc32(const Bytes& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320u : 0u);
    }
  }
  return ~crc;
}

std::uint32_t Adler32(const Bytes& bytes) {
  std::uint32_t low = 1;
  std::uint32_t high = 0;
  for (const std::uint8_t byte : bytes) {
    low = (low + byte) % 65521;
    high = (high + low) % 65521;
  }
  return high << 16 | low;
}

// Deflate with nothing compressed: small, and needs no library.
Bytes Stored(const Bytes& bytes) {
  Bytes stored = {0x78, 0x01};
  std::size_t offset = 0;
  do {
    const std::size_t count = std::min<std::size_t>(bytes.size() - offset, 0xFFFF);
    stored.push_back(offset + count == bytes.size() ? 1 : 0);
    stored.push_back(static_cast<std::uint8_t>(count));
    stored.push_back(static_cast<std::uint8_t>(count >> 8));
    stored.push_back(static_cast<std::uint8_t>(~count));
    stored.push_back(static_cast<std::uint8_t>(~count >> 8));
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    stored.insert(stored.end(), begin, begin + static_cast<std::ptrdiff_t>(count));
    offset += count;
  } while (offset < bytes.size());
  Add32(stored, Adler32(bytes));
  return stored;
}

}  // namespace

Bytes Hex(std::string_view text) {
  Bytes bytes;
  std::string digits;
  for (const char letter : text) {
    if (letter != ' ' && letter != '\n') {
      digits += letter;
    }
    if (digits.size() == 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
      digits.clear();
    }
  }
  return bytes;
}

Bytes Text(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes whole;
  for (const Bytes& part : parts) {
    whole.insert(whole.end(), part.begin(), part.end());
  }
  return whole;
}

sc3xx::Picture Drawn(const std::vector<std::string>& rows) {
  auto picture =
      sc3xx::BlankPicture(static_cast<std::uint32_t>(rows.at(0).size()), static_cast<std::uint32_t>(rows.size()));
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      if (rows[y].at(x) == '#') {
        picture.SetBlack(x, y);
      }
    }
  }
  return picture;
}

std::vector<std::string> RowsOf(const sc3xx::Picture& picture) {
  std::vector<std::string> rows(picture.height, std::string(picture.width, '.'));
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      if (picture.IsBlack(x, y)) {
        rows[y][x] = '#';
      }
    }
  }
  return rows;
}

sc3xx::Picture Noise(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
  std::mt19937 random(seed);
  auto picture = sc3xx::BlankPicture(width, height);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      if (random() % 2 == 0) {
        picture.SetBlack(x, y);
      }
    }
  }
  return picture;
}

Bytes PngChunk(std::string_view type, const Bytes& data) {
  Bytes chunk;
  Add32(chunk, static_cast<std::uint32_t>(data.size()));
  const Bytes checked = Joined({Text(type), data});
  chunk.insert(chunk.end(), checked.begin(), checked.end());
  Add32(chunk, Crc32(checked));
  return chunk;
}

Bytes PngSignature() {
  return Hex("89 50 4E 47 0D 0A 1A 0A");
}

Bytes PngEnd() {
  return PngChunk("IEND", {});
}

Bytes PngHead(std::uint32_t width, std::uint32_t height, std::uint8_t bits, PngColour colour) {
  Bytes head;
  Add32(head, width);
  Add32(head, height);
  head.insert(head.end(), {bits, static_cast<std::uint8_t>(colour), 0, 0, 0});
  return PngChunk("IHDR", head);
}

Bytes PngData(const std::vector<Bytes>& rows) {
  Bytes filtered;
  for (const Bytes& row : rows) {
    filtered.push_back(0);
    filtered.insert(filtered.end(), row.begin(), row.end());
  }
  return PngChunk("IDAT", Stored(filtered));
}

Bytes Png(std::uint32_t width, std::uint32_t height, std::uint8_t bits, PngColour colour,
          const std::vector<Bytes>& rows) {
  return Joined({PngSignature(), PngHead(width, height, bits, colour), PngData(rows), PngEnd()});
}

sc3xx::InputFile Input(Bytes bytes) {
  return sc3xx::InputFromMemory("test", std::move(bytes));
}

void ReportMissingError() {
  ADD_FAILURE() << "no InputError was thrown";
}

ScratchFolder::ScratchFolder() {
  std::random_device random;
  do {
    path_ = std::filesystem::temp_directory_path() / ("sc3xx-document-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(path_));
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchFolder::Write(const std::string& name, const Bytes& bytes) const {
  const auto path = path_ / name;
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("can't write " + path.string());
  }
  return path.string();
}

}  // namespace document_support
