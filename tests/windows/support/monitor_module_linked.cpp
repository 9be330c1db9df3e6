#include "support/monitor_module.h"

namespace sc3xxmon::test {

HMODULE MonitorModule() {
  return GetModuleHandleW(nullptr);
}

}  // namespace sc3xxmon::test
