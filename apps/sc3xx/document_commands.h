// `sc3xx inspect` and `sc3xx encode`: what stands in a KPL stream, and pictures made into one. No printer is involved.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/sc3xx/console.h"
#include "apps/sc3xx/document_options.h"

namespace CLI {
class App;
}

namespace sc3xx {

struct InspectRequest {
  std::string file;
  bool json = false;
  bool summary = false;
  std::string pictureFolder;
};

struct EncodeRequest {
  std::vector<std::string> pictures;
  std::string output;
  std::uint32_t jobId = 1;
  bool json = false;
  DocumentOptions document;
};

void AddInspectCommand(CLI::App& program, InspectRequest& request);
void AddEncodeCommand(CLI::App& program, EncodeRequest& request);

// Both give the exit code and throw InputError. A broken stream is reported in full, with exit code 1.
int RunInspect(const InspectRequest& request, Console& console);
int RunEncode(const EncodeRequest& request, Console& console);

}  // namespace sc3xx
