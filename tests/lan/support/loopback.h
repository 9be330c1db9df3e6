// Addresses for printers of tests: in 127.0.0.0/8, but not 127.0.0.1, which the monitor skips. The printers' TCP port is
// fixed, so each printer has an address that nobody else on the machine has at that time.
#pragma once

#include <cstdint>
#include <string>

namespace sc3xxmon::test {

// A TCP socket that owns its address at the printers' port. Connections are refused until Listen.
class LoopbackListener {
 public:
  LoopbackListener();
  ~LoopbackListener();
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  // `receiveBuffer` limits what a connection holds for a printer that doesn't read; 0 leaves it to the system.
  void Listen(int receiveBuffer = 0);
  // No more connections: from now on they are refused, but the address stays owned.
  void Refuse();

  int Descriptor() const { return descriptor_; }
  const std::wstring& Address() const { return address_; }

 private:
  void Own();

  int descriptor_ = -1;
  std::uint32_t number_ = 0;  // of the address, in the machine's byte order
  std::wstring address_;
};

}  // namespace sc3xxmon::test
