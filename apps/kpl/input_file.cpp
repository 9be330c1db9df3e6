#include "apps/kpl/input_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

constexpr std::uint8_t kEsc = 0x1B;

struct Signature {
  std::string_view bytes;
  InputKind kind;
  std::string_view words;
};

using namespace std::string_view_literals;

// The first match wins. What is only here for its words are the files that people reach for by mistake.
constexpr std::array kSignatures = {
    Signature{"\x89PNG\r\n\x1A\n"sv, InputKind::kPng, "a PNG picture"},
    Signature{"\x89PNG"sv, InputKind::kUnknown, "a PNG picture with a damaged signature, perhaps copied as text"},
    Signature{"\xFF\xD8\xFF"sv, InputKind::kUnknown, "a JPEG picture"},
    Signature{"GIF8"sv, InputKind::kUnknown, "a GIF picture"},
    Signature{"BM"sv, InputKind::kUnknown, "a BMP picture"},
    Signature{"II*\0"sv, InputKind::kUnknown, "a TIFF picture"},
    Signature{"MM\0*"sv, InputKind::kUnknown, "a TIFF picture"},
    Signature{"RIFF"sv, InputKind::kUnknown, "a RIFF file, perhaps a WebP picture"},
    Signature{"%PDF"sv, InputKind::kUnknown, "a PDF document"},
    Signature{"%!PS"sv, InputKind::kUnknown, "a PostScript document"},
    Signature{"<svg"sv, InputKind::kUnknown, "an SVG drawing"},
    Signature{"<?xml"sv, InputKind::kUnknown, "an XML document, perhaps an SVG drawing"},
    Signature{"^XA"sv, InputKind::kUnknown, "a job for printers of another language"},
    Signature{"PK\x03\x04"sv, InputKind::kUnknown, "a ZIP archive or an office document"},
};

bool StartsWith(std::span<const std::uint8_t> bytes, std::string_view prefix) {
  return bytes.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), bytes.begin(),
                    [](char expected, std::uint8_t byte) { return static_cast<std::uint8_t>(expected) == byte; });
}

const Signature* FindSignature(std::span<const std::uint8_t> bytes) {
  const auto* found = std::find_if(kSignatures.begin(), kSignatures.end(),
                                   [&](const Signature& signature) { return StartsWith(bytes, signature.bytes); });
  return found == kSignatures.end() ? nullptr : found;
}

// 'P', a digit, and white space or a comment: the magic number of the portable bit, grey and pixel maps.
char PortableMapDigit(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kSeparators = " \t\r\n\v\f#";
  const bool isMap = bytes.size() >= 3 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '7' &&
                     kSeparators.find(static_cast<char>(bytes[2])) != std::string_view::npos;
  return isMap ? static_cast<char>(bytes[1]) : '\0';
}

bool LooksLikeText(std::span<const std::uint8_t> bytes) {
  const auto head = bytes.first(std::min<std::size_t>(bytes.size(), 512));
  return std::all_of(head.begin(), head.end(), [](std::uint8_t byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || (byte >= 0x20 && byte != 0x7F);
  });
}

std::string HexByte(std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  return std::string("0x") + kDigits[byte >> 4] + kDigits[byte & 0x0F];
}

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
};

[[noreturn]] void Fail(const std::string& name, const std::string& what) {
  throw InputError(name + ": " + what);
}

std::string SystemWords(int error) {
  return std::generic_category().message(error);
}

void RequireOrdinaryPath(const std::string& path) {
  if (path.empty()) {
    throw InputError("the file name is empty; name a file, or - for standard input");
  }
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    Fail(path, "there is no such file; check the name and the folder");
  }
  if (status.type() == std::filesystem::file_type::directory) {
    Fail(path, "is a folder; name a file in it");
  }
}

std::unique_ptr<std::FILE, FileCloser> OpenForReading(const std::string& path) {
  RequireOrdinaryPath(path);
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (!file && errno == EACCES) {
    Fail(path, "may not be read; ask its owner for permission, or run as a user who has it");
  }
  if (!file) {
    Fail(path, "can't be opened: " + SystemWords(errno));
  }
  return file;
}

std::vector<std::uint8_t> ReadAll(std::FILE* file, const std::string& name, std::uint64_t maxBytes) {
  std::vector<std::uint8_t> bytes;
  std::array<std::uint8_t, 65536> piece{};
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file)) {
    if (bytes.size() + count > maxBytes) {
      Fail(name, "holds more than " + std::to_string(maxBytes) +
                     " bytes, the most that is taken; split it into several jobs");
    }
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
  }
  if (std::ferror(file) != 0) {
    Fail(name, "reading failed after " + std::to_string(bytes.size()) + " bytes: " + SystemWords(errno));
  }
  return bytes;
}

}  // namespace

InputFile ReadInputFile(const std::string& path, std::uint64_t maxBytes) {
  if (path == "-") {
    const std::string name = "standard input";
    return InputFromMemory(name, ReadAll(stdin, name, maxBytes));
  }
  const auto file = OpenForReading(path);
  return InputFromMemory(path, ReadAll(file.get(), path, maxBytes));
}

InputFile InputFromMemory(std::string name, std::vector<std::uint8_t> bytes) {
  if (bytes.empty()) {
    Fail(name, "is empty; expected a KPL job or a PNG or PBM picture");
  }
  const InputKind kind = KindOfInput(bytes);
  return InputFile{std::move(name), std::move(bytes), kind};
}

InputKind KindOfInput(std::span<const std::uint8_t> bytes) {
  if (!bytes.empty() && bytes.front() == kEsc) {
    return InputKind::kKpl;
  }
  if (const Signature* signature = FindSignature(bytes)) {
    return signature->kind;
  }
  const char digit = PortableMapDigit(bytes);
  return digit == '1' || digit == '4' ? InputKind::kPbm : InputKind::kUnknown;
}

std::string DescribeContent(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) {
    return "nothing";
  }
  if (bytes.front() == kEsc) {
    return "a KPL stream";
  }
  if (const Signature* signature = FindSignature(bytes)) {
    return std::string(signature->words);
  }
  switch (PortableMapDigit(bytes)) {
    case '\0':
      break;
    case '1':
    case '4':
      return "a PBM picture";
    default:
      return "a grey or colour picture of the PBM family";
  }
  if (LooksLikeText(bytes)) {
    return "text";
  }
  return "data of an unknown kind (first byte " + HexByte(bytes.front()) + ")";
}

void RequirePicture(const InputFile& file) {
  if (file.kind == InputKind::kPng || file.kind == InputKind::kPbm) {
    return;
  }
  const std::string advice = file.kind == InputKind::kKpl ? "it is a job already and needs no encoding"
                                                          : "convert it to PNG, or to PBM (P1 or P4)";
  Fail(file.name, "is no picture that can be read, but " + DescribeContent(file.bytes) + "; " + advice);
}

void RequireKpl(const InputFile& file) {
  if (file.kind == InputKind::kKpl) {
    return;
  }
  const bool isPicture = file.kind == InputKind::kPng || file.kind == InputKind::kPbm;
  const std::string advice =
      isPicture ? "make a job of it with: sc3xx encode" : "a KPL stream begins with the bytes 1B 73 (ESC s)";
  Fail(file.name, "is no KPL stream, but " + DescribeContent(file.bytes) + "; " + advice);
}

}  // namespace sc3xx
