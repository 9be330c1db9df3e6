#include "stream/kpl_iterator.h"

#include "diag/debug_log.h"

namespace sc3xxmon {
CKplIterator::CKplIterator(const std::uint8_t* data, std::uint64_t size) : Data(data), Size(size) {
  if (!ReadNext()) {
    *this = CKplIterator();
  }
}

CKplIterator& CKplIterator::operator++() {
  if (!ReadNext()) {
    *this = CKplIterator();
  }
  return *this;
}

CKplIterator CKplIterator::operator++(int) {
  CKplIterator before = *this;
  ++*this;
  return before;
}

bool CKplIterator::ReadNext() {
  if (Data == nullptr || Size < 2 || Position > Size || Size - Position < 2) {
    return false;
  }
  const std::uint8_t* command = Data + Position;
  const std::uint64_t remaining = Size - Position;
  if (command[0] != kEsc) {
    KovaDebugPrint(At("CKplIterator::ReadNext"), "Unexpected data - non-ESC: %d", command[0]);
    return false;
  }
  const std::uint64_t fixedLength = kpl::FixedLength(command[1]);
  if (fixedLength == 0) {
    // Said of every unknown letter, whether or not it would have a variable length.
    KovaDebugPrint(At("CKplIterator::ReadNext"), "Unsupported varlen command: %d", command[1]);
    return false;
  }
  if (remaining < fixedLength) {
    return false;
  }
  const std::uint64_t length = fixedLength + kpl::TrailingBytes(command);
  if (remaining < length) {
    return false;
  }
  Current = {command, length};
  Position += length;
  return true;
}

}  // namespace sc3xxmon
