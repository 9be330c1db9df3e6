// getaddrinfo stands in the test program itself, so that the monitor's code finds it before the C library's. The lists
// that it gives are made of nodes of the C library, which frees them one by one.
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <map>
#include <mutex>

#include "lan/support/name_service.h"
#include "platform/text.h"

namespace sc3xxmon::test {
namespace {

std::mutex mutex;
bool isOn = false;
std::map<std::string, std::vector<std::string>> hosts;
std::vector<NameService::Question> questions;

using LookUp = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

LookUp SystemsOwn() {
  static const auto function = reinterpret_cast<LookUp>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return function;
}

addrinfo* NodeOf(const std::string& address, const addrinfo* wanted) {
  addrinfo hints = *wanted;
  hints.ai_flags = AI_NUMERICHOST;
  addrinfo* node = nullptr;
  return SystemsOwn()(address.c_str(), nullptr, &hints, &node) == 0 ? node : nullptr;
}

// Addresses of a family that wasn't asked for are left out.
int Answer(const std::vector<std::string>& addresses, const addrinfo* hints, addrinfo** list) {
  *list = nullptr;
  addrinfo** end = list;
  for (const std::string& address : addresses) {
    *end = NodeOf(address, hints);
    while (*end != nullptr) {
      end = &(*end)->ai_next;
    }
  }
  return *list != nullptr ? 0 : EAI_NONAME;
}

void Note(const char* host, const char* service, const addrinfo& hints) {
  questions.push_back({host, hints.ai_family == AF_UNSPEC, hints.ai_family == AF_INET,
                       service == nullptr && hints.ai_flags == 0 && hints.ai_socktype == SOCK_STREAM &&
                           hints.ai_protocol == IPPROTO_TCP});
}

}  // namespace

NameService::NameService() {
  const std::lock_guard lock(mutex);
  isOn = true;
}

NameService::~NameService() {
  const std::lock_guard lock(mutex);
  isOn = false;
  hosts.clear();
  questions.clear();
}

void NameService::Set(const std::wstring& host, const std::vector<std::wstring>& addresses) {
  std::vector<std::string> texts;
  for (const std::wstring& address : addresses) {
    texts.push_back(platform::ToUtf8(address));
  }
  const std::lock_guard lock(mutex);
  hosts[platform::ToUtf8(host)] = texts;
}

void NameService::Forget(const std::wstring& host) {
  const std::lock_guard lock(mutex);
  hosts.erase(platform::ToUtf8(host));
}

std::vector<NameService::Question> NameService::Questions() const {
  const std::lock_guard lock(mutex);
  return questions;
}

std::size_t NameService::QuestionCount() const {
  const std::lock_guard lock(mutex);
  return questions.size();
}

}  // namespace sc3xxmon::test

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* host, const char* service,
                                                                  const addrinfo* hints, addrinfo** list) {
  using namespace sc3xxmon::test;
  {
    const std::lock_guard lock(mutex);
    if (isOn && host != nullptr && hints != nullptr) {
      Note(host, service, *hints);
      const auto found = hosts.find(host);
      return Answer(found != hosts.end() ? found->second : std::vector<std::string>{host}, hints, list);
    }
  }
  return SystemsOwn()(host, service, hints, list);
}
