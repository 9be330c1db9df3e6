// Cuts a stream as the monitor would if it got it in one piece, and says in words where and why it stops.
//
// The monitor's rules, in short. The job header reaches from ESC s to the first ESC n. A label may begin with
// between-labels commands, except for the first one; it has one ESC n, and ends behind the first ESC G or ESC p, or
// before the first ESC n, ESC Q or ESC E. Where a label could begin, ESC Q or ESC E opens the footer, which takes
// everything to the end. Whatever fits none of this stays where it is and is dropped when the document ends.
//
// One rule depends on how the stream is split. The monitor looks at a label's ending letter only after it moved the
// rest of its buffer down by the label's length, so what it finds at that place may be another byte. If that byte is a
// 'Q' or an 'E', it believes that the footer has come, unless the next label is complete in the buffer too.
#include "apps/kpl/inspect.h"

#include <algorithm>
#include <utility>

#include "apps/kpl/inspect_rasters.h"
#include "apps/kpl/kpl_commands.h"

namespace sc3xx {
namespace {

using Severity = InspectedProblem::Severity;

bool OpensFooter(std::uint8_t letter) {
  return letter == 'Q' || letter == 'E';
}

std::string AtByte(std::uint64_t offset) {
  return "at byte " + std::to_string(offset);
}

class StreamCutter {
 public:
  StreamCutter(std::span<const std::uint8_t> stream, InspectReport& report) : stream_(stream), report_(report) {}

  void Cut() {
    if (CutHeader()) {
      while (CutLabel()) {
      }
      if (!footerBegan_) {
        FindFooter();
      }
    }
    TakeRest();
  }

 private:
  Step At(std::uint64_t offset) const { return StepAt(stream_, offset); }
  std::uint64_t Left(std::uint64_t offset) const { return stream_.size() - offset; }
  std::span<const std::uint8_t> From(std::uint64_t offset) const {
    return stream_.subspan(static_cast<std::size_t>(offset));
  }

  void Add(Severity severity, std::uint64_t offset, std::string what, std::string consequence) {
    report_.problems.push_back({severity, offset, std::move(what), std::move(consequence)});
  }

  std::string WhatGoesOut() const {
    const std::size_t labels = report_.LabelsToPrint();
    if (labels == 0) {
      return report_.header ? "no label goes out" : "nothing of this job goes out";
    }
    return Counted(labels, "label") + " before it " + (labels == 1 ? "goes out" : "go out");
  }

  // What happens to a stream that can't be cut any further, in words that fit every such place.
  std::string LostFrom(std::uint64_t offset) const {
    return WhatGoesOut() + "; " + Counted(Left(offset), "byte") + " from byte " + std::to_string(offset) +
           " on wait in the monitor for a continuation, and are dropped without a message when the document ends";
  }

  std::string WhyNoCommand(const Step& step, std::uint64_t offset) const {
    switch (step.result) {
      case StepResult::kNoEscape:
        return "no command begins here: expected ESC (1B), found " + HexBytes(From(offset), 8);
      case StepResult::kUnknownLetter:
        return CommandName(step.letter) + " is no command of the language: " + HexBytes(From(offset), 8);
      case StepResult::kIncomplete:
        return WhyIncomplete(step, offset);
      case StepResult::kEndOfStream:
      case StepResult::kCommand:
        break;
    }
    return "the stream ends here";
  }

  std::string WhyIncomplete(const Step& step, std::uint64_t offset) const {
    if (step.letter == 0) {
      return "the stream ends with a lone ESC";
    }
    const bool headOnly = (step.letter == 'D' && Left(offset) < kRasterHeadBytes) ||
                          (step.letter == 'Z' && Left(offset) < kCompressedRasterHeadBytes);
    return "the stream ends inside " + CommandName(step.letter) + " (" + CommandMeaning(step.letter) +
           "): " + (headOnly ? "its head alone has " : "it has ") + Counted(step.length, "byte") + ", but only " +
           std::to_string(Left(offset)) + (Left(offset) == 1 ? " is" : " are") + " left";
  }

  bool CutHeader() {
    const Step first = At(0);
    if (first.result != StepResult::kCommand) {
      Add(Severity::kError, 0, stream_.empty() ? "the stream is empty" : WhyNoCommand(first, 0), LostFrom(0));
      return false;
    }
    if (first.letter != 's') {
      Add(Severity::kError, 0,
          "the stream begins with " + CommandName(first.letter) + ", but a job must begin with ESC s", LostFrom(0));
      return false;
    }
    report_.jobId = Read32(stream_, 2);
    return WalkHeader(first.length);
  }

