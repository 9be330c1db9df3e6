// Cuts a job's raw stream, in whatever pieces it arrives, into one job header, a list of labels and one job footer.
//
// One parser a document. It sends nothing and changes no byte of what it cuts. It has no failure result: a step that
// can't go on doesn't advance, and a log line says why. No lock: the job's thread alone.
//
// Cost is linear in the stream however it is cut, and a label's bytes are copied once: from a span that arrives while
// nothing is pending into the label's record, or, of a label in pieces, from each span into storage that becomes the
// record when the label is whole. Only what can't be placed yet is kept. A step that ran out of commands remembers where,
// and goes on from there.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "stream/kpl_label.h"

namespace sc3xxmon {

// What one step of the parser came to.
enum class ParseResult : std::uint32_t {
  kNotApplicable = 0,  // nothing looked at in this state
  kNoMatch = 1,        // the front isn't what the step looks for
  kNotEnoughData = 2,  // the commands ran out, or stop at bytes that are no commands
  kDone = 3,           // something was cut and the state change is made
};

// How far the stream has been cut.
inline constexpr std::int32_t kParserNone = 0;    // no job header yet
inline constexpr std::int32_t kParserHeader = 1;  // job header cut, no label yet
inline constexpr std::int32_t kParserLabels = 2;  // at least one label cut
inline constexpr std::int32_t kParserFooter = 3;  // footer reached; all further bytes belong to it

class CKplParser {
 public:
  explicit CKplParser(std::uint32_t jobNumber) : JobNumber(jobNumber) {}
  CKplParser(const CKplParser&) = delete;
  CKplParser& operator=(const CKplParser&) = delete;

  // Takes all of the span, cuts what can be cut, and gives the span's length, whatever was parsed. Out of memory it
  // throws std::bad_alloc, and the parser is as it was before the call: the same span can be offered again.
  std::int32_t ProcessData(const void* data, std::uint64_t size);

  // The single steps, on what is pending. ProcessData runs them in this order.
  ParseResult TryParseJobHeader();
  ParseResult TryParseLabel();
  ParseResult TryParseJobFooter();

  // Marks a label of this parser's list as sent.
  void MarkSent(KplLabel& label);
  // Takes every sent label back to unsent, one retry more each. Acknowledged labels are gone and stay so.
  void RevertSentLabels();
  // Removes the oldest label if it was sent. Gives the number of attempts it took, 0 if nothing was removed.
  std::uint32_t AckFirstLabel();

  // Null if there is none. Good until the list next changes.
  KplLabel* FirstUnsentLabel();
  KplLabel* FirstSentLabel();
  std::uint32_t SentLabelCount() const { return sentCount_; }
  std::uint32_t UnsentLabelCount() const { return static_cast<std::uint32_t>(Labels.size()) - sentCount_; }

  // Back to the start, but for ParserQParameter, OpenLengthLabels and JobNumber. A parser isn't reused by the job flow.
  void Reset();

  // Received and not yet cut off.
  const std::vector<std::uint8_t>& Buffer() const { return buffer_; }

  std::vector<std::uint8_t> JobHeader;
  std::vector<std::uint8_t> JobFooter;
  std::deque<KplLabel> Labels;  // oldest first; labels leave it by acknowledgement alone
  std::int32_t ParserState = kParserNone;
  std::uint8_t ParserQParameter = '1';  // last ESC q of the job header; a record that nothing reads
  std::uint32_t JobNumber;              // the spooler's job id, for the names of dumps
  bool OpenLengthLabels = false;        // the job header holds ESC L with 0xFFFF
  std::uint32_t LabelsParsed = 0;       // labels cut so far, discarded ones included
  std::uint32_t LabelsAcked = 0;        // labels acknowledged and removed

 private:
  using Bytes = std::span<const std::uint8_t>;

  // Where the label step ran out of commands, counted from the front of what is pending.
  struct LabelScan {
    std::uint64_t position = 0;
    std::uint32_t betweenLabels = 0;
    bool indexFound = false;
  };

  // What a label step decided about one command.
  enum class LabelCommand : std::uint8_t { kGoOn, kEndsBehind, kEndsBefore, kNoLabel };

  // What a call of ProcessData can change.
  struct Progress {
    std::size_t pending;
    std::size_t header;
    std::size_t footer;
    std::size_t labels;
    std::uint32_t labelsParsed;
    std::int32_t state;
    std::uint8_t qParameter;
    bool openLengthLabels;
    std::uint64_t headerScan;
    LabelScan labelScan;
  };
  Progress CurrentProgress() const;
  void GoBackTo(const Progress& before) noexcept;

  // The steps proper: each works on the front of `pending` and takes off what it cuts. `held` bytes of a label in pieces
  // stand before it, in the buffer; they are whole commands, and looked at.
  ParseResult CutJobHeader(Bytes& pending);
  ParseResult CutLabel(Bytes& pending, std::size_t held = 0);
  ParseResult FindJobFooter(Bytes pending);

  void Take(Bytes span);
  void TakeBehindHeld(Bytes span);
  void TakeBehindBuffer(Bytes span);
  std::optional<std::size_t> MissingToWhole() const;
  void CutSteps(Bytes& pending);
  void CutLabels(Bytes& pending);
  void CutFooter(Bytes& pending);
  ParseResult NoteHeaderCommand(const KplCommand& command);
  LabelCommand JudgeLabelCommand(LabelScan& scan, const KplCommand& command) const;
  void TakeLabel(Bytes& pending, std::size_t held, std::uint64_t labelSize, std::uint64_t endPosition);
  void KeepLabel(Bytes label, std::size_t held, std::uint32_t betweenLabels);
  void DumpLabelRaster(const KplLabel& label) const;
  void AppendToBuffer(Bytes bytes);
  void ReplaceBuffer(Bytes bytes);
  std::size_t RoomFor(Bytes pending, std::size_t needed) const;
  void KeepStorageOf(KplLabel& label);
  void DropFromBuffer(std::size_t kept);
  void ForgetScans();

  std::vector<std::uint8_t> buffer_;
  std::vector<std::uint8_t> spare_;  // storage of an acknowledged label
  std::uint64_t headerScan_ = 0;     // where the header step ran out of commands
  LabelScan labelScan_;
  std::uint32_t sentCount_ = 0;
};

}  // namespace sc3xxmon
