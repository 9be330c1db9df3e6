// One variable of the environment, changed for as long as this lives.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace sc3xxmon::test {

class ScopedVariable {
 public:
  // No value takes the variable away.
  ScopedVariable(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* before = std::getenv(name)) {
      before_ = before;
    }
    Put(value);
  }
  ~ScopedVariable() { Put(before_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Put(const std::optional<std::string>& value) const {
    if (value) {
      setenv(name_.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace sc3xxmon::test
