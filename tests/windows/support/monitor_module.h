// The module that holds the monitor in this test program: the library, loaded as a spooler loads it, or the program
// itself where the monitor's insides are linked in.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

HMODULE MonitorModule();

}  // namespace sc3xxmon::test
