#include "platform/shared_block.h"

#include "platform/posix/shared_memory.h"

namespace sc3xxmon::platform {

SharedBlock OpenSharedBlock(const std::wstring& name, std::uint32_t size) {
  return {nullptr, MapSharedMemory(name, size, nullptr)};
}

void CloseSharedBlock(const SharedBlock& block, std::uint32_t size) {
  if (block.view != nullptr) {
    UnmapSharedMemory(block.view, size);
  }
}

}  // namespace sc3xxmon::platform
