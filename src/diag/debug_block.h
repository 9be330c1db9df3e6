// The shared block: how several modules of one process write to one log at debug level 3. The first to come names the
// file, and an owner word lets one thread of the process write at a time. No setting leads to this level.
#pragma once

#include <atomic>
#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

#include "diag/log_file.h"
#include "platform/shared_block.h"

namespace sc3xxmon {

enum BlockState : std::uint32_t { kBlockEmpty = 0, kBlockInSetUp = 1, kBlockReady = 2 };

// The same bytes for every module, however wide its wide characters are.
struct DebugBlock {
  std::atomic<std::uint32_t> state;
  std::atomic<std::uint32_t> owner;  // 0, or the id of the thread that writes to the file
  char16_t path[kLogPathSize];
};
static_assert(sizeof(DebugBlock) == 1048 && std::atomic<std::uint32_t>::is_always_lock_free);

namespace diag {
inline platform::SharedBlock block;  // opened before any other thread logs
}  // namespace diag

// Opens the block of this process, or makes it empty. True when it is there; a second call does nothing more.
bool OpenDebugBlock();

// Joins the log that the block names, or names one in it as the first module of the process. False when the block can't
// be had, or is being set up by a module that takes longer than 100 sleeps of a millisecond.
bool JoinSharedLog();

// Null until the block is open.
DebugBlock* OpenedDebugBlock();

// Writes one record to the file that the block names. A record that can't get the owner word within 100 tries is lost,
// which is told on the debugger channel. False, with nothing done, when the block isn't ready.
bool WriteThroughBlock(const char* text, std::size_t length);

}  // namespace sc3xxmon