  bool WalkHeader(std::uint64_t offset) {
    for (;;) {
      const Step step = At(offset);
      if (step.result == StepResult::kEndOfStream) {
        Add(Severity::kError, offset, "the stream ends within the job header: no label (ESC n) follows", LostFrom(0));
        return false;
      }
      if (step.result != StepResult::kCommand) {
        Add(Severity::kError, offset, WhyNoCommand(step, offset), LostFrom(0));
        return false;
      }
      if (step.letter == 'D' || step.letter == 'Z') {
        Add(Severity::kError, offset,
            CommandName(step.letter) + " (" + CommandMeaning(step.letter) +
                ") stands in the job header, before the first ESC n",
            LostFrom(0));
        return false;
      }
      if (step.letter == 'n') {
        report_.header = InspectedSpan{0, offset};
        front_ = offset;
        return true;
      }
      if (step.letter == 'L' && Read16(stream_, static_cast<std::size_t>(offset) + 2) == 0xFFFF) {
        report_.openLength = true;
      }
      offset += step.length;
    }
  }

  // Commands up to the label's ESC n. Gives the offset behind it, or nothing if no label begins at the front.
  std::optional<std::uint64_t> FindIndex(InspectedLabel& label) {
    std::uint64_t offset = front_;
    for (;;) {
      const Step step = At(offset);
      if (step.result != StepResult::kCommand) {
        NoLabelBegins(step, offset);
        return std::nullopt;
      }
      if (step.letter == 'n') {
        label.betweenLabelsBytes = static_cast<std::uint32_t>(offset - front_);
        label.index = Read16(stream_, static_cast<std::size_t>(offset) + 2);
        return offset + step.length;
      }
      if (report_.labels.empty() || !IsBetweenLabelsLetter(step.letter)) {
        stuckAt_ = offset;
        return std::nullopt;
      }
      offset += step.length;
    }
  }

  void NoLabelBegins(const Step& step, std::uint64_t offset) {
    if (footerBegan_) {
      return;  // the rest is taken for the footer, whatever it is
    }
    stuckAt_ = offset;
    if (step.result != StepResult::kEndOfStream) {
      Add(Severity::kError, offset, WhyNoCommand(step, offset), LostFrom(front_));
      toldWhyStuck_ = true;
    } else if (offset != front_) {
      Add(Severity::kError, offset,
          "the stream ends behind between-labels commands: neither a label nor a footer follows", LostFrom(front_));
      toldWhyStuck_ = true;
    }
  }

  static void AddRaster(InspectedLabel& label, std::span<const std::uint8_t> command, std::uint64_t offset) {
    const bool compressed = command[1] == 'Z';
    const std::size_t head = compressed ? kCompressedRasterHeadBytes : kRasterHeadBytes;
    const RasterGeometry geometry = ReadGeometry(command.subspan(compressed ? 7 : 2));
    InspectedRaster raster;
    raster.offset = offset;
    raster.dataOffset = offset + head;
    raster.dataLength = command.size() - head;
    raster.compressed = compressed;
    raster.bitsPerDot = geometry.bitsPerDot;
    raster.rasterFlags = geometry.rasterFlags;
    raster.lineCount = geometry.lineCount;
    raster.dotsPerLine = geometry.dotsPerLine;
    raster.lineBytes = geometry.LineBytes();
    raster.rasterBytes = geometry.RasterBytes();
    label.rasters.push_back(raster);
  }

  // Where the label ends that has its index before `offset`. Nothing if it has no end.
  std::optional<std::uint64_t> FindEnd(InspectedLabel& label, std::uint64_t offset) {
    for (;;) {
      const Step step = At(offset);
      if (step.result != StepResult::kCommand) {
        NoLabelEnd(label, step, offset);
        return std::nullopt;
      }
      label.endLetter = step.letter;
      endLetterAt_ = offset + 1;
      if (step.letter == 'G' || step.letter == 'p') {
        return offset + step.length;
      }
      if (step.letter == 'n' || OpensFooter(step.letter)) {
        return offset;
      }
      if (step.letter == 'D' || step.letter == 'Z') {
        AddRaster(label, From(offset).first(static_cast<std::size_t>(step.length)), offset);
      }
      offset += step.length;
    }
  }

