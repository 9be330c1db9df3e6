#include "stream/kpl_label.h"

#include <algorithm>
#include <utility>

#include "stream/kpl_iterator.h"

namespace sc3xxmon {
namespace {

template <std::size_t Size>
std::array<std::uint8_t, Size> HeadOf(const KplCommand& command) {
  std::array<std::uint8_t, Size> head;
  std::copy_n(command.Data, Size, head.begin());
  return head;
}

}  // namespace

KplLabel::KplLabel(std::span<const std::uint8_t> bytes, std::uint32_t iphLength)
    : Data(bytes.begin(), bytes.end()), IphLength(iphLength) {
  FindCommands();
}

KplLabel::KplLabel(std::vector<std::uint8_t>&& storage, std::uint32_t iphLength) noexcept
    : Data(std::move(storage)), IphLength(iphLength) {
  FindCommands();
}

KplLabel::KplLabel(KplLabel&& other) noexcept {
  TakeFrom(other);
}

KplLabel& KplLabel::operator=(KplLabel&& other) noexcept {
  if (this != &other) {
    TakeFrom(other);
  }
  return *this;
}

// Only what the scan finds overwrites CompressedSize and LabelIndex: a target that held a label before keeps its own
// where the new label has no such command. The pointers would point into storage that is gone, so they go first.
void KplLabel::TakeFrom(KplLabel& other) noexcept {
  Data = std::move(other.Data);
  PrintDataHead = other.PrintDataHead;
  IphLength = other.IphLength;
  Retries = other.Retries;
  sent_ = other.sent_;
  PrintDataCommand = nullptr;
  PrintDataParams = nullptr;
  FindCommands();

  other.Data.clear();
  other.PrintDataCommand = nullptr;
  other.PrintDataParams = nullptr;
  other.IphLength = 0;
  other.CompressedSize = 0;
}

bool KplLabel::FindCommands() {
  const bool hasHeader = !Data.empty() && Data.size() >= IphLength;
  CKplIterator it = hasHeader ? CKplIterator(Data.data() + IphLength, Data.size() - IphLength) : CKplIterator();
  for (; !it.AtEnd(); ++it) {
    const KplCommand& command = it.Current;
    switch (command.Letter()) {
      case 'n':
        LabelIndex = command.Operand16();
        break;
      case 'D':
        PrintDataCommand = command.Data;
        PrintDataParams = command.Data + kRasterDescriptorOffset;
        CompressedSize = 0;
        PrintDataHead = HeadOf<kRasterHeadSize>(command);
        break;
      case 'Z':
        PrintDataCommand = command.Data;
        PrintDataParams = command.Data + kCompressedRasterDescriptorOffset;
        CompressedSize = ReadLittle32(command.Data + kCompressedSizeOffset);
        PrintDataHead = HeadOf<kCompressedRasterHeadSize>(command);
        break;
      default:
        break;
    }
  }
  return PrintDataParams != nullptr;
}

RasterDescriptor KplLabel::Raster() const {
  return PrintDataParams != nullptr ? RasterDescriptor::At(PrintDataParams) : RasterDescriptor{};
}

std::uint32_t KplLabel::RasterSize() const {
  return Raster().RasterSize();
}

}  // namespace sc3xxmon
