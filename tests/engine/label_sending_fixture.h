// Jobs on their way to the printer whose next label is sent, and labels that compress well.
#pragma once

#include <functional>

#include "job/failure.h"
#include "support/printing_fixture.h"

namespace sc3xxmon::test {

inline const ByteString kFeed = Bytes("1B 47");
inline const ByteString kAskInFlight = Bytes("1B 41 02");

// Two bits a dot, flags of its own, lines of 4 bytes that compress well.
inline ByteString RasterOfLines(std::uint32_t lines) {
  return Joined({Bytes("1B 44 02 5A"),
                 {static_cast<std::uint8_t>(lines), 0, 0, 0},
                 Bytes("10 00 00 00"),
                 ByteString(std::size_t{4} * lines, 0x77)});
}
inline ByteString LabelOfLines(std::uint16_t index, std::uint32_t lines) {
  return Joined({LabelIndex(index), RasterOfLines(lines), kFeed});
}

class LabelSendingFixture : public PrintingFixture {
 protected:
  // A job on its way whose next label is the first of `labels`.
  void JobWith(std::uint32_t model, const ByteString& labels) { StartPrinting(model, Joined({JobStart(), labels})); }

  bool SendNext() { return SendLabel(monitor, job->FirstUnsentLabel()); }
  bool SendNextInChunks(std::uint32_t lines) { return SendLabelChunked(monitor, job->FirstUnsentLabel(), lines); }

  // The text of the PrintCommException that the call ends in; "no failure" without one.
  static std::string CommFailureOf(const std::function<void()>& call) {
    try {
      call();
    } catch (const PrintCommException& failure) {
      return failure.what();
    }
    return "no failure";
  }

  // Places of the next label's bytes in each write from now on; -1 for bytes that stand elsewhere.
  void WatchPlaces() {
    port.onBytes = [this](const std::uint8_t* bytes, std::size_t size) {
      const auto& data = job->Labels.front().Data;
      const bool inside = !std::less<>{}(bytes, data.data()) && !std::less<>{}(data.data() + data.size(), bytes + size);
      places.push_back(inside ? bytes - data.data() : -1);
    };
  }

  std::vector<std::ptrdiff_t> places;
};

}  // namespace sc3xxmon::test
