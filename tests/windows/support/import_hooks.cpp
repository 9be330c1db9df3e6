#include "support/import_hooks.h"

#include <cstdint>
#include <cstring>

namespace sc3xxmon::test {
namespace {

// The parts of a loaded module are found by their distance from its start.
template <class Part>
Part* At(HMODULE module, std::size_t offset) {
  return reinterpret_cast<Part*>(reinterpret_cast<std::uint8_t*>(module) + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* Imports(HMODULE module) {
  const auto* dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* head = At<IMAGE_NT_HEADERS64>(module, static_cast<std::size_t>(dos->e_lfanew));
  return At<IMAGE_IMPORT_DESCRIPTOR>(module,
                                     head->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
}

// The slot beside the name, in one imported module's two parallel lists.
const void** SlotIn(HMODULE module, const IMAGE_IMPORT_DESCRIPTOR& imported, const char* function) {
  const auto* name = At<IMAGE_THUNK_DATA64>(module, imported.OriginalFirstThunk);
  auto* slot = At<const void*>(module, imported.FirstThunk);
  for (; name->u1.AddressOfData != 0; ++name, ++slot) {
    const bool byName = !IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal);
    if (byName && std::strcmp(At<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData)->Name, function) == 0) {
      return slot;
    }
  }
  return nullptr;
}

}  // namespace

ImportSlot::ImportSlot(HMODULE module, const char* function) {
  for (const auto* imported = Imports(module); imported->Name != 0 && slot_ == nullptr; ++imported) {
    slot_ = SlotIn(module, *imported, function);
  }
  if (slot_ != nullptr) {
    original_ = *slot_;
  }
}

void ImportSlot::Replace(const void* replacement) const {
  if (slot_ == nullptr) {
    return;
  }
  DWORD protection = 0;
  VirtualProtect(slot_, sizeof(*slot_), PAGE_READWRITE, &protection);
  *slot_ = replacement != nullptr ? replacement : original_;
  VirtualProtect(slot_, sizeof(*slot_), protection, &protection);
}

}  // namespace sc3xxmon::test
