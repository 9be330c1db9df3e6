#include "bench/streams.h"

#include <algorithm>
#include <random>

#include "stream/kpl_command.h"

namespace sc3xxmon::bench {
namespace {

void Append(Stream& out, Bytes bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

constexpr std::uint8_t kJobStart[] = {kEsc, 's', 1, 0, 0, 0};
constexpr std::uint8_t kFormFeed[] = {kEsc, 'G'};
constexpr std::uint8_t kJobEnd[] = {kEsc, 'Q'};

Stream RasterCommand(LabelSize size) {
  Stream command{kEsc, 'D', 1, 0};
  command.resize(kRasterHeadSize);
  WriteLittle32(command.data() + 4, size.lines);
  WriteLittle32(command.data() + 8, size.dots);
  Append(command, LabelRaster(size));
  return command;
}

// One line of bars: runs of black and white of a few dots each, the same for all lines of the block.
void DrawBars(std::span<std::uint8_t> line, std::mt19937& random) {
  for (std::uint8_t& byte : line) {
    constexpr std::uint8_t kRuns[] = {0x00, 0x0F, 0xF0, 0xFF, 0x3C, 0xC3};
    byte = kRuns[random() % std::size(kRuns)];
  }
}

// One line of text: short black strokes that change from line to line, with gaps between the words.
void DrawText(std::span<std::uint8_t> line, std::mt19937& random) {
  for (std::uint8_t& byte : line) {
    byte = random() % 3 == 0 ? static_cast<std::uint8_t>(0x18u << (random() % 4)) : std::uint8_t{0};
  }
}

}  // namespace

Stream LabelRaster(LabelSize size) {
  std::mt19937 random(1);
  const std::size_t lineBytes = (size.dots + 7) / 8;
  Stream raster(size.RasterBytes());
  for (std::size_t line = 0; line < size.lines; ++line) {
    const std::span<std::uint8_t> dots(raster.data() + line * lineBytes, lineBytes);
    const std::size_t inBlock = line % 100;
    if (inBlock == 0) {
      DrawBars(dots, random);
    } else if (inBlock < 40) {
      std::copy_n(dots.data() - lineBytes, lineBytes, dots.data());
    } else if (inBlock >= 50 && inBlock < 75) {
      DrawText(dots.subspan(lineBytes / 8, lineBytes / 2), random);
    }
  }
  return raster;
}

Stream MakeJob(std::size_t count, LabelSize size) {
  const Stream raster = RasterCommand(size);
  Stream job(std::begin(kJobStart), std::end(kJobStart));
  job.reserve(job.size() + count * size.StreamBytes() + std::size(kJobEnd));
  for (std::size_t index = 1; index <= count; ++index) {
    const std::uint8_t labelIndex[] = {kEsc, 'n', static_cast<std::uint8_t>(index),
                                       static_cast<std::uint8_t>(index >> 8)};
    Append(job, labelIndex);
    Append(job, raster);
    Append(job, kFormFeed);
  }
  Append(job, kJobEnd);
  return job;
}

}  // namespace sc3xxmon::bench
