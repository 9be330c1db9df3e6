// Random print streams: right ones, broken ones and plain garbage. The same seed gives the same stream everywhere.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace sc3xxmon::test {

class RandomStream {
 public:
  explicit RandomStream(std::uint32_t seed) : random_(seed) {}

  // A whole stream of up to some hundred bytes.
  std::vector<std::uint8_t> Make();
  // A number from 0 to `most`.
  std::uint32_t UpTo(std::uint32_t most);
  bool Chance(std::uint32_t percent) { return UpTo(99) < percent; }

 private:
  using Bytes = std::vector<std::uint8_t>;

  Bytes Job();
  Bytes CommandSoup();
  void Damage(Bytes& stream);
  void AddHeader(Bytes& out);
  void AddLabel(Bytes& out, bool first);
  void AddFooter(Bytes& out);
  void AddCommand(Bytes& out, char letter);
  void AddRaster(Bytes& out);
  void AddCompressedRaster(Bytes& out);
  void AddNumber(Bytes& out, std::uint32_t value);
  std::uint8_t TellingByte();
  char OneOf(const char* letters);

  std::mt19937 random_;  // its numbers are fixed by the standard; distributions aren't, so none is used
};

}  // namespace sc3xxmon::test
