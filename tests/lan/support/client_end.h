// The other end of a server's connection, seen from inside the same process: what has arrived there. The system may
// deliver a reset or an answer a moment after the call that sent it has returned; a test that has waited here knows what
// the client's next call is going to meet.
#pragma once

#include <cstddef>

namespace sc3xxmon::test {

class ClientEnd {
 public:
  // `descriptor` is the server's end.
  explicit ClientEnd(int descriptor);

  // Each returns at once if the client isn't in this process or has closed its end, and throws past the test's patience.
  void AwaitReset() const;
  void AwaitClosed() const;
  void AwaitBytes(std::size_t unread) const;

 private:
  template <class Done>
  void Await(Done done) const;
  bool IsStillThere() const;
  bool Shows(short events) const;

  unsigned char address_[128];
  unsigned length_ = 0;
  int descriptor_ = -1;
};

}  // namespace sc3xxmon::test
