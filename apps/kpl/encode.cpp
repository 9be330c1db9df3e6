#include "apps/kpl/encode.h"

#include <lz4.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "apps/kpl/input_error.h"
#include "apps/kpl/kpl_commands.h"

namespace sc3xx {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kOpenLength = 0xFFFF;
constexpr std::uint8_t kLz4Method = 3;
constexpr std::size_t kIndexBytes = 4;  // ESC n

void Add8(Bytes& bytes, std::uint8_t number) {
  bytes.push_back(number);
}

void Add16(Bytes& bytes, std::uint32_t number) {
  Add8(bytes, static_cast<std::uint8_t>(number));
  Add8(bytes, static_cast<std::uint8_t>(number >> 8));
}

void Add32(Bytes& bytes, std::uint32_t number) {
  Add16(bytes, number);
  Add16(bytes, number >> 16);
}

void AddBytes(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

void AddCommand(Bytes& bytes, char letter) {
  Add8(bytes, kEscape);
  Add8(bytes, static_cast<std::uint8_t>(letter));
}

void AddRoll(Bytes& bytes, const EncodeOptions& options) {
  AddCommand(bytes, 'q');
  Add8(bytes, options.roll);
}

void AddLength(Bytes& bytes, std::uint32_t lines) {
  AddCommand(bytes, 'L');
  Add16(bytes, lines);
}

void AddDescriptor(Bytes& bytes, const Picture& picture) {
  Add8(bytes, 1);  // bits a dot
  Add8(bytes, 0);  // raster flags
  Add32(bytes, picture.height);
  Add32(bytes, picture.width);
}

Bytes Lz4Block(const Bytes& raster) {
  if (raster.size() > LZ4_MAX_INPUT_SIZE) {
    return {};
  }
  const int size = static_cast<int>(raster.size());
  std::vector<char> block(static_cast<std::size_t>(LZ4_compressBound(size)));
  const int written = LZ4_compress_default(reinterpret_cast<const char*>(raster.data()), block.data(), size,
                                           static_cast<int>(block.size()));
  return Bytes(block.begin(), block.begin() + std::max(written, 0));
}

Bytes RasterCommand(const Picture& picture, Compression compression) {
  Bytes command;
  if (compression == Compression::kLz4) {
    const Bytes block = Lz4Block(picture.raster);
    const std::size_t gain = kCompressedRasterHeadBytes - kRasterHeadBytes;
    if (!block.empty() && block.size() + gain < picture.raster.size()) {
      AddCommand(command, 'Z');
      Add8(command, kLz4Method);
      Add32(command, static_cast<std::uint32_t>(block.size()));
      AddDescriptor(command, picture);
      AddBytes(command, block);
      return command;
    }
  }
  AddCommand(command, 'D');
  AddDescriptor(command, picture);
  AddBytes(command, picture.raster);
  return command;
}

// A label in the parts that the rule about its ending letter needs apart.
struct EncodedLabel {
  Bytes front;   // between-labels commands, ESC n
  Bytes repeat;  // ESC q of the job header once more, as often as the rule wants it
  Bytes back;    // raster, and what ends the label

  std::size_t Size() const { return front.size() + repeat.size() + back.size(); }
};

class JobEncoder {
 public:
  JobEncoder(std::span<const Picture> pictures, const EncodeOptions& options)
      : pictures_(pictures), options_(options) {}

  Bytes Encode() {
    for (const Picture& picture : pictures_) {
      AddCopies(picture);
    }
    AddFooter();
    KeepEndsUnmistakable();
    return Assembled();
  }

 private:
  bool AnnouncesLength() const { return options_.labelLength == LabelLength::kAnnounced; }

  void AddCopies(const Picture& picture) {
    const Bytes raster = RasterCommand(picture, options_.compression);
    RequireRoom(std::uint64_t{raster.size()} * options_.copies);
    for (std::uint32_t copy = 0; copy < options_.copies; ++copy) {
      labels_.push_back(EncodedLabel{Front(picture), {}, raster});
      AddLabelEnd(labels_.back().back);
    }
    announcedLines_ = picture.height;
  }

  // Held against the same limit as a job that is read, before the copies take their memory.
  void RequireRoom(std::uint64_t bytes) {
    rasterBytes_ += bytes;
    if (rasterBytes_ > kMaxInputBytes) {
      throw InputError("the job would have more than " + std::to_string(kMaxInputBytes) +
                       " bytes; make several jobs of it, or ask for fewer copies");
    }
  }

  Bytes Front(const Picture& picture) {
    Bytes front;
    const std::uint32_t index = static_cast<std::uint32_t>(labels_.size()) + 1;
    const bool newLength = AnnouncesLength() && index > 1 && picture.height != announcedLines_;
    // Where nothing ends a label but the next ESC n, a command before that ESC n would belong to the label before.
    const bool behindIndex = options_.labelEnd == LabelEnd::kNone;
    if (newLength && !behindIndex) {
      AddLength(front, picture.height);
    }
    AddCommand(front, 'n');
    Add16(front, index);
    if (newLength && behindIndex) {
      AddLength(front, picture.height);
    }
    announcedLines_ = picture.height;
    return front;
  }

  void AddLabelEnd(Bytes& label) const {
    if (options_.labelEnd == LabelEnd::kFormFeed) {
      AddCommand(label, 'G');
    } else if (options_.labelEnd == LabelEnd::kCut) {
      AddCommand(label, 'p');
      Add8(label, options_.cutOperand);
    }
  }

  void AddFooter() {
    if (options_.finalFeed) {
      // The long form feed ends the last label; a short one before it would feed a blank label.
      if (options_.labelEnd == LabelEnd::kFormFeed) {
        labels_.back().back.resize(labels_.back().back.size() - 2);
      }
      AddCommand(footer_, 'E');
    }
    AddCommand(footer_, 'Q');
  }

  Bytes Header() const {
    Bytes header;
    AddCommand(header, 's');
    Add32(header, options_.jobId);
    if (options_.labelLength == LabelLength::kOpen) {
      AddLength(header, kOpenLength);
    } else if (AnnouncesLength()) {
      AddLength(header, pictures_.front().height);
    }
    AddRoll(header, options_);
    return header;
  }

  // From the label's front to the letter that ends it, which for a label without an end of its own is the letter of the
  // ESC n behind it.
  std::size_t EndLetterOffset(const EncodedLabel& label) const {
    switch (options_.labelEnd) {
      case LabelEnd::kFormFeed:
        return label.Size() - 1;
      case LabelEnd::kCut:
        return label.Size() - 2;
      case LabelEnd::kNone:
        break;
    }
    return label.Size() + 1;
  }

  // The byte at `offset` behind the end of the label `index`, as long as it can arrive before the next label is complete;
  // from there on, and in the footer, it does no harm, and 0 stands for it. Without an end of its own, the next label is
  // complete with the ESC n behind it.
  std::uint8_t ByteBehind(std::size_t index, std::size_t offset) const {
    const std::size_t waitsFor = options_.labelEnd == LabelEnd::kNone ? kIndexBytes : 0;
    if (offset >= labels_[index + 1].Size() + waitsFor) {
      return 0;
    }
    for (std::size_t next = index + 1; next < labels_.size(); ++next) {
      const EncodedLabel& label = labels_[next];
      for (const Bytes* part : {&label.front, &label.repeat, &label.back}) {
        if (offset < part->size()) {
          return (*part)[offset];
        }
        offset -= part->size();
      }
    }
    return 0;
  }

  // Backwards, because what stands behind a label decides about it. The last label has only the footer behind it. Each
  // repeated command moves the place by three bytes, so the loop ends, if not before, at the next label's end.
  void KeepEndsUnmistakable() {
    for (std::size_t index = labels_.size() - 1; index-- > 0;) {
      EncodedLabel& label = labels_[index];
      std::uint8_t met = ByteBehind(index, EndLetterOffset(label));
      while (met == 'Q' || met == 'E') {
        AddRoll(label.repeat, options_);
        met = ByteBehind(index, EndLetterOffset(label));
      }
    }
  }

  Bytes Assembled() const {
    Bytes job = Header();
    std::size_t size = job.size() + footer_.size();
    for (const EncodedLabel& label : labels_) {
      size += label.Size();
    }
    job.reserve(size);
    for (const EncodedLabel& label : labels_) {
      AddBytes(job, label.front);
      AddBytes(job, label.repeat);
      AddBytes(job, label.back);
    }
    AddBytes(job, footer_);
    return job;
  }

  std::span<const Picture> pictures_;
  const EncodeOptions& options_;
  std::vector<EncodedLabel> labels_;
  Bytes footer_;
  std::uint32_t announcedLines_ = 0;
  std::uint64_t rasterBytes_ = 0;
};

void RequireEncodable(std::span<const Picture> pictures, const EncodeOptions& options) {
  if (pictures.empty() || options.copies == 0) {
    throw InputError("a job needs at least one label; name a picture, and ask for at least one copy");
  }
  if (pictures.size() > kMaxLabels / options.copies) {
    throw InputError("a job can't have more than " + std::to_string(kMaxLabels) + " labels, but " +
                     std::to_string(pictures.size()) + " pictures in " + std::to_string(options.copies) +
                     " copies were asked for; make several jobs of them");
  }
  for (const Picture& picture : pictures) {
    const std::string size = std::to_string(picture.width) + " x " + std::to_string(picture.height);
    if (picture.width == 0 || picture.height == 0) {
      throw InputError("a picture of " + size + " dots has nothing to print; leave it out");
    }
    if (picture.raster.size() > UINT32_MAX || picture.raster.size() != picture.LineBytes() * picture.height) {
      throw InputError("a picture of " + size + " dots doesn't fit into one raster command; cut it into labels");
    }
    if (options.labelLength == LabelLength::kAnnounced && picture.height > kMaxLabelLines) {
      throw InputError("a label of " + std::to_string(picture.height) + " lines is too long to be announced (at most " +
                       std::to_string(kMaxLabelLines) + "); choose open length, or cut it into several labels");
    }
  }
}

}  // namespace

std::vector<std::uint8_t> EncodeJob(std::span<const Picture> pictures, const EncodeOptions& options) {
  RequireEncodable(pictures, options);
  return JobEncoder(pictures, options).Encode();
}

std::vector<std::uint8_t> JobFromInput(InputFile file, const PictureOptions& pictureOptions,
                                       const EncodeOptions& encodeOptions) {
  if (file.kind == InputKind::kKpl) {
    return std::move(file.bytes);
  }
  if (!IsPicture(file.kind)) {
    throw InputError(file.name + ": can't be printed, because it is " + DescribeContent(file.bytes) +
                     "; print a KPL job (it begins with the bytes 1B 73), or a PNG or PBM picture");
  }
  const Picture picture = ReadPicture(file, pictureOptions);
  return EncodeJob(std::span(&picture, 1), encodeOptions);
}

}  // namespace sc3xx
