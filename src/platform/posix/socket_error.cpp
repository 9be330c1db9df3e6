#include "platform/posix/socket_error.h"

#include <cerrno>

#include "platform/last_error.h"

namespace sc3xxmon::platform {
namespace {

struct Row {
  int systemError;
  std::uint32_t socketError;
};

constexpr std::uint32_t kInvalidArgument = 10022;

// A descriptor that isn't open is a handle that is no socket.
constexpr Row kRows[] = {
    {EINTR, 10004},      {EBADF, 10038},         {EFAULT, 10014},    {EPROTONOSUPPORT, 10043},
    {EOPNOTSUPP, 10045}, {EACCES, 10013},        {EPERM, 10013},     {EINVAL, 10022},
    {EMFILE, 10024},     {ENFILE, 10024},        {EAGAIN, 10035},    {EINPROGRESS, 10036},
    {EALREADY, 10037},   {ENOTSOCK, 10038},      {EMSGSIZE, 10040},  {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048}, {EADDRNOTAVAIL, 10049}, {ENETDOWN, 10050},  {ENETUNREACH, 10051},
    {ENETRESET, 10052},  {ECONNABORTED, 10053},  {EPIPE, 10053},     {ECONNRESET, 10054},
    {ENOBUFS, 10055},    {ENOMEM, 10055},        {EISCONN, 10056},   {ENOTCONN, 10057},
    {ETIMEDOUT, 10060},  {ECONNREFUSED, 10061},  {EHOSTDOWN, 10064}, {EHOSTUNREACH, 10065},
};

}  // namespace

std::uint32_t ToSocketError(int systemError) {
  for (const Row& row : kRows) {
    if (row.systemError == systemError) {
      return row.socketError;
    }
  }
  return kInvalidArgument;
}

void StoreSocketError() {
  SetLastErrorCode(ToSocketError(errno));
}

}  // namespace sc3xxmon::platform
