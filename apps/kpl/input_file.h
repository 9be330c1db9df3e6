// Reads a document into memory and tells by its content what it is. File names and their endings play no
// part.
//
// Blocking: reading standard input waits until its end. Threads: none; free functions without shared state.
// Errors: InputError, with the file named and the remedy told.
#ifndef SC3XX_APPS_KPL_INPUT_FILE_H
#define SC3XX_APPS_KPL_INPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sc3xx {

enum class InputKind {
  kKpl,      // opens with ESC; whether the job is sound is for InspectStream to say
  kPng,      // the PNG signature
  kPbm,      // "P1" or "P4" and white space
  kUnknown,  // anything else
};

struct InputFile {
  std::string name;                 // for messages: the path as given, or "standard input"
  std::vector<std::uint8_t> bytes;  // never empty
  InputKind kind = InputKind::kUnknown;
};

// The most bytes that ReadInputFile takes by itself. A job is held in memory whole, so a mistyped path to a
// disk image must not take the machine down.
inline constexpr std::uint64_t kMaxInputBytes = std::uint64_t{1} << 30;

// Reads the file at `path`, or standard input if `path` is "-". Throws InputError if it doesn't exist, is a
// folder, must not be read, fails while being read, is empty, or holds more than `maxBytes`.
InputFile ReadInputFile(const std::string& path, std::uint64_t maxBytes = kMaxInputBytes);

// The same for bytes that are in memory already. Throws InputError if they are empty.
InputFile InputFromMemory(std::string name, std::vector<std::uint8_t> bytes);

InputKind KindOfInput(std::span<const std::uint8_t> bytes);

// Throws InputError unless `file` is a picture that ReadPicture knows.
void RequirePicture(const InputFile& file);

// Throws InputError unless `file` is a KPL stream, by its first byte.
void RequireKpl(const InputFile& file);

// What the content of a file looks like, in words for a message: "a PNG picture", "a JPEG picture", "text",
// ...
std::string DescribeContent(std::span<const std::uint8_t> bytes);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_INPUT_FILE_H
