// Looks at everything that the monitor writes to the port of one document, and ends the process at the first byte that
// doesn't belong there: besides the monitor's own requests and commands only the job header, the footer, and the labels
// in one of their wire forms may go out, each label unchanged, in order, and never again once it was acknowledged.
//
// It knows the labels from the naive parser, which is fed the same pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "fuzz/naive_parser.h"

namespace sc3xxmon::fuzz {

class WireCheck {
 public:
  explicit WireCheck(bool keepEmptyLabels) : parser_(keepEmptyLabels) {}

  // Before the monitor gets the same piece.
  void Expect(std::span<const std::uint8_t> piece);

  // One write, and whether the port said that it went through.
  void OnWrite(std::span<const std::uint8_t> bytes, bool succeeded);

  // The monitor has shown that so many labels are acknowledged.
  void OnAcknowledged(std::size_t labels);

  const NaiveParser& Parser() const { return parser_; }
  std::size_t Acknowledged() const { return acknowledged_; }
  bool FooterWritten() const { return footerWritten_; }

 private:
  using Bytes = std::span<const std::uint8_t>;

  // A label that goes out in chunks of lines, and how far it has come.
  struct ChunkedLabel {
    std::size_t number = 0;
    std::uint32_t linesLeft = 0;
    Bytes rasterLeft;
    Bytes expectedLines;  // what the head just written announced; empty: a head is next
  };

  bool IsWholeLabel(Bytes bytes, std::size_t number) const;
  bool IsChunkedHead(Bytes bytes, std::size_t number) const;
  bool TakeChunkPart(Bytes bytes, bool succeeded);
  bool TakeChunkHead(Bytes bytes);
  bool TakeLabel(Bytes bytes, bool succeeded);
  bool AreTwins(const NaiveLabel& one, const NaiveLabel& other) const;
  void NoteOut(std::size_t number);
  Bytes SendSpan(const NaiveLabel& label) const;
  void BeginChunks(std::size_t number);

  NaiveParser parser_;
  std::vector<bool> out_;         // labels that went out whole at least once
  std::size_t acknowledged_ = 0;  // from the front
  std::size_t next_ = 0;          // the label that follows the last one written
  bool twins_ = false;            // labels with the same bytes: which of them goes out can't be seen
  std::optional<ChunkedLabel> chunks_;
  bool footerWritten_ = false;
};

}  // namespace sc3xxmon::fuzz
