// The system's name service as tests want it: names that exist for one test, with addresses that change while it runs.
// The program's own getaddrinfo asks here first. While one lives, no look-up leaves the process: a name that isn't set
// isn't found, and a numeric address stands for itself.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sc3xxmon::test {

// One at a time. Any thread may look up while the test's thread changes names.
class NameService {
 public:
  NameService();
  ~NameService();
  NameService(const NameService&) = delete;
  NameService& operator=(const NameService&) = delete;

  // The host's addresses in the service's order; IPv4 and IPv6 texts. None: the name is known and has no address.
  void Set(const std::wstring& host, const std::vector<std::wstring>& addresses);
  // The look-up fails from now on.
  void Forget(const std::wstring& host);

  // What a look-up asked for, in the order of the look-ups.
  struct Question {
    std::string host;
    bool anyFamily = false;
    bool ipv4Only = false;
    bool plainStream = false;  // no flags, a TCP stream socket, no service name
  };
  std::vector<Question> Questions() const;
  std::size_t QuestionCount() const;
};

}  // namespace sc3xxmon::test
