#include "simulation/random_job.h"

#include <lz4.h>

#include <algorithm>

namespace sc3xxmon::simulation {
namespace {

// The parser looks for these two letters at an address that may hold another label's byte by then, and ends the job if it
// finds one of them there. That is the parser's own test; here a job is to have its labels.
bool HoldsAnEndLetter(const ByteString& bytes) {
  return std::any_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 'Q' || byte == 'E'; });
}

std::uint8_t PlainByte(Random& random) {
  const std::uint8_t byte = random.Byte();
  return byte == 'Q' || byte == 'E' ? static_cast<std::uint8_t>(byte + 1) : byte;
}

void Append(ByteString& out, const ByteString& bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

ByteString CommandOf(Random& random, char letter, std::size_t operands) {
  ByteString out{0x1B, static_cast<std::uint8_t>(letter)};
  for (std::size_t i = 0; i < operands; ++i) {
    out.push_back(PlainByte(random));
  }
  return out;
}

struct Letter {
  char letter;
  std::size_t operands;
};

// Commands that may stand anywhere in a header or in a label, and those that may stand between two labels.
constexpr Letter kAnywhere[] = {{'#', 1}, {'*', 0}, {'@', 0}, {'M', 8}, {'P', 0}, {'U', 0}, {'X', 5}, {'b', 2},
                                {'m', 2}, {'x', 0}, {'C', 1}, {'H', 2}, {'L', 2}, {'T', 1}, {'h', 0}, {'q', 1}};
constexpr Letter kBetween[] = {{'C', 1}, {'H', 2}, {'L', 2}, {'T', 1}, {'c', 0}, {'d', 0}, {'e', 0},
                               {'g', 0}, {'h', 0}, {'i', 0}, {'l', 4}, {'q', 1}, {'t', 4}};

template <std::size_t N>
ByteString Commands(Random& random, const Letter (&letters)[N], std::uint32_t most) {
  ByteString out;
  for (std::uint32_t count = random.Between(0, most); count > 0; --count) {
    const Letter& letter = letters[random.Between(0, N - 1)];
    Append(out, CommandOf(random, letter.letter, letter.operands));
  }
  return out;
}

ByteString Dots(Random& random, std::size_t size) {
  ByteString dots(size);
  const std::uint32_t style = random.Between(0, 2);
  for (std::uint8_t& byte : dots) {
    const bool ink = style == 0 || random.Chance(1, 10);
    byte = ink ? PlainByte(random) : std::uint8_t{0};
  }
  return dots;
}

ByteString Compress(const ByteString& dots) {
  ByteString block(static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(dots.size()))));
  const int size =
      LZ4_compress_default(reinterpret_cast<const char*>(dots.data()), reinterpret_cast<char*>(block.data()),
                           static_cast<int>(dots.size()), static_cast<int>(block.size()));
  block.resize(static_cast<std::size_t>(size));
  return block;
}

RasterPlan MakeRaster(Random& random, const JobLimits& limits) {
  RasterPlan raster;
  raster.bitsPerDot = !limits.tape && random.Chance(1, 8) ? 2 : 1;
  raster.flags = PlainByte(random);
  raster.dotsPerLine = random.Chance(1, 2) ? random.Between(1, 40) : random.Between(100, 700);
  raster.lines = random.Chance(1, 2) ? random.Between(1, 8) : random.Between(1, limits.mostLines);
  raster.dots = Dots(random, std::size_t{raster.LineBytes()} * raster.lines);
  if (random.Chance(1, 10)) {
    raster.block = Compress(raster.dots);
  }
  return raster;
}

void AddRasters(Random& random, const JobLimits& limits, LabelPlan& label) {
  label.raster = MakeRaster(random, limits);
  if (!limits.tape && label.raster->block.empty() && random.Chance(1, 15)) {
    label.firstRaster = label.raster;
    label.firstRaster->lines = random.Between(1, 3);
    label.firstRaster->dots = Dots(random, std::size_t{label.raster->LineBytes()} * label.firstRaster->lines);
  }
}

