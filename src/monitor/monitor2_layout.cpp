// The port table as the spooler lays it out, slot by slot: the spooler and a port monitor share it with us by address, so
// that a slot out of place would be a call of another function. Nothing here is compiled into the library.
#include <cstddef>

#include "sc3xxmon/spooler_abi.h"

namespace {

// On a 64-bit machine every slot takes eight bytes, the size word with its padding too.
constexpr std::size_t At(std::size_t slot) {
  return slot * sizeof(void*);
}

static_assert(At(0) == offsetof(MONITOR2, cbSize));
static_assert(At(1) == offsetof(MONITOR2, pfnEnumPorts));
static_assert(At(2) == offsetof(MONITOR2, pfnOpenPort));
static_assert(At(3) == offsetof(MONITOR2, pfnOpenPortEx));
static_assert(At(4) == offsetof(MONITOR2, pfnStartDocPort));
static_assert(At(5) == offsetof(MONITOR2, pfnWritePort));
static_assert(At(6) == offsetof(MONITOR2, pfnReadPort));
static_assert(At(7) == offsetof(MONITOR2, pfnEndDocPort));
static_assert(At(8) == offsetof(MONITOR2, pfnClosePort));
static_assert(At(9) == offsetof(MONITOR2, pfnAddPort));
static_assert(At(10) == offsetof(MONITOR2, pfnAddPortEx));
static_assert(At(11) == offsetof(MONITOR2, pfnConfigurePort));
static_assert(At(12) == offsetof(MONITOR2, pfnDeletePort));
static_assert(At(13) == offsetof(MONITOR2, pfnGetPrinterDataFromPort));
static_assert(At(14) == offsetof(MONITOR2, pfnSetPortTimeOuts));
static_assert(At(15) == offsetof(MONITOR2, pfnXcvOpenPort));
static_assert(At(16) == offsetof(MONITOR2, pfnXcvDataPort));
static_assert(At(17) == offsetof(MONITOR2, pfnXcvClosePort));
static_assert(At(18) == offsetof(MONITOR2, pfnShutdown));
static_assert(At(19) == offsetof(MONITOR2, pfnSendRecvBidiDataFromPort));
static_assert(At(20) == offsetof(MONITOR2, pfnNotifyUsedPorts));
static_assert(At(21) == offsetof(MONITOR2, pfnNotifyUnusedPorts));
static_assert(At(22) == offsetof(MONITOR2, pfnPowerEvent));
static_assert(sizeof(MONITOR2) == At(23));

}  // namespace
