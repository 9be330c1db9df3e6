// Something on the command line is wrong; exit code 2. The text says what, and what would be right.
#pragma once

#include <stdexcept>

namespace sc3xx {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace sc3xx
