// Named things in the machine's shared memory: how a name becomes a file there, and memory that the copies of the monitor
// in one process share.
#pragma once

#include <cstddef>
#include <string>

namespace sc3xxmon::platform {

// Every name maps to a path of its own: what a file system refuses is written as %XX, and a long name ends in a hash of
// the whole.
std::string SharedMemoryPath(const std::wstring& name);

// Maps the memory of that name, `size` bytes, zero where it is new; `initialise` then runs on it before anybody else sees
// it (null: nothing to do). The name is this process's alone: it holds the process id, its file is for this user only, and
// another user's file of that name is refused. Null if the memory can't be had.
//
// The name goes with its last holder, which is this process's end in order at the latest. One that a crash left behind is
// begun anew.
void* MapSharedMemory(const std::wstring& name, std::size_t size, bool (*initialise)(void*));
void UnmapSharedMemory(void* memory, std::size_t size);

}  // namespace sc3xxmon::platform
