// Makes a KPL job of pictures. The job it makes:
//
//   ESC s <job id, 4 bytes>                start of job
//   ESC L <lines, or FFFF for open length> unless left out
//   ESC q <roll>
//   for each label:
//     ESC L <lines>                        only where the length differs from the label before
//     ESC n <index, from 1>
//     ESC D or ESC Z and the raster
//     ESC G, ESC p, or nothing
//   ESC Q                                  end of job; before it ESC E if asked for
//
// Two rules keep such a job safe in a monitor that cuts it at any byte. Between-labels commands stand only in
// front of an ESC n: directly before the end of the job they would leave the stream without a footer. And the
// byte that lies as far behind a label's end as the label's ending letter lies behind the label's front is
// never a 'Q' or an 'E': a monitor that looks for the ending letter after it moved the rest down meets that
// byte instead.
//
// Threads: none; free functions without shared state. Errors: InputError.
#ifndef SC3XX_APPS_KPL_ENCODE_H
#define SC3XX_APPS_KPL_ENCODE_H

#include <cstdint>
#include <span>
#include <vector>

#include "apps/kpl/input_file.h"
#include "apps/kpl/picture.h"

namespace sc3xx {

enum class Compression {
  kNone,  // ESC D; the monitor may still compress on its way to the printer
  kLz4,   // ESC Z for each label that becomes smaller by it, ESC D for the others
};

enum class LabelEnd {
  kFormFeed,  // ESC G: the label is complete, and printed, as soon as it has arrived
  kCut,       // ESC p
  kNone,      // the next label's ESC n, or the footer, ends it
};

enum class LabelLength {
  kAnnounced,  // ESC L with the raster's lines
  kOpen,       // one ESC L FFFF in the job header: continuous stock, and longer port time-outs in the monitor
  kOmitted,    // no ESC L at all
};

struct EncodeOptions {
  std::uint32_t jobId = 1;
  Compression compression = Compression::kNone;
  LabelEnd labelEnd = LabelEnd::kFormFeed;
  LabelLength labelLength = LabelLength::kAnnounced;
  std::uint8_t roll = 0x31;     // operand of ESC q: '1' the left or only roll, '2' the right one
  std::uint8_t cutOperand = 0;  // operand of ESC p
  bool finalFeed = false;       // ESC E before ESC Q; the last label then has no end of its own. Desktop models only.
  std::uint32_t copies = 1;     // each picture so many times in a row, each copy a label with an index of its own
};

// The most labels of one job: the index has 16 bits and begins at 1.
inline constexpr std::uint32_t kMaxLabels = 65535;

// Throws InputError if there is no picture, a picture is empty, there are too many labels, or a label is too
// long to be announced.
std::vector<std::uint8_t> EncodeJob(std::span<const Picture> pictures, const EncodeOptions& options = {});

// A job from whatever a person hands to `print`: a KPL stream is given back as it is, a picture becomes a job
// of options.copies labels. Throws InputError for anything else.
std::vector<std::uint8_t> JobFromInput(InputFile file, const PictureOptions& pictureOptions = {},
                                       const EncodeOptions& encodeOptions = {});

// True for a picture file of the kinds ReadPicture knows.
inline bool IsPicture(InputKind kind) {
  return kind == InputKind::kPng || kind == InputKind::kPbm;
}

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_ENCODE_H
