// A forward-only walk over a span of commands. Owns nothing and copies nothing: the span must outlive it and must not
// move, and `Current` points into it.
#pragma once

#include <cstdint>

#include "stream/kpl_command.h"

namespace sc3xxmon {

// The end is the only failure, and it can't tell commands that haven't arrived yet (silent, the normal case of a
// stream in pieces) from bytes that are no command (one log line each time the spot is reached). Nothing skips such a
// spot and nothing resynchronises. An iterator that has ended equals a default-constructed one.
class CKplIterator {
 public:
  CKplIterator() = default;
  // Reads the first command at once; if there is no complete one, the iterator is at its end from the start.
  CKplIterator(const std::uint8_t* data, std::uint64_t size);

  CKplIterator& operator++();
  CKplIterator operator++(int);

  bool AtEnd() const { return Data == nullptr && Size == 0 && Position == 0; }

  friend bool operator==(const CKplIterator&, const CKplIterator&) = default;

  const std::uint8_t* Data = nullptr;
  std::uint64_t Size = 0;
  std::uint64_t Position = 0;  // of the next command to read
  KplCommand Current;

 private:
  bool ReadNext();
};

}  // namespace sc3xxmon