  void NoLabelEnd(const InspectedLabel& label, const Step& step, std::uint64_t offset) {
    if (footerBegan_) {
      return;
    }
    stuckAt_ = offset;
    toldWhyStuck_ = true;
    const std::string which = "label " + std::to_string(label.number) + " (index " + std::to_string(label.index) + ")";
    const std::string what = step.result == StepResult::kEndOfStream
                                 ? "the stream ends within " + which +
                                       ", which has no end (ESC G, ESC p, or the next "
                                       "ESC n, ESC Q or ESC E)"
                                 : WhyNoCommand(step, offset) + ", within " + which;
    Add(Severity::kError, offset, what, LostFrom(front_));
  }

  // Takes one label off the front. False if there is none, or if it isn't complete.
  bool CutLabel() {
    InspectedLabel label;
    label.number = static_cast<std::uint32_t>(report_.labels.size()) + 1;
    label.offset = front_;
    const auto behindIndex = FindIndex(label);
    if (!behindIndex) {
      return false;
    }
    const auto end = FindEnd(label, *behindIndex);
    if (!end) {
      return false;
    }
    label.length = *end - front_;
    label.discarded = label.rasters.empty() || label.rasters.back().rasterBytes == 0;
    report_.labels.push_back(std::move(label));
    JudgeEnd(endLetterAt_ - front_, *end);
    front_ = *end;
    return true;
  }

  // The ending letter as the monitor finds it, `distance` bytes behind `end`.
  void JudgeEnd(std::uint64_t distance, std::uint64_t end) {
    const bool reaches = distance < Left(end);
    metAt_ = end + distance;
    const std::uint8_t letter = report_.labels.back().endLetter;
    const std::uint8_t met = reaches ? stream_[static_cast<std::size_t>(metAt_)] : letter;
    footerBegan_ = OpensFooter(met);
    if (footerBegan_ && !OpensFooter(letter)) {
      mistaken_.push_back({report_.labels.size() - 1, metAt_, met});
    }
  }

  bool FooterStandsAtFront() const {
    const Step step = At(front_);
    return step.result == StepResult::kCommand && OpensFooter(step.letter);
  }

  void FindFooter() {
    if (FooterStandsAtFront()) {
      footerBegan_ = true;
    } else if (!toldWhyStuck_) {
      TellWhyStuck();
    }
  }

  void TellWhyStuck() {
    if (front_ == stream_.size()) {
      Add(Severity::kError, front_, "the stream ends without a footer (ESC Q or ESC E)",
          "all labels go out, but the monitor waits for the end of the job until the document ends");
      return;
    }
    const Step step = At(stuckAt_);
    if (stuckAt_ != front_ && OpensFooter(step.letter)) {
      Add(Severity::kError, front_,
          "between-labels commands stand directly before " + CommandName(step.letter) + " " + AtByte(stuckAt_) +
              ": only a label may follow them",
          LostFrom(front_) + "; the footer is never found");
      return;
    }
    Add(Severity::kError, stuckAt_,
        CommandName(step.letter) + " (" + CommandMeaning(step.letter) +
            ") stands where only a between-labels command, ESC n, ESC Q or ESC E may",
        LostFrom(front_));
  }

  void TakeRest() {
    if (footerBegan_) {
      report_.footer = InspectedSpan{front_, Left(front_)};
      JudgeFooter();
    } else if (front_ < stream_.size()) {
      report_.lost = InspectedSpan{front_, Left(front_)};
    }
    for (const Mistaken& place : mistaken_) {
      TellMistaken(place);
    }
  }

  void JudgeFooter() {
    if (!FooterStandsAtFront()) {
      return;  // a footer by mistake, which TellMistaken tells
    }
    std::uint64_t offset = front_;
    Step step = At(offset);
    for (; step.result == StepResult::kCommand; step = At(offset)) {
      if (step.letter == 'n') {
        Add(Severity::kWarning, offset, "a label (ESC n) follows behind the end of the job",
            "it goes to the printer with the footer, unread: it is neither counted nor sent again after a fault");
        return;
      }
      offset += step.length;
    }
    if (step.result != StepResult::kEndOfStream) {
      Add(Severity::kNote, offset, WhyNoCommand(step, offset) + ", within the footer",
          "the footer goes to the printer as it is");
    }
  }

  struct Mistaken {
    std::size_t label;  // place in report_.labels
    std::uint64_t offset;
    std::uint8_t letter;
  };

