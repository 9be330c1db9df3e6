#include "stream/random_stream.h"

#include <cstring>
#include <string>

namespace sc3xxmon::test {
namespace {

constexpr char kAllFixed[] = "#*@ACEGHLMPQTUVXbcdeghilmnpqstx";
constexpr char kBetween[] = "CHLTcdeghilqt";
constexpr char kInHeader[] = "#*@ACEGHLMPQTUVXbcdeghilmpqstx";
constexpr char kInLabel[] = "#*@ACHLMPTUVXbcdeghilmqstx";

std::size_t OperandCount(char letter) {
  static const std::string kOne = "#ACTpq", kTwo = "HLbmn", kFour = "lst";
  const auto isIn = [letter](const std::string& letters) { return letters.find(letter) != std::string::npos; };
  return isIn(kOne) ? 1 : isIn(kTwo) ? 2 : isIn(kFour) ? 4 : letter == 'X' ? 5 : letter == 'M' ? 8 : 0;
}

}  // namespace

std::uint32_t RandomStream::UpTo(std::uint32_t most) {
  return static_cast<std::uint32_t>(random_() % (std::uint64_t{most} + 1));
}

char RandomStream::OneOf(const char* letters) {
  return letters[UpTo(static_cast<std::uint32_t>(std::strlen(letters)) - 1)];
}

// The bytes that a parser could stumble over, more often than others.
std::uint8_t RandomStream::TellingByte() {
  constexpr std::uint8_t kTelling[] = {0x1B, 'Q', 'E', 'G', 'n', 'D', 'p', 0xFF};
  return Chance(70) ? kTelling[UpTo(7)] : static_cast<std::uint8_t>(UpTo(255));
}

void RandomStream::AddNumber(Bytes& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

void RandomStream::AddCommand(Bytes& out, char letter) {
  out.push_back(0x1B);
  out.push_back(static_cast<std::uint8_t>(letter));
  const bool allOnes = letter == 'L' && Chance(30);
  for (std::size_t i = 0; i < OperandCount(letter); ++i) {
    out.push_back(allOnes ? 0xFF : TellingByte());
  }
}

void RandomStream::AddRaster(Bytes& out) {
  struct Shape {
    std::uint8_t bits;
    std::uint32_t lines, dots, bytes;
  };
  const std::uint32_t lines = UpTo(4), lineBytes = UpTo(12);
  const Shape shapes[] = {
      {1, lines, lineBytes * 8, lines * lineBytes},
      {8, lines, lineBytes, lines * lineBytes},
      {1, 3, 9, 6},  // a rest of one dot
      {16, 2, 0x10000001, 4},
      {1, 0x80000001, 16, 2},  // products that wrap
      {0, 5, 100, 0},
  };
  const Shape& shape = shapes[Chance(80) ? UpTo(1) : UpTo(5)];
  out.insert(out.end(), {0x1B, 'D', shape.bits, TellingByte()});
  AddNumber(out, shape.lines);
  AddNumber(out, shape.dots);
  for (std::uint32_t i = 0; i < shape.bytes; ++i) {
    out.push_back(TellingByte());
  }
}

void RandomStream::AddCompressedRaster(Bytes& out) {
  const std::uint32_t size = UpTo(12);
  out.insert(out.end(), {0x1B, 'Z', 3});
  AddNumber(out, size);
  out.insert(out.end(), {static_cast<std::uint8_t>(UpTo(2)), TellingByte()});
  AddNumber(out, UpTo(3));
  AddNumber(out, UpTo(20));
  for (std::uint32_t i = 0; i < size; ++i) {
    out.push_back(TellingByte());
  }
}

void RandomStream::AddHeader(Bytes& out) {
  AddCommand(out, Chance(97) ? 's' : 'q');
  for (std::uint32_t i = UpTo(4); i > 0; --i) {
    AddCommand(out, Chance(40) ? OneOf("qL") : OneOf(kInHeader));
  }
  if (Chance(3)) {
    AddRaster(out);
  }
}

void RandomStream::AddLabel(Bytes& out, bool first) {
  for (std::uint32_t i = first ? 0 : UpTo(3); i > 0; --i) {
    AddCommand(out, OneOf(kBetween));
  }
  AddCommand(out, 'n');
  for (std::uint32_t i = UpTo(3); i > 0; --i) {
    const std::uint32_t kind = UpTo(9);
    if (kind < 6) {
      AddRaster(out);
    } else if (kind == 6) {
      AddCompressedRaster(out);
    } else {
      AddCommand(out, OneOf(kInLabel));
    }
  }
  if (Chance(80)) {
    AddCommand(out, Chance(80) ? 'G' : 'p');
  }
}

void RandomStream::AddFooter(Bytes& out) {
  if (Chance(8)) {
    AddCommand(out, OneOf(kBetween));  // no footer is ever found behind this
  }
  AddCommand(out, Chance(70) ? 'Q' : 'E');
  for (std::uint32_t i = Chance(30) ? UpTo(12) : 0; i > 0; --i) {
    out.push_back(TellingByte());
  }
}

RandomStream::Bytes RandomStream::Job() {
  Bytes out;
  AddHeader(out);
  const std::uint32_t labels = UpTo(8);
  for (std::uint32_t i = 0; i < labels; ++i) {
    AddLabel(out, i == 0);
  }
  if (Chance(85)) {
    AddFooter(out);
  }
  return out;
}

RandomStream::Bytes RandomStream::CommandSoup() {
  Bytes out;
  if (Chance(80)) {
    AddCommand(out, 's');
  }
  for (std::uint32_t i = UpTo(25); i > 0; --i) {
    const std::uint32_t kind = UpTo(9);
    if (kind < 2) {
      AddRaster(out);
    } else if (kind == 2) {
      AddCompressedRaster(out);
    } else {
      AddCommand(out, kind < 5 ? OneOf("nGQEp") : OneOf(kAllFixed));
    }
  }
  return out;
}

void RandomStream::Damage(Bytes& stream) {
  for (std::uint32_t i = 1 + UpTo(2); i > 0 && !stream.empty(); --i) {
    const auto at = static_cast<std::ptrdiff_t>(UpTo(static_cast<std::uint32_t>(stream.size()) - 1));
    switch (UpTo(3)) {
      case 0:
        stream[static_cast<std::size_t>(at)] = TellingByte();
        break;
      case 1:
        stream.erase(stream.begin() + at);
        break;
      case 2:
        stream.insert(stream.begin() + at, TellingByte());
        break;
      default:
        stream.resize(static_cast<std::size_t>(at));
        break;
    }
  }
}

std::vector<std::uint8_t> RandomStream::Make() {
  const std::uint32_t kind = UpTo(9);
  if (kind == 0) {
    Bytes garbage(UpTo(60));
    for (std::uint8_t& byte : garbage) {
      byte = TellingByte();
    }
    return garbage;
  }
  Bytes stream = kind < 3 ? CommandSoup() : Job();
  if (kind >= 7) {
    Damage(stream);
  }
  return stream;
}

}  // namespace sc3xxmon::test
