#include "platform/named_event.h"

namespace sc3xxmon::platform {

// Anybody on the machine may print, so anybody may use the event: a descriptor whose access list is there and is null
// grants everything, where no descriptor at all would grant it to the creator.
HANDLE CreateNamedEvent(const std::wstring& name) {
  SECURITY_DESCRIPTOR descriptor;
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
  SECURITY_ATTRIBUTES attributes{};
  attributes.nLength = sizeof(attributes);
  attributes.lpSecurityDescriptor = &descriptor;
  attributes.bInheritHandle = FALSE;
  return CreateEventW(&attributes, FALSE, TRUE, name.c_str());
}

bool WaitForNamedEvent(HANDLE event, std::uint32_t timeoutMs) {
  return WaitForSingleObject(event, timeoutMs) == WAIT_OBJECT_0;
}

void SignalNamedEvent(HANDLE event) {
  SetEvent(event);
}

void CloseNamedEvent(HANDLE event) {
  CloseHandle(event);
}

}  // namespace sc3xxmon::platform
