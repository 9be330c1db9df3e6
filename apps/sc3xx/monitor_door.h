// The monitor's exported functions, as whoever loaded the library got hold of them.
#pragma once

#include "sc3xxmon/host.h"
#include "sc3xxmon/spooler_abi.h"

namespace sc3xx {

struct MonitorDoor {
  int (*setHost)(const Sc3xxHost* host) = nullptr;
  MONITOR2* (*initialize)(PMONITORINIT init, HANDLE* monitor) = nullptr;
};

}  // namespace sc3xx