// A label that the printer can't tell to be whole without an end command: one without a raster, and on tape, where a
// request stands between chunks, the last one. Such a label would hang on the footer, which is sent only once.
bool NeedsItsEnd(const LabelPlan& label, bool last, const JobLimits& limits) {
  return (limits.printEmpty && label.Empty()) || (limits.tape && last);
}

LabelPlan DrawLabel(Random& random, std::uint16_t index, bool mayHaveBetween, bool last, const JobLimits& limits) {
  LabelPlan label;
  label.index = index;
  if (mayHaveBetween && random.Chance(1, 3)) {
    label.between = Commands(random, kBetween, 3);
  }
  label.front = test::LabelIndex(index);
  Append(label.front, Commands(random, kAnywhere, 2));
  if (!random.Chance(1, 20)) {
    AddRasters(random, limits, label);
  }
  label.back = random.Chance(1, 5) ? Commands(random, kAnywhere, 1) : ByteString{};
  label.ended = random.Chance(5, 6) || NeedsItsEnd(label, last, limits);
  if (label.ended) {
    Append(label.back, random.Chance(1, 2) ? test::Bytes("1B 47") : CommandOf(random, 'p', 1));
  }
  return label;
}

LabelPlan MakeLabel(Random& random, std::uint16_t index, bool mayHaveBetween, bool last, const JobLimits& limits) {
  for (;;) {
    LabelPlan label = DrawLabel(random, index, mayHaveBetween, last, limits);
    if (!HoldsAnEndLetter(label.Bytes())) {
      return label;
    }
  }
}

void MakeHeader(Random& random, JobPlan& job) {
  do {
    job.header = CommandOf(random, 's', 4);
    Append(job.header, Commands(random, kAnywhere, 3));
  } while (HoldsAnEndLetter(job.header));
  job.openLength = random.Chance(1, 4);
  if (job.openLength) {
    Append(job.header, test::Bytes("1B 4C FF FF"));
  }
}

// One buffer, lines of a few bytes, or anything between.
std::vector<std::uint32_t> Pieces(Random& random, std::size_t size) {
  const auto whole = static_cast<std::uint32_t>(size);
  switch (random.Between(0, 4)) {
    case 0:
      return {whole};
    case 1:
      return {size < 600 ? 1u : 97u};
    case 2:
      return {4096};
    default: {
      std::vector<std::uint32_t> pieces;
      for (std::uint32_t count = random.Between(1, 7); count > 0; --count) {
        pieces.push_back(random.Between(1, std::max(whole / 2, 1u)));
      }
      return pieces;
    }
  }
}

}  // namespace

JobPlan MakeJob(Random& random, std::uint32_t id, std::uint16_t firstIndex, const JobLimits& limits) {
  JobPlan job;
  job.id = id;
  MakeHeader(random, job);
  const std::uint32_t count = random.Chance(1, 12) ? random.Between(0, 1) : random.Between(1, 9);
  auto index = firstIndex;
  for (std::uint32_t made = 0; made < count; ++index) {
    if (HoldsAnEndLetter(test::LabelIndex(index))) {
      continue;
    }
    const bool mayHaveBetween = made > 0 && job.labels.back().ended;
    job.labels.push_back(MakeLabel(random, index, mayHaveBetween, made + 1 == count, limits));
    ++made;
  }
  if (job.labels.empty()) {
    // A stream needs an ESC n for its header to end; a label without a raster is none.
    LabelPlan empty;
    empty.index = firstIndex;
    empty.front = test::LabelIndex(firstIndex);
    empty.ended = limits.printEmpty;
    empty.back = limits.printEmpty ? test::Bytes("1B 47") : ByteString{};
    job.labels.push_back(empty);
  }
  job.footer = test::Bytes(random.Chance(1, 4) ? "1B 45 1B 51" : "1B 51");
  job.pieces = Pieces(random, job.Stream().size());
  return job;
}

}  // namespace sc3xxmon::simulation
