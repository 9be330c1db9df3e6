#include "diag/debug_block.h"

#include <algorithm>
#include <string>

#include "diag/text_format.h"
#include "platform/clock.h"
#include "platform/debug_channel.h"
#include "platform/process.h"
#include "platform/text.h"
#include "platform/thread_id.h"

namespace sc3xxmon {
namespace {

constexpr int kTries = 100;

// Tries until it succeeds, with a sleep of a millisecond before each further try.
template <class Try>
bool TryPatiently(Try attempt) {
  if (attempt()) {
    return true;
  }
  for (int i = 0; i < kTries; ++i) {
    platform::SleepMs(1);
    if (attempt()) {
      return true;
    }
  }
  return false;
}

bool NameSharedLog(DebugBlock& block) {
  if (!InitLogFile(nullptr)) {
    block.state = kBlockEmpty;
    return false;
  }
  const std::u16string path = platform::ToUtf16(diag::log.path.data());
  if (path.size() >= kLogPathSize) {
    block.state = kBlockEmpty;
    return false;
  }
  *std::copy(path.begin(), path.end(), block.path) = u'\0';
  block.owner = 0;
  block.state = kBlockReady;
  return true;
}

// The owner word, given back when this goes.
class BlockOwner {
 public:
  BlockOwner(DebugBlock& block, std::uint32_t thread) : block_(block), thread_(thread) {}
  ~BlockOwner() {
    std::uint32_t owner = thread_;
    block_.owner.compare_exchange_strong(owner, 0);
  }
  BlockOwner(const BlockOwner&) = delete;
  BlockOwner& operator=(const BlockOwner&) = delete;

 private:
  DebugBlock& block_;
  std::uint32_t thread_;
};

std::wstring PathOf(const DebugBlock& block) {
  return platform::FromUtf16({block.path, std::find(block.path, block.path + kLogPathSize - 1, u'\0')});
}

void TakeOverPath(const DebugBlock& block) {
  const std::wstring path = PathOf(block);
  *std::copy(path.begin(), path.end(), diag::log.path.begin()) = L'\0';
}

}  // namespace

bool OpenDebugBlock() {
  if (diag::block.view == nullptr) {
    const std::uint32_t process = platform::CurrentProcessId();
    diag::block = platform::OpenSharedBlock(platform::FromUtf8(FormatToString("KOVA.DEBUG.BLOCK.%d", process)),
                                            sizeof(DebugBlock));
  }
  return diag::block.view != nullptr;
}

DebugBlock* OpenedDebugBlock() {
  return static_cast<DebugBlock*>(diag::block.view);
}

bool JoinSharedLog() {
  if (!OpenDebugBlock()) {
    return false;
  }
  DebugBlock& block = *OpenedDebugBlock();
  std::uint32_t state = kBlockEmpty;
  if (block.state.compare_exchange_strong(state, kBlockInSetUp)) {
    return NameSharedLog(block);
  }
  if (!TryPatiently([&block] { return block.state == kBlockReady; })) {
    return false;
  }
  TakeOverPath(block);
  return true;
}

bool WriteThroughBlock(const char* text, std::size_t length) {
  DebugBlock* const block = OpenedDebugBlock();
  if (block == nullptr || block->state != kBlockReady) {
    return false;
  }
  const std::uint32_t self = platform::CurrentThreadId();
  const bool owned = TryPatiently([block, self] {
    std::uint32_t nobody = 0;
    return block->owner.compare_exchange_strong(nobody, self);
  });
  if (!owned) {
    platform::WriteDebugChannel(">>>>>>>> SYNC FAILED ON DBG BLOCK >>>>>>>>\n");
    return true;
  }
  const BlockOwner owner(*block, self);
  platform::File file = OpenLogFile(PathOf(*block).c_str());
  WriteLogRecord(file, text, length);
  return true;
}

}  // namespace sc3xxmon
