#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <span>
#include <system_error>

#include "apps/kpl/input_error.h"
#include "apps/kpl/input_file.h"
#include "apps/sc3xx/document_commands.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

void WriteBytes(std::ostream& stream, std::span<const std::uint8_t> bytes) {
  const void* const start = bytes.data();
  stream.write(static_cast<const char*>(start), static_cast<std::streamsize>(bytes.size()));
  stream.flush();
}

[[noreturn]] void FailOn(const std::string& path, const std::error_code& error) {
  throw InputError(path + ": the job can't be written" + (error ? ": " + error.message() : std::string()) +
                   "; check that the folder exists, may be written and has room");
}

// Beside its place first and then moved there: a disk that fills up must not leave half a job under the name of a whole
// one. What isn't a plain file (a device, a pipe) is written straight.
void WriteWhole(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::error_code error;
  const bool direct = fs::exists(path, error) && !fs::is_regular_file(path, error);
  const std::string target = direct ? path : path + ".part";
  std::ofstream file(target, std::ios::binary | std::ios::trunc);
  if (!file) {
    FailOn(path, {});
  }
  WriteBytes(file, bytes);
  file.close();
  if (!file) {
    if (!direct) {
      fs::remove(target, error);
    }
    FailOn(path, {});
  }
  if (!direct) {
    fs::rename(target, path, error);
    if (error) {
      std::error_code ignored;
      fs::remove(target, ignored);
      FailOn(path, error);
    }
  }
}

}  // namespace

void AddEncodeCommand(CLI::App& program, EncodeRequest& request) {
  CLI::App& command = *program.add_subcommand("encode", "Make a KPL job of pictures");
  command.add_option("PICTURE", request.pictures, "PNG or PBM pictures, a label each; - is standard input")
      ->type_name("")
      ->required();
  command.add_option("-o,--output", request.output, "The job's file; - is standard output")
      ->type_name("FILE")
      ->required();
  command.add_option("--job-id", request.jobId, "The number in the job's first command")
      ->type_name("N")
      ->capture_default_str();
  command.add_flag("--json", request.json, "Report as one JSON object");
  AddDocumentOptions(command, request.document);
  command.footer(
      "Examples:\n"
      "  sc3xx encode label.png -o label.kpl\n"
      "  sc3xx encode front.png back.png -o pair.kpl --width 672 --fit scale --compress --copies 2\n"
      "Exit codes: 0 done, 1 a picture or the output failed, 2 wrong use.\n");
}

int RunEncode(const EncodeRequest& request, Console& console) {
  std::vector<Picture> pictures;
  for (const std::string& path : request.pictures) {
    const InputFile file = ReadInputFile(path);
    RequirePicture(file);
    pictures.push_back(ReadPicture(file, PictureOptionsFrom(request.document)));
  }
  const std::vector<std::uint8_t> job = EncodeJob(pictures, EncodeOptionsFrom(request.document, request.jobId));
  if (request.output == "-") {
    WriteBytes(console.out, job);
    if (!console.out) {
      FailOn("standard output", {});
    }
    return kExitPrinted;
  }
  WriteWhole(request.output, job);
  const std::size_t labels = pictures.size() * request.document.copies;
  if (request.json) {
    const nlohmann::ordered_json report = {{"file", request.output}, {"labels", labels}, {"bytes", job.size()}};
    console.out << report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  } else {
    console.out << request.output << ": " << labels << (labels == 1 ? " label, " : " labels, ") << job.size()
                << " bytes\n";
  }
  return kExitPrinted;
}

}  // namespace sc3xx
