#include "apps/kpl/input_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ostream>

#include "document_support.h"

namespace {

using document_support::Bytes;
using document_support::ErrorOf;
using document_support::Hex;
using document_support::Input;
using document_support::ScratchFolder;
using document_support::Text;
using sc3xx::InputKind;
using sc3xx::KindOfInput;
using sc3xx::ReadInputFile;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(InputFileTest, GivesTheBytesOfAFileAndItsKind) {
  const ScratchFolder folder;
  const Bytes job = Hex("1B 73 01 00 00 00 1B 51");
  const auto file = ReadInputFile(folder.Write("job.kpl", job));
  EXPECT_EQ(file.bytes, job);
  EXPECT_EQ(file.kind, InputKind::kKpl);
  EXPECT_EQ(file.name, (folder.Path() / "job.kpl").string());
}

TEST(InputFileTest, ReadsAFileThatIsLongerThanOnePiece) {
  const ScratchFolder folder;
  Bytes bytes(200'000, 0x1B);
  bytes.back() = 0x51;
  EXPECT_EQ(ReadInputFile(folder.Write("long", bytes)).bytes, bytes);
}

TEST(InputFileTest, TakesExactlyAsManyBytesAsAllowed) {
  const ScratchFolder folder;
  const auto path = folder.Write("job", Hex("1B 73 01 00"));
  EXPECT_EQ(ReadInputFile(path, 4).bytes.size(), 4u);
  EXPECT_THAT(ErrorOf([&] { ReadInputFile(path, 3); }), AllOf(StartsWith(path), HasSubstr("more than 3 bytes")));
}

TEST(InputFileTest, SaysThatAFileDoesNotExist) {
  const ScratchFolder folder;
  const auto path = (folder.Path() / "nothing.kpl").string();
  EXPECT_THAT(ErrorOf([&] { ReadInputFile(path); }), AllOf(StartsWith(path), HasSubstr("no such file")));
}

TEST(InputFileTest, SaysThatAFolderIsNoFile) {
  const ScratchFolder folder;
  EXPECT_THAT(ErrorOf([&] { ReadInputFile(folder.Path().string()); }), HasSubstr("is a folder"));
}

TEST(InputFileTest, SaysThatAFileIsEmpty) {
  const ScratchFolder folder;
  const auto path = folder.Write("empty", {});
  EXPECT_THAT(ErrorOf([&] { ReadInputFile(path); }), AllOf(StartsWith(path), HasSubstr("is empty")));
}

TEST(InputFileTest, SaysThatTheNameIsEmpty) {
  EXPECT_THAT(ErrorOf([] { ReadInputFile(""); }), HasSubstr("name is empty"));
}

TEST(InputFileTest, SaysThatAFileMayNotBeRead) {
  const ScratchFolder folder;
  const auto path = folder.Write("secret", Hex("1B 73"));
  std::filesystem::permissions(path, std::filesystem::perms::none);
  if (std::ifstream(path).good()) {
    GTEST_SKIP() << "this user may read every file, whatever its permissions";
  }
  EXPECT_THAT(ErrorOf([&] { ReadInputFile(path); }), HasSubstr("may not be read"));
}

struct Content {
  const char* name;
  Bytes bytes;
  InputKind kind;
  const char* words;
};

void PrintTo(const Content& content, std::ostream* out) {
  *out << content.name;
}

class InputContentTest : public testing::TestWithParam<Content> {};

TEST_P(InputContentTest, IsToldFromTheFirstBytes) {
  EXPECT_EQ(KindOfInput(GetParam().bytes), GetParam().kind);
  EXPECT_THAT(sc3xx::DescribeContent(GetParam().bytes), HasSubstr(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    All, InputContentTest,
    testing::Values(Content{"Kpl", Hex("1B 73 00"), InputKind::kKpl, "KPL"},
                    Content{"KplThatIsBroken", Hex("1B"), InputKind::kKpl, "KPL"},
                    Content{"Png", document_support::PngSignature(), InputKind::kPng, "PNG"},
                    Content{"PngCopiedAsText", Hex("89 50 4E 47 0A 1A 0A"), InputKind::kUnknown, "damaged signature"},
                    Content{"PlainPbm", Text("P1\n1 1\n1"), InputKind::kPbm, "PBM"},
                    Content{"PackedPbm", Text("P4 8 1\n."), InputKind::kPbm, "PBM"},
                    Content{"PbmWithACommentAtOnce", Text("P1#made by hand\n1 1 0"), InputKind::kPbm, "PBM"},
                    Content{"Grey", Text("P5\n1 1 255\n."), InputKind::kUnknown, "PBM family"},
                    Content{"TextThatBeginsWithP1", Text("P1234"), InputKind::kUnknown, "text"},
                    Content{"Jpeg", Hex("FF D8 FF E0"), InputKind::kUnknown, "JPEG"},
                    Content{"Pdf", Text("%PDF-1.7"), InputKind::kUnknown, "PDF"},
                    Content{"Text", Text("hello"), InputKind::kUnknown, "text"},
                    Content{"Binary", Hex("00 01 02"), InputKind::kUnknown, "0x00"},
                    Content{"Nothing", {}, InputKind::kUnknown, "nothing"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(InputFileTest, AsksForAPictureInWordsThatHelp) {
  EXPECT_THAT(ErrorOf([] { sc3xx::RequirePicture(Input(Hex("1B 73"))); }), HasSubstr("is a job already"));
  EXPECT_THAT(ErrorOf([] { sc3xx::RequirePicture(Input(Hex("FF D8 FF"))); }),
              AllOf(StartsWith("test: "), HasSubstr("a JPEG picture; convert it to PNG")));
}

TEST(InputFileTest, AsksForAJobInWordsThatHelp) {
  EXPECT_THAT(ErrorOf([] { sc3xx::RequireKpl(Input(document_support::PngSignature())); }), HasSubstr("sc3xx encode"));
  EXPECT_THAT(ErrorOf([] { sc3xx::RequireKpl(Input(Text("hello"))); }),
              AllOf(HasSubstr("is no KPL stream, but text"), HasSubstr("1B 73")));
}

}  // namespace
