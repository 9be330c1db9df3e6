#include "platform/win32/security.h"

#include <sddl.h>

namespace sc3xxmon::platform {

LogSecurity::LogSecurity() {
  attributes_.nLength = sizeof(attributes_);
  attributes_.bInheritHandle = FALSE;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;OICI;GA;;;AU)(A;OICI;GA;;;BA)", SDDL_REVISION_1,
                                                       &attributes_.lpSecurityDescriptor, nullptr);
}

LogSecurity::~LogSecurity() {
  if (attributes_.lpSecurityDescriptor != nullptr) {
    LocalFree(attributes_.lpSecurityDescriptor);
  }
}

}  // namespace sc3xxmon::platform
