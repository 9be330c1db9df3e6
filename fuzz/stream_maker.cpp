#include "fuzz/stream_maker.h"

#include <lz4.h>

#include <iterator>

namespace sc3xxmon::fuzz {
namespace {

void Append(ByteString& out, std::span<const std::uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

void Append32(ByteString& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

struct Command {
  char letter;
  std::uint8_t operands;
};

// Letters that decide something stand more than once.
constexpr Command kCommands[] = {
    {'n', 2}, {'G', 0}, {'n', 2}, {'D', 0}, {'G', 0}, {'p', 1}, {'Q', 0}, {'E', 0}, {'q', 1},
    {'L', 2}, {'s', 4}, {'Z', 0}, {'C', 1}, {'H', 2}, {'T', 1}, {'c', 0}, {'d', 0}, {'e', 0},
    {'g', 0}, {'h', 0}, {'i', 0}, {'l', 4}, {'t', 4}, {'#', 1}, {'*', 0}, {'@', 0}, {'A', 1},
    {'M', 8}, {'P', 0}, {'U', 0}, {'V', 0}, {'X', 5}, {'b', 2}, {'m', 2}, {'x', 0}, {'S', 0},
};

constexpr Command kBetweenLabels[] = {{'C', 1}, {'H', 2}, {'L', 2}, {'T', 1}, {'c', 0}, {'d', 0}, {'e', 0},
                                      {'g', 0}, {'h', 0}, {'i', 0}, {'l', 4}, {'q', 1}, {'t', 4}};

// Small values, and now and then one that makes the products wrap.
std::uint32_t Dimension(InputReader& input) {
  const std::uint8_t byte = input.Byte();
  return byte < 250 ? byte % 40 : input.Number32();
}

ByteString RasterBytes(InputReader& input, std::size_t size) {
  ByteString raster;
  Append(raster, input.Take(size));
  raster.resize(size, 0x51);
  return raster;
}

constexpr std::uint32_t kMostRasterBytes = 4096;

struct Geometry {
  std::uint8_t bitsPerDot = 0;
  std::uint8_t flags = 0;
  std::uint32_t lines = 0;
  std::uint32_t dots = 0;

  std::uint32_t RasterSize() const {
    const std::uint32_t bits = bitsPerDot * dots;
    return (bits / 8 + (bits % 8 != 0 ? 1 : 0)) * lines;
  }
  void AppendTo(ByteString& out) const {
    out.push_back(bitsPerDot);
    out.push_back(flags);
    Append32(out, lines);
    Append32(out, dots);
  }
};

// ESC D; a raster that would be huge stays incomplete.
void AppendRaster(ByteString& out, InputReader& input, const Geometry& geometry) {
  Append(out, std::initializer_list<std::uint8_t>{0x1B, 'D'});
  geometry.AppendTo(out);
  Append(out, RasterBytes(input, std::min(geometry.RasterSize(), kMostRasterBytes)));
}

void AppendCompressed(ByteString& out, std::span<const std::uint8_t> block, const Geometry& geometry) {
  Append(out, std::initializer_list<std::uint8_t>{0x1B, 'Z', 3});
  Append32(out, static_cast<std::uint32_t>(block.size()));
  geometry.AppendTo(out);
  Append(out, block);
}

void AppendCommand(ByteString& out, InputReader& input, const Command& command) {
  if (command.letter == 'D') {
    const auto bits = static_cast<std::uint8_t>(input.Byte() % 9);
    const std::uint32_t lines = Dimension(input);
    AppendRaster(out, input, {bits, input.Byte(), lines, Dimension(input)});
    return;
  }
  if (command.letter == 'Z') {
    AppendCompressed(out, input.Take(input.Byte() % 32), {1, 0, Dimension(input), Dimension(input)});
    return;
  }
  out.push_back(0x1B);
  out.push_back(static_cast<std::uint8_t>(command.letter));
  for (std::uint8_t i = 0; i < command.operands; ++i) {
    out.push_back(input.Byte());
  }
}

void AppendLabelIndex(ByteString& out, std::uint32_t index) {
  Append(out, std::initializer_list<std::uint8_t>{0x1B, 'n', static_cast<std::uint8_t>(index),
                                                  static_cast<std::uint8_t>(index >> 8)});
}

void AppendLabelRaster(ByteString& out, InputReader& input) {
  const std::uint8_t shape = input.Byte();
  const Geometry geometry{static_cast<std::uint8_t>((shape & 0x40) != 0 ? 2 : 1), input.Byte(), shape % 24u,
                          input.Byte() % 64u};
  if ((shape & 0x80) == 0) {
    AppendRaster(out, input, geometry);
    return;
  }
  const ByteString raster = RasterBytes(input, geometry.RasterSize());
  ByteString block(static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(raster.size()))));
  const int size =
      LZ4_compress_default(reinterpret_cast<const char*>(raster.data()), reinterpret_cast<char*>(block.data()),
                           static_cast<int>(raster.size()), static_cast<int>(block.size()));
  block.resize(static_cast<std::size_t>(size));
  AppendCompressed(out, block, geometry);
}

void AppendBetweenLabels(ByteString& out, InputReader& input) {
  for (std::uint32_t left = input.Choice(4); left > 0; --left) {
    AppendCommand(out, input, kBetweenLabels[input.Choice(std::size(kBetweenLabels))]);
  }
}

void AppendLabel(ByteString& out, InputReader& input, std::uint32_t index) {
  if (index > 1) {
    AppendBetweenLabels(out, input);
  }
  AppendLabelIndex(out, index);
  const std::uint8_t parts = input.Byte();
  for (std::uint32_t rasters = (parts & 7) == 7 ? 0 : (parts & 7) == 6 ? 2 : 1; rasters > 0; --rasters) {
    AppendLabelRaster(out, input);
  }
  if ((parts & 0x18) == 0x18) {
    AppendCommand(out, input, kCommands[input.Choice(std::size(kCommands))]);
  }
  if ((parts & 0x60) == 0x20) {
    Append(out, std::initializer_list<std::uint8_t>{0x1B, 'p', input.Byte()});
  } else if ((parts & 0x60) != 0x60) {
    Append(out, std::initializer_list<std::uint8_t>{0x1B, 'G'});
  }
}

}  // namespace

ByteString MakeCommands(InputReader& input) {
  ByteString out;
  if (input.Byte() < 240) {
    Append(out, std::initializer_list<std::uint8_t>{0x1B, 's', 0, 0, 0, 0});
  }
  while (!input.Empty()) {
    const std::uint8_t choice = input.Byte();
    if (choice < 252) {
      AppendCommand(out, input, kCommands[choice % std::size(kCommands)]);
    } else {
      out.push_back(input.Byte());
    }
  }
  return out;
}

ByteString MakeJob(InputReader& input, std::uint32_t mostLabels) {
  const std::uint8_t shape = input.Byte();
  ByteString out{0x1B, 's', 1, 0, 0, 0};
  if ((shape & 1) != 0) {
    Append(out, std::initializer_list<std::uint8_t>{0x1B, 'L', 0xFF, 0xFF, 0x1B, 'q', input.Byte()});
  }
  const std::uint32_t labels = input.Choice(mostLabels + 1);
  for (std::uint32_t index = 1; index <= labels; ++index) {
    AppendLabel(out, input, index);
  }
  if ((shape & 6) != 6) {
    Append(out, std::initializer_list<std::uint8_t>{0x1B, static_cast<std::uint8_t>((shape & 6) == 2 ? 'E' : 'Q')});
  }
  return out;
}

}  // namespace sc3xxmon::fuzz