  // The first byte behind which the label behind `place` is complete, if it was cut.
  std::optional<std::uint64_t> NextComplete(std::size_t place) const {
    if (place + 1 >= report_.labels.size()) {
      return std::nullopt;
    }
    const InspectedLabel& next = report_.labels[place + 1];
    const std::uint64_t end = next.offset + next.length;
    const bool endsInside = next.endLetter == 'G' || next.endLetter == 'p';
    return endsInside ? end : end + At(end).length;
  }

  void TellMistaken(const Mistaken& place) {
    const std::string letter(1, static_cast<char>(place.letter));
    const std::string what = "the byte '" + letter +
                             "' stands where the monitor looks for the ending letter of label " +
                             std::to_string(report_.labels[place.label].number);
    const auto complete = NextComplete(place.label);
    if (complete && place.offset + 1 < *complete) {
      Add(Severity::kWarning, place.offset, what,
          "if the piece of the stream that completes that label ends behind this byte and before byte " +
              std::to_string(*complete) + ", the monitor takes all the rest for the footer and sends it uncounted");
    } else if (!complete && !FooterStandsAtFront()) {
      Add(Severity::kError, place.offset, what,
          "the next label isn't complete, so the monitor takes " + Counted(Left(front_), "byte") + " from byte " +
              std::to_string(front_) + " on for the footer and sends them uncounted");
    }
  }

  std::span<const std::uint8_t> stream_;
  InspectReport& report_;
  std::uint64_t front_ = 0;        // what is cut lies before it
  std::uint64_t endLetterAt_ = 0;  // of the label looked at last
  std::uint64_t metAt_ = 0;
  std::uint64_t stuckAt_ = 0;
  bool toldWhyStuck_ = false;
  bool footerBegan_ = false;
  std::vector<Mistaken> mistaken_;
};

// Walks the stream once more and notes each command with the part of the job that it fell in.
class CommandLister {
 public:
  CommandLister(std::span<const std::uint8_t> stream, InspectReport& report, std::size_t most)
      : stream_(stream), report_(report), most_(most) {}

  void List() {
    std::uint64_t offset = 0;
    for (Step step = StepAt(stream_, 0); step.result == StepResult::kCommand; step = StepAt(stream_, offset)) {
      ++report_.commandCount;
      if (report_.commands.size() < most_) {
        report_.commands.push_back(Placed(offset, step));
      }
      offset += step.length;
    }
  }

 private:
  InspectedCommand Placed(std::uint64_t offset, const Step& step) {
    InspectedCommand command{offset, step.length, step.letter, JobSection::kLost, 0};
    while (label_ < report_.labels.size() && offset >= End(report_.labels[label_])) {
      ++label_;
    }
    if (report_.header && offset < report_.header->length) {
      command.section = JobSection::kHeader;
    } else if (label_ < report_.labels.size() && offset >= report_.labels[label_].offset) {
      const InspectedLabel& label = report_.labels[label_];
      const bool between = offset < label.offset + label.betweenLabelsBytes;
      command.section = between ? JobSection::kBetweenLabels : JobSection::kLabel;
      command.label = label.number;
    } else if (report_.footer && offset >= report_.footer->offset) {
      command.section = JobSection::kFooter;
    }
    return command;
  }

  static std::uint64_t End(const InspectedLabel& label) { return label.offset + label.length; }

  std::span<const std::uint8_t> stream_;
  InspectReport& report_;
  std::size_t most_;
  std::size_t label_ = 0;
};

}  // namespace

bool InspectReport::IsSound() const {
  return std::none_of(problems.begin(), problems.end(),
                      [](const InspectedProblem& problem) { return problem.severity == Severity::kError; });
}

std::size_t InspectReport::LabelsToPrint() const {
  return static_cast<std::size_t>(
      std::count_if(labels.begin(), labels.end(), [](const InspectedLabel& label) { return !label.discarded; }));
}

InspectReport InspectStream(std::span<const std::uint8_t> stream, std::string name, const InspectOptions& options) {
  InspectReport report;
  report.name = std::move(name);
  report.size = stream.size();
  StreamCutter(stream, report).Cut();
  CommandLister(stream, report, options.maxCommands).List();
  JudgeRasters(report, stream);
  std::stable_sort(
      report.problems.begin(), report.problems.end(),
      [](const InspectedProblem& left, const InspectedProblem& right) { return left.offset < right.offset; });
  return report;
}

}  // namespace sc3xx
