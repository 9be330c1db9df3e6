// What a virtual printer leaves behind: labels, events, what it could not understand, and the transcript of
// its conversations. Plain data. Times are milliseconds on the clock that the calls gave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace simulator {

// A client is whoever has the printer open: a port handle, a socket. Numbers count up from 1 and are never
// used again.
using ClientId = std::uint32_t;
inline constexpr ClientId kNobody = 0;
inline constexpr ClientId kSomebodyElse = 0xFFFFFFFFu;  // the unseen holder of a lock fault

enum class LabelEnd {
  kShortFormFeed,  // ESC G
  kTear,           // ESC p
  kLongFormFeed,   // ESC E
  kNextLabel,      // ESC n
  kEndOfJob,       // ESC Q
  kStatusRequest,  // asked after a whole raster, desktop models
  kDisconnect,
};

struct PrintedLabel {
  std::uint16_t index = 0;  // operand of its ESC n
  // The raster as it came onto paper, chunks joined and compression undone: `lines` lines of LineBytes()
  // bytes. Empty for a label without a raster.
  std::vector<std::uint8_t> raster;
  std::uint32_t dotsPerLine = 0;
  std::uint32_t lines = 0;
  std::uint8_t bitsPerDot = 1;
  std::uint8_t rasterFlags = 0;
  std::uint32_t rasterCommands = 0;  // ESC D and ESC Z that it was made of
  bool compressed = false;           // one of them at least was an ESC Z

  std::vector<std::uint8_t> leading;  // commands between the end of the label before and its ESC n, job header included
  std::vector<std::uint8_t> commands;  // from its ESC n on, as received; status requests left out
  LabelEnd end = LabelEnd::kShortFormFeed;

  ClientId client = kNobody;
  std::uint32_t job = 0;  // number of the client's ESC s, counted over all clients from 1; 0 outside a job
  std::uint64_t receivedMs = 0;
  std::uint64_t startedMs = 0;
  std::uint64_t finishedMs = 0;

  std::size_t LineBytes() const { return (std::size_t{bitsPerDot} * dotsPerLine + 7) / 8; }
};

enum class DropReason {
  kReportedBad,  // a status answer told its host that it isn't printed: the host sends it again
  kRefused,      // came behind such an answer, or while somebody else had the lock
  kBegunAnew,    // its host began it again from its ESC n before it was whole
  kCancelled,    // cancelled at the printer
  kPowerOff,
  kDisconnected,  // its client went in the middle of it
  kCutShort,      // its raster stopped in the middle
  kMalformed,     // a raster that doesn't decode, or a label beyond the limit
};

struct DroppedLabel {
  std::uint16_t index = 0;
  ClientId client = kNobody;
  std::uint32_t job = 0;
  std::uint64_t timeMs = 0;
  DropReason reason = DropReason::kReportedBad;
  bool acknowledged = false;  // a passing status answer had told its host that it is taken: this label is lost
};

enum class PrinterEventKind { kJobStarted, kJobEnded, kShortFormFeed, kLongFormFeed };

// Form feeds count here only when they stand outside a label or are long.
struct PrinterEvent {
  PrinterEventKind kind = PrinterEventKind::kJobStarted;
  std::uint64_t timeMs = 0;
  ClientId client = kNobody;
  std::uint32_t job = 0;
};

struct MalformedInput {
  ClientId client = kNobody;
  std::uint64_t timeMs = 0;
  std::uint64_t offset = 0;  // in the client's stream, from its first byte
  std::string reason;
};

enum class Direction { kToPrinter, kFromPrinter, kAtPrinter };

// One line of the transcript.
struct Exchange {
  std::uint64_t timeMs = 0;
  ClientId client = kNobody;
  Direction direction = Direction::kAtPrinter;
  std::string kind;                 // "status request 2", "status", "label", "fault begins", ...
  std::uint64_t length = 0;         // bytes on the wire; 0 for what happens at the printer
  std::vector<std::uint8_t> bytes;  // the bytes themselves where they are few (requests and answers)
  std::string meaning;              // in words
};

struct PrinterCounts {
  std::uint64_t labelsPrinted = 0;
  std::uint64_t labelsDropped = 0;
  std::uint64_t labelsLost = 0;  // dropped although acknowledged
  std::uint64_t jobsStarted = 0;
  std::uint64_t jobsEnded = 0;
  std::uint64_t malformed = 0;  // all of them, also beyond those that are kept
  std::uint64_t powerCuts = 0;
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  std::uint64_t exchanges = 0;      // requests that have an answer
  std::uint64_t transferCalls = 0;  // port calls announced through BeginTransfer
};

const char* Name(LabelEnd end);
const char* Name(DropReason reason);
const char* Name(PrinterEventKind kind);
const char* Name(Direction direction);

}  // namespace simulator
