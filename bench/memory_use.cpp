#include "bench/memory_use.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// Stands in front of each block; the block itself stays aligned for any type.
struct alignas(std::max_align_t) BlockHead {
  std::size_t size;
  BlockHead* next;  // while it lies at hand
};

constexpr std::size_t kLargeBlock = 64 * 1024;

std::size_t heldBytes = 0;
std::size_t mostHeldBytes = 0;
bool keepAtHand = false;
BlockHead* atHand = nullptr;

// The few sizes of a measured loop: the first block of the list nearly always fits.
BlockHead* TakeAtHand(std::size_t size) noexcept {
  for (BlockHead** place = &atHand; *place != nullptr; place = &(*place)->next) {
    if ((*place)->size == size) {
      BlockHead* block = *place;
      *place = block->next;
      return block;
    }
  }
  return nullptr;
}

void* Allocate(std::size_t size) noexcept {
  BlockHead* head = size >= kLargeBlock ? TakeAtHand(size) : nullptr;
  if (head == nullptr) {
    head = static_cast<BlockHead*>(std::malloc(sizeof(BlockHead) + size));
  }
  if (head == nullptr) {
    return nullptr;
  }
  head->size = size;
  heldBytes += size;
  mostHeldBytes = std::max(mostHeldBytes, heldBytes);
  return head + 1;
}

void Release(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  BlockHead* head = static_cast<BlockHead*>(block) - 1;
  heldBytes -= head->size;
  if (keepAtHand && head->size >= kLargeBlock) {
    head->next = atHand;
    atHand = head;
    return;
  }
  std::free(head);
}

void* AllocateOrThrow(std::size_t size) {
  void* block = Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  Release(block);
}
void operator delete[](void* block) noexcept {
  Release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  Release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  Release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  Release(block);
}

namespace sc3xxmon::bench {

PeakMemory::PeakMemory() : before_(heldBytes) {
  mostHeldBytes = heldBytes;
}

std::size_t PeakMemory::Bytes() const {
  return mostHeldBytes - before_;
}

PagesAtHand::PagesAtHand() {
  keepAtHand = true;
}

PagesAtHand::~PagesAtHand() {
  keepAtHand = false;
  while (atHand != nullptr) {
    BlockHead* next = atHand->next;
    std::free(atHand);
    atHand = next;
  }
}

}  // namespace sc3xxmon::bench
