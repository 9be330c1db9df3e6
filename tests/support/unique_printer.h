// A printer's name that no other test has, at the same time or ever: the event that admits one document for a printer
// is the machine's, not the process's. Takes the event away again when it goes. No system header here.
#pragma once

#include <random>
#include <string>

namespace sc3xxmon::test {

class UniquePrinter {
 public:
  UniquePrinter() = default;
  ~UniquePrinter();
  UniquePrinter(const UniquePrinter&) = delete;
  UniquePrinter& operator=(const UniquePrinter&) = delete;

  const std::wstring& Name() const { return name_; }

  // Makes it impossible to create the event: something else stands in its place. False where that can't be done.
  bool BlockEvent();

 private:
  const std::string tag_ =
      "Test" + std::to_string(std::random_device{}()) + "x" + std::to_string(std::random_device{}());
  const std::wstring name_{tag_.begin(), tag_.end()};
  void* blocker_ = nullptr;
};

}  // namespace sc3xxmon::test
