// The main job: artwork through `sc3xx print` comes out of the virtual printer as the same picture.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "apps/kpl/picture.h"
#include "apps/sc3xx/command_line.h"
#include "apps/sc3xx/process.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

using ::testing::Contains;
using ::testing::HasSubstr;

fs::path Sample(const std::string& name) {
  return fs::path(SC3XXMON_SOURCE_DIR) / "samples" / name;
}

std::string TwoDigits(std::size_t number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

Picture PictureOf(const fs::path& file, const PictureOptions& options = {}) {
  return ReadPicture(ReadInputFile(file.string()), options);
}

class ArtworkTest : public ::testing::Test {
 protected:
  ArtworkTest() : folder(fs::path(::testing::TempDir()) / ("sc3xx_artwork_" + std::to_string(ProcessNumber()))) {
    fs::remove_all(folder);
  }
  ~ArtworkTest() override { fs::remove_all(folder); }

  int Print(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "print");
    arguments.insert(arguments.end(), {"--out", folder.string()});
    Console console{out, err, false, false, 80};
    return RunCommandLine(arguments, console, {&Sc3xxSetHost, &InitializePrintMonitor2});
  }

  std::size_t PicturesWritten() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
      count += entry.path().extension() == ".png" ? 1u : 0u;
    }
    return count;
  }

  fs::path folder;
  std::ostringstream out;
  std::ostringstream err;
};

TEST_F(ArtworkTest, PicturesComeOutAsTheyWentIn) {
  ASSERT_EQ(Print({Sample("shipping-label.png"), Sample("address-label.png")}), 0) << err.str();
  EXPECT_EQ(PictureOf(folder / "label-001.png"), PictureOf(Sample("shipping-label.png")));
  EXPECT_EQ(PictureOf(folder / "label-002.png"), PictureOf(Sample("address-label.png")));
  EXPECT_EQ(PicturesWritten(), 2u);
  EXPECT_THAT(out.str(), HasSubstr("Printed 2 labels"));
}

TEST_F(ArtworkTest, TheAssetLabelsComeOutInOrderOnAnyDesktopModel) {
  for (const char* model : {"1", "4", "7"}) {
    ASSERT_EQ(Print({Sample("asset-labels.kpl"), "--model", model, "--buffer", "777"}), 0) << err.str();
    ASSERT_EQ(PicturesWritten(), 25u);
    for (std::size_t i = 1; i <= 25; ++i) {
      EXPECT_EQ(PictureOf(folder / ("label-0" + TwoDigits(i) + ".png")),
                PictureOf(Sample("asset-labels/asset-labels-" + TwoDigits(i) + ".png")))
          << "label " << i << " on model " << model;
    }
  }
}

TEST_F(ArtworkTest, TheTapeLabelComesOutTurned) {
  ASSERT_EQ(Print({Sample("tape-label.kpl"), "--model", "RB430"}), 0) << err.str();
  PictureOptions turned;
  turned.rotation = Rotation::kQuarter;
  EXPECT_EQ(PictureOf(folder / "label-001.png"), PictureOf(Sample("tape-label.png"), turned));
}

TEST_F(ArtworkTest, EveryLabelComesOutAlsoWhenAnswersAreLostAndTheRepeatsAreTold) {
  ASSERT_EQ(Print({Sample("asset-labels.kpl"), "--fault", "write-fails=1000@call:9", "--fault", "read-fails@call:20"}),
            0)
      << err.str();
  std::vector<Picture> printed;
  for (std::size_t i = 1; i <= PicturesWritten(); ++i) {
    printed.push_back(PictureOf(folder / ("label-0" + TwoDigits(i) + ".png")));
  }
  for (std::size_t i = 1; i <= 25; ++i) {
    EXPECT_THAT(printed, Contains(PictureOf(Sample("asset-labels/asset-labels-" + TwoDigits(i) + ".png"))));
  }
  // Each of the two faults loses the answers for at most two labels in flight.
  EXPECT_LE(printed.size(), 29u);
  EXPECT_THAT(out.str(), HasSubstr(std::to_string(printed.size() - 25) + " labels came out more than once"));
}

}  // namespace
}  // namespace sc3xx
