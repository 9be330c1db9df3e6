#include "platform/shared_block.h"

namespace sc3xxmon::platform {

SharedBlock OpenSharedBlock(const std::wstring& name, std::uint32_t size) {
  SharedBlock block;
  block.mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name.c_str());
  if (block.mapping != nullptr) {
    block.view = MapViewOfFile(block.mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, size);
  }
  return block;
}

void CloseSharedBlock(const SharedBlock& block, std::uint32_t) {
  if (block.view != nullptr) {
    UnmapViewOfFile(block.view);
  }
  if (block.mapping != nullptr) {
    CloseHandle(block.mapping);
  }
}

}  // namespace sc3xxmon::platform
