#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "lan/support/loopback.h"
#include "platform/text.h"
#include "support/child_process.h"

namespace sc3xxmon::test {
namespace {

constexpr std::uint16_t kPrintersPort = 9100;  // where printers listen, whatever the monitor believes
constexpr std::uint32_t kFirst = 0x7F010000;   // 127.1.0.0
constexpr std::uint32_t kCount = 0x00FE0000;   // up to 127.254.255.255
constexpr std::uint32_t kPerProcess = 509;     // a prime, so that neighbours in number are far apart in address

sockaddr_in Record(std::uint32_t number) {
  sockaddr_in record{};
  record.sin_family = AF_INET;
  record.sin_port = htons(kPrintersPort);
  record.sin_addr.s_addr = htonl(number);
  return record;
}

// Gives the descriptor, or -1 if another has the address.
int Bind(std::uint32_t number) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
  const int on = 1;
  // Connections of a test before may still linger at the address; a listener of another test is refused all the same.
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  const sockaddr_in record = Record(number);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&record), sizeof(record)) == 0) {
    return descriptor;
  }
  const int error = errno;
  close(descriptor);
  if (error != EADDRINUSE) {
    throw std::runtime_error("can't have a loopback address of its own for a printer");
  }
  return -1;
}

std::uint32_t NextNumber() {
  static std::uint32_t next = ProcessId() * kPerProcess;
  return kFirst + next++ % kCount;
}

}  // namespace

LoopbackListener::LoopbackListener() {
  while (descriptor_ < 0) {
    number_ = NextNumber();
    descriptor_ = Bind(number_);
  }
  char text[INET_ADDRSTRLEN] = "";
  const in_addr address{htonl(number_)};
  inet_ntop(AF_INET, &address, text, sizeof(text));
  address_ = platform::FromUtf8(text);
}

LoopbackListener::~LoopbackListener() {
  close(descriptor_);
}

void LoopbackListener::Listen(int receiveBuffer) {
  if (receiveBuffer > 0) {
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
  }
  constexpr int kBacklog = 64;
  if (listen(descriptor_, kBacklog) != 0) {
    throw std::runtime_error("another listens at the printer's address");
  }
}

void LoopbackListener::Refuse() {
  const int before = descriptor_;
  descriptor_ = -1;
  close(before);
  Own();
}

void LoopbackListener::Own() {
  descriptor_ = Bind(number_);
  if (descriptor_ < 0) {
    throw std::runtime_error("the printer's address went to another");
  }
}

}  // namespace sc3xxmon::test
