// `sc3xx models`: the printers that there are.
#pragma once

#include "apps/sc3xx/console.h"

namespace CLI {
class App;
}

namespace sc3xx {

struct ModelsRequest {
  bool json = false;
};

void AddModelsCommand(CLI::App& program, ModelsRequest& request);
int RunModels(const ModelsRequest& request, Console& console);

}  // namespace sc3xx
