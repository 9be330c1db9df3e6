// TCP sockets, as little of them as a printer connection needs.
//
// A transfer has one time-out for the whole call, measured on the system's own monotonic clock: a printer on the network
// doesn't live on a test's virtual time. After a failed transfer the operation is cancelled: the buffer is no longer
// touched. On a failure the thread's last-error value holds the reason, in Windows Sockets numbers on every system.
//
// What differs between systems: a read takes what the first arrival brings on both, whole or not; a write is one
// operation on Windows and as many as it needs elsewhere, and either way all is taken or the call fails. Closing with
// bytes unread resets the connection on Windows; elsewhere they are thrown away and it ends in order. Off Windows small
// writes go out at once (TCP_NODELAY). Of two transfers at once on a socket a failing one cancels both on Windows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sc3xxmon::platform {

using SocketHandle = std::uintptr_t;
inline constexpr SocketHandle kNoSocket = ~SocketHandle{0};

enum class AddressFamily : std::uint8_t { kIPv4, kIPv6 };

// A numeric address and a port in the form that the system's own calls take. Opaque.
struct SocketAddress {
  alignas(8) std::array<std::byte, 28> bytes{};
  std::uint32_t length = 0;
};

// A text that is no address of the family leaves the address zero.
SocketAddress MakeSocketAddress(const wchar_t* address, AddressFamily family, std::uint16_t port);

// One call for each connection that lives, and its counterpart. 0 is success; no effect off Windows.
std::uint32_t StartSockets();
void StopSockets();

// kNoSocket on failure.
SocketHandle OpenTcpSocket(AddressFamily family);
// Ends both directions and closes. Results are ignored. Bytes on their way to the printer still go there.
void CloseTcpSocket(SocketHandle socket);
// Blocks until the connection stands or the system gives up. An address of zero is refused (10049): it never stands for
// this machine.
bool ConnectTcpSocket(SocketHandle socket, const SocketAddress& address);

enum class TransferOutcome : std::uint8_t {
  kCompleted,   // `count` bytes moved, which may be fewer than asked for
  kCallFailed,  // the system refused the operation
  kTimedOut,
  kWaitFailed,
  kResultFailed,  // the operation began and ended badly
};

struct Transfer {
  TransferOutcome outcome = TransferOutcome::kCompleted;
  std::uint32_t count = 0;
};

// A time-out of 0xFFFFFFFF never passes.
Transfer ReceiveBytes(SocketHandle socket, void* buffer, std::uint32_t size, std::uint32_t timeoutMs);
Transfer SendBytes(SocketHandle socket, const void* buffer, std::uint32_t size, std::uint32_t timeoutMs);

}  // namespace sc3xxmon::platform
