// Inspecting has a walk and cutting rules of its own. Here they are held against the monitor's parser, on thousands of
// streams, most of them broken somewhere; and jobs of the encoder are cut by it in pieces of every size.
//
// The parser is reached only where this program is linked with the monitor's insides; elsewhere the test says so.
#if __has_include("stream/kpl_label.h")

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "apps/kpl/encode.h"
#include "apps/kpl/inspect.h"
#include "document_support.h"
#include "stream/kpl_parser.h"

namespace {

using document_support::Bytes;
using document_support::Hex;
using document_support::Joined;

std::uint32_t Below(std::mt19937& random, std::size_t limit) {
  return static_cast<std::uint32_t>(random() % limit);
}

// What was cut, in a form that compares and prints.
struct Cut {
  Bytes header;
  std::vector<Bytes> labels;
  std::vector<std::uint32_t> indexes;
  std::vector<std::uint32_t> betweenLabels;
  Bytes footer;
  std::size_t parsed = 0;
  std::size_t left = 0;
  bool footerFound = false;
  bool openLength = false;

  friend bool operator==(const Cut&, const Cut&) = default;
};

void PrintTo(const Cut& cut, std::ostream* out) {
  *out << "header " << cut.header.size() << ", labels";
  for (const Bytes& label : cut.labels) {
    *out << ' ' << label.size();
  }
  *out << " of " << cut.parsed << ", footer " << (cut.footerFound ? "" : "not found ") << cut.footer.size() << ", left "
       << cut.left << ", open " << cut.openLength;
}

// `pieces` are the lengths in which the stream is handed over; what they leave comes last.
Cut ByMonitor(const Bytes& stream, const std::vector<std::size_t>& pieces = {}) {
  sc3xxmon::CKplParser parser(1);
  std::size_t offset = 0;
  for (const std::size_t piece : pieces) {
    const std::size_t count = std::min(piece, stream.size() - offset);
    parser.ProcessData(stream.data() + offset, count);
    offset += count;
  }
  parser.ProcessData(stream.data() + offset, stream.size() - offset);
  Cut cut;
  cut.header = parser.JobHeader;
  for (const auto& label : parser.Labels) {
    cut.labels.emplace_back(label.Data.begin(), label.Data.end());
    cut.indexes.push_back(label.LabelIndex);
    cut.betweenLabels.push_back(label.IphLength);
  }
  cut.footer = parser.JobFooter;
  cut.parsed = parser.LabelsParsed;
  cut.left = parser.Buffer().size();
  cut.footerFound = parser.ParserState == sc3xxmon::kParserFooter;
  cut.openLength = parser.OpenLengthLabels;
  return cut;
}

Bytes Part(const Bytes& stream, std::uint64_t offset, std::uint64_t length) {
  const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(offset);
  return Bytes(begin, begin + static_cast<std::ptrdiff_t>(length));
}

Cut ByInspection(const Bytes& stream) {
  const auto report = sc3xx::InspectStream(stream, "test", {.maxCommands = 0});
  Cut cut;
  if (report.header) {
    cut.header = Part(stream, report.header->offset, report.header->length);
  }
  for (const auto& label : report.labels) {
    if (!label.discarded) {
      cut.labels.push_back(Part(stream, label.offset, label.length));
      cut.indexes.push_back(label.index);
      cut.betweenLabels.push_back(label.betweenLabelsBytes);
    }
  }
  if (report.footer) {
    cut.footer = Part(stream, report.footer->offset, report.footer->length);
  }
  cut.parsed = report.labels.size();
  cut.left = report.lost ? static_cast<std::size_t>(report.lost->length) : 0;
  cut.footerFound = report.footer.has_value();
  cut.openLength = report.openLength;
  return cut;
}

// A raster of few bytes, most of them letters that mean something elsewhere.
Bytes SmallRaster(std::mt19937& random) {
  const auto lines = static_cast<std::uint8_t>(Below(random, 40));
  Bytes raster = Joined({Hex("1B 44 01 00"), {lines, 0, 0, 0}, Hex("08 00 00 00")});
  for (int line = 0; line < lines; ++line) {
    const Bytes letters = {'Q', 'E', 0x1B, 'n'};
    raster.push_back(letters[Below(random, letters.size())]);
  }
  return raster;
}

Bytes AnyCommand(std::mt19937& random) {
  static const std::vector<Bytes> kCommands = {Hex("1B 6E 01 00"),
                                               Hex("1B 6E 02 00"),
                                               Hex("1B 47"),
                                               Hex("1B 47"),
                                               Hex("1B 70 00"),
                                               Hex("1B 51"),
                                               Hex("1B 45"),
                                               Hex("1B 4C 10 00"),
                                               Hex("1B 4C FF FF"),
                                               Hex("1B 71 31"),
                                               Hex("1B 40"),
                                               Hex("1B 63"),
                                               Hex("1B 22"),
                                               Hex("99"),
                                               Hex("1B 6C 01 02 03 04"),
                                               Hex("1B 5A 03 02 00 00 00 01 00 04 00 00 00 08 00 00 00 45 51")};
  return random() % 3 == 0 ? SmallRaster(random) : kCommands[Below(random, kCommands.size())];
}

Bytes SoundLabel(std::mt19937& random) {
  Bytes label = Joined({Hex("1B 6E"), {static_cast<std::uint8_t>(random()), 0}, SmallRaster(random)});
  if (random() % 4 != 0) {
    label = Joined({label, random() % 4 == 0 ? Hex("1B 70 01") : Hex("1B 47")});
    if (random() % 3 == 0) {
      label = Joined({label, Hex("1B 4C 20 00")});  // in front of the next label, or of the end of the job
    }
  }
  return label;
}

Bytes AnyStream(std::mt19937& random) {
  Bytes stream = Hex("1B 73 01 00 00 00");
  for (std::uint32_t count = Below(random, 5); count > 0; --count) {
    stream = Joined({stream, SoundLabel(random)});
  }
  for (std::uint32_t count = Below(random, 4) * Below(random, 3); count > 0; --count) {
    stream = Joined({stream, AnyCommand(random)});
  }
  if (random() % 2 == 0) {
    stream = Joined({stream, Hex("1B 51")});
  }
  if (random() % 5 == 0) {
    stream[Below(random, stream.size())] = static_cast<std::uint8_t>(random());
  }
  if (random() % 5 == 0) {
    stream.resize(Below(random, stream.size() + 1));
  }
  return stream;
}

TEST(InspectAgainstMonitorTest, CutsAnyStreamAsTheMonitorDoes) {
  constexpr int kStreams = 5'000;
  int broken = 0;
  for (int seed = 0; seed < kStreams; ++seed) {
    std::mt19937 random(static_cast<std::uint32_t>(seed));
    const Bytes stream = AnyStream(random);
    const Cut cut = ByMonitor(stream);
    ASSERT_EQ(ByInspection(stream), cut) << "seed " << seed;
    broken += sc3xx::InspectStream(stream, "test").IsSound() ? 0 : 1;
  }
  // Enough of both kinds that agreement means something.
  EXPECT_GT(broken, kStreams / 5);
  EXPECT_LT(broken, kStreams - kStreams / 10);
}

// The place of the warning is the place where a split misleads the monitor, and no other split does.
TEST(InspectAgainstMonitorTest, WarnsExactlyOfTheSplitsThatMisleadTheMonitor) {
  int warned = 0;
  for (std::uint32_t seed = 0; seed < 400; ++seed) {
    std::mt19937 random(seed);
    Bytes stream = Hex("1B 73 01 00 00 00");
    for (std::uint32_t count = 2 + Below(random, 2); count > 0; --count) {
      stream = Joined({stream, Hex("1B 6E 01 00"), SmallRaster(random), Hex("1B 47")});
    }
    stream = Joined({stream, Hex("1B 51")});
    const Cut whole = ByMonitor(stream);
    bool misled = false;
    for (std::size_t first = 0; first <= stream.size(); ++first) {
      misled = misled || ByMonitor(stream, {first}).labels != whole.labels;
    }
    const auto report = sc3xx::InspectStream(stream, "test");
    bool warning = false;
    for (const auto& problem : report.problems) {
      warning = warning || problem.consequence.find("uncounted") != std::string::npos;
    }
    ASSERT_EQ(warning, misled) << "seed " << seed;
    warned += warning ? 1 : 0;
  }
  EXPECT_GT(warned, 40);
}

// Rasters full of letters that end a job, in every form the encoder has, and cut at every byte.
TEST(InspectAgainstMonitorTest, TheEncodersJobsAreCutTheSameWhereverTheyAreSplit) {
  for (std::uint32_t seed = 0; seed < 108; ++seed) {
    std::mt19937 random(seed);
    std::vector<sc3xx::Picture> pictures;
    for (std::uint32_t count = 2 + Below(random, 2); count > 0; --count) {
      auto picture = sc3xx::BlankPicture(8, 1 + Below(random, 40));
      for (auto& byte : picture.raster) {
        byte = random() % 2 == 0 ? 'Q' : 'E';
      }
      pictures.push_back(std::move(picture));
    }
    sc3xx::EncodeOptions options;
    options.labelEnd = static_cast<sc3xx::LabelEnd>(seed % 3);
    options.labelLength = static_cast<sc3xx::LabelLength>(seed / 3 % 3);
    options.compression = static_cast<sc3xx::Compression>(seed / 9 % 2);
    options.finalFeed = seed / 18 % 2 == 0;
    const Bytes job = sc3xx::EncodeJob(pictures, options);
    const Cut whole = ByInspection(job);
    ASSERT_EQ(whole.labels.size(), pictures.size());
    for (std::size_t first = 0; first <= job.size(); ++first) {
      ASSERT_EQ(ByMonitor(job, {first}), whole) << "seed " << seed << ", split behind byte " << first;
      ASSERT_EQ(ByMonitor(job, {first, 1 + Below(random, 60)}), whole) << "seed " << seed << ", split behind " << first;
    }
  }
}

}  // namespace

#else

#include <gtest/gtest.h>

TEST(InspectAgainstMonitorTest, CutsAnyStreamAsTheMonitorDoes) {
  GTEST_SKIP() << "this program is not linked with sc3xxmon_core";
}

#endif
