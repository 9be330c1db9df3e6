// One label as cut from the stream.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "stream/kpl_command.h"

namespace sc3xxmon {

// Owns a private copy of the label's bytes, which never change: what differs on the wire is built in a temporary at
// each send, so that a label can go out again from the same bytes. Move-only; `Data`'s storage moves along, and the
// pointers are found anew in it. No thread of its own, no lock: the job's thread alone.
class KplLabel {
 public:
  // The head of the last raster command: none, of an ESC D, or of an ESC Z.
  using RasterHead = std::variant<std::monostate, std::array<std::uint8_t, kRasterHeadSize>,
                                  std::array<std::uint8_t, kCompressedRasterHeadSize>>;

  KplLabel() = default;
  KplLabel(std::span<const std::uint8_t> bytes, std::uint32_t iphLength);
  KplLabel(std::vector<std::uint8_t>&& storage, std::uint32_t iphLength) noexcept;
  KplLabel(KplLabel&& other) noexcept;
  KplLabel& operator=(KplLabel&& other) noexcept;
  KplLabel(const KplLabel&) = delete;
  KplLabel& operator=(const KplLabel&) = delete;
  ~KplLabel() = default;

  // Finds the label's index and raster behind the inter-page header; the last raster command wins. True if there is
  // one.
  bool FindCommands();

  // Size of the raster once decompressed; 0 without a raster command.
  std::uint32_t RasterSize() const;
  // Geometry of the raster; all zero without a raster command.
  RasterDescriptor Raster() const;

  std::vector<std::uint8_t> Data;  // inter-page header, ESC n, the label's commands, the form feed if it ended in one
  const std::uint8_t* PrintDataCommand = nullptr;  // into Data: the ESC of the raster command, null without one
  const std::uint8_t* PrintDataParams = nullptr;   // into Data: its raster descriptor
  RasterHead PrintDataHead;                        // kept for diagnosis; the engine works from PrintDataParams
  std::uint32_t IphLength = 0;                     // bytes at the front of Data that are between-labels commands
  std::uint32_t CompressedSize = 0;  // of an ESC Z raster; above 0: the label came compressed and stays as it is
  std::uint32_t LabelIndex = 0;      // operand of the label's last ESC n
  std::uint32_t Retries = 0;         // how many times it was sent and reverted

  // Gone to the port and waiting for its acknowledgement. Set through CKplParser::MarkSent, which counts.
  bool Sent() const { return sent_; }

 private:
  friend class CKplParser;

  void TakeFrom(KplLabel& other) noexcept;

  bool sent_ = false;
};

}  // namespace sc3xxmon
