// A mutex with a name, for all copies of the monitor in one process: its name has to hold the process id. A thread that
// ends while it has the mutex gives it back, and so does a process.
//
// Not for taking twice by one thread: that goes through on Windows and waits elsewhere.
//
// Off Windows it lies in the machine's shared memory, under the name, for this user alone, and goes when the process
// ends in order. A process that crashed leaves the name; a later one of the same id begins anew there.
#pragma once

#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Opens the mutex, making it first, unowned, where it doesn't exist. Null if that fails.
HANDLE CreateNamedMutex(const std::wstring& name);

// Waits at most `timeoutMs` of real time: who holds the mutex is at work, whatever a host's clock says. False on a
// time-out, a failure, or a null mutex.
bool TakeNamedMutex(HANDLE mutex, std::uint32_t timeoutMs);

void ReleaseNamedMutex(HANDLE mutex);

// The name stays with whoever else has it open.
void CloseNamedMutex(HANDLE mutex);

}  // namespace sc3xxmon::platform
