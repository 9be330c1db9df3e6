#include "printer_desk.h"

#include <lz4.h>

namespace simulator::test {
namespace {

void PutWord(Bytes& bytes, std::uint32_t word) {
  for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

Bytes WithHalfWord(std::uint8_t letter, std::uint16_t operand) {
  return {0x1B, letter, static_cast<std::uint8_t>(operand), static_cast<std::uint8_t>(operand >> 8)};
}

}  // namespace

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes JobStart() {
  return {0x1B, 's', 1, 0, 0, 0};
}
Bytes EndOfJob() {
  return {0x1B, 'Q'};
}
Bytes ShortFormFeed() {
  return {0x1B, 'G'};
}
Bytes LongFormFeed() {
  return {0x1B, 'E'};
}
Bytes Index(std::uint16_t index) {
  return WithHalfWord('n', index);
}
Bytes LabelLength(std::uint16_t length) {
  return WithHalfWord('L', length);
}
Bytes Ask(std::uint8_t operand) {
  return {0x1B, 'A', operand};
}
Bytes AskFirmware() {
  return {0x1B, 'V'};
}

Bytes RasterBytes(std::uint32_t lines, std::uint32_t dots, std::uint8_t seed, std::uint8_t bits) {
  Bytes raster((std::size_t{bits} * dots + 7) / 8 * lines);
  for (std::size_t at = 0; at < raster.size(); ++at) raster[at] = static_cast<std::uint8_t>(seed + at * 3);
  return raster;
}

Bytes Raster(std::uint32_t lines, std::uint32_t dots, const Bytes& raster, std::uint8_t bits) {
  Bytes bytes{0x1B, 'D', bits, 0};
  PutWord(bytes, lines);
  PutWord(bytes, dots);
  return std::move(bytes) + raster;
}

Bytes CompressedRaster(std::uint32_t lines, std::uint32_t dots, const Bytes& raster) {
  Bytes block(static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(raster.size()))));
  const int size =
      LZ4_compress_default(reinterpret_cast<const char*>(raster.data()), reinterpret_cast<char*>(block.data()),
                           static_cast<int>(raster.size()), static_cast<int>(block.size()));
  block.resize(static_cast<std::size_t>(size));
  Bytes bytes{0x1B, 'Z', 3};
  PutWord(bytes, static_cast<std::uint32_t>(block.size()));
  bytes.push_back(1);
  bytes.push_back(0);
  PutWord(bytes, lines);
  PutWord(bytes, dots);
  return std::move(bytes) + block;
}

Bytes OpenLabel(std::uint16_t index, std::uint32_t lines) {
  return Index(index) + Raster(lines, 64, RasterBytes(lines, 64, static_cast<std::uint8_t>(index)));
}

Bytes Label(std::uint16_t index, std::uint32_t lines) {
  return OpenLabel(index, lines) + ShortFormFeed();
}

Fault FaultOf(const std::string& text) {
  const auto parsed = ParseFault(text);
  if (const auto* error = std::get_if<FaultScriptError>(&parsed)) {
    ADD_FAILURE() << error->message;
    return {};
  }
  return std::get<Fault>(parsed);
}

VirtualPrinter& PrinterDesk::Printer() {
  if (!printer_) {
    printer_.emplace(settings);
    host_ = printer_->Connect(now);
  }
  return *printer_;
}

ClientId PrinterDesk::Host() {
  Printer();
  return host_;
}

void PrinterDesk::Send(const Bytes& bytes) {
  SendAs(Host(), bytes);
}

void PrinterDesk::SendAs(ClientId client, const Bytes& bytes) {
  ASSERT_EQ(Printer().Write(client, bytes, now), bytes.size());
}

Bytes PrinterDesk::Receive() {
  return ReceiveAs(Host());
}

Bytes PrinterDesk::ReceiveAs(ClientId client) {
  Bytes bytes(Printer().Readable(client, now));
  EXPECT_EQ(Printer().Read(client, bytes, now), bytes.size());
  return bytes;
}

int PrinterDesk::StatusOf(const Bytes& answer) const {
  const std::size_t start = answer.size() == 70 ? 6 : 0;
  if (answer.size() < start + 32) return -1;
  const bool escapeS = answer[start] == 0x1B && answer[start + 1] == 0x53;
  return answer[start + (escapeS ? 3 : 0)];
}

std::vector<int> PrinterDesk::Statuses() {
  return StatusesAs(Host());
}

std::vector<int> PrinterDesk::StatusesAs(ClientId client) {
  const Bytes bytes = ReceiveAs(client);
  const std::size_t size = Printer().Model().statusAnswerBytes;
  EXPECT_EQ(bytes.size() % size, 0u);
  std::vector<int> statuses;
  for (std::size_t at = 0; at + size <= bytes.size(); at += size) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    statuses.push_back(StatusOf(Bytes(begin, begin + static_cast<std::ptrdiff_t>(size))));
  }
  return statuses;
}

int PrinterDesk::StatusAfter(std::uint8_t operand) {
  return StatusAs(Host(), operand);
}

int PrinterDesk::StatusAs(ClientId client, std::uint8_t operand) {
  SendAs(client, Ask(operand));
  return StatusOf(ReceiveAs(client));
}

void PrinterDesk::Pass(std::uint64_t milliseconds) {
  now += milliseconds;
  Printer().Advance(now);
}

std::vector<int> PrinterDesk::PrintedIndexes() {
  std::vector<int> indexes;
  for (const PrintedLabel& label : Printer().Printed()) indexes.push_back(label.index);
  return indexes;
}

std::vector<PrinterEventKind> PrinterDesk::EventKinds() {
  std::vector<PrinterEventKind> kinds;
  for (const PrinterEvent& event : Printer().Events()) kinds.push_back(event.kind);
  return kinds;
}

std::vector<DropReason> PrinterDesk::DropReasons() {
  std::vector<DropReason> reasons;
  for (const DroppedLabel& label : Printer().Dropped()) reasons.push_back(label.reason);
  return reasons;
}

}  // namespace simulator::test
