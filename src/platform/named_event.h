// An auto-reset event with a name, one for all processes of the machine, created in the signalled state.
//
// Off Windows it is a small file in the machine's shared memory, which goes with its last handle. There a process that
// dies while it has taken the event gives it back; on Windows the event comes back when the last handle goes.
//
// Take it once a handle and signal: a handle that has taken the event and takes it again without a signal in between
// waits on Windows, and is let in elsewhere.
//
// The handle is a bare one on purpose: a port overwrites a stale handle without closing it, and has to be able to.
#pragma once

#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Opens the event, making it first where it doesn't exist. Null if that fails.
HANDLE CreateNamedEvent(const std::wstring& name);

// Takes the event, waiting at most `timeoutMs`. False on a time-out or a failure.
bool WaitForNamedEvent(HANDLE event, std::uint32_t timeoutMs);

// Signals the event, whoever took it: the next waiter is admitted.
void SignalNamedEvent(HANDLE event);

void CloseNamedEvent(HANDLE event);

}  // namespace sc3xxmon::platform
