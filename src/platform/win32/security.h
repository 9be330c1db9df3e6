// Who may use what the log makes: users who have logged on and administrators, everything; inherited by what lies below.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Security attributes for the log's folder, files and mutex. Owns the descriptor.
class LogSecurity {
 public:
  LogSecurity();
  ~LogSecurity();
  LogSecurity(const LogSecurity&) = delete;
  LogSecurity& operator=(const LogSecurity&) = delete;

  // Null, which stands for the creator's default, if the descriptor couldn't be made.
  SECURITY_ATTRIBUTES* Attributes() { return attributes_.lpSecurityDescriptor != nullptr ? &attributes_ : nullptr; }

 private:
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace sc3xxmon::platform
