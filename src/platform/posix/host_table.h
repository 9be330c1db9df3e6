// The host's table as Sc3xxSetHost left it, with members that the host doesn't know set to null.
#pragma once

#include "sc3xxmon/host.h"

namespace sc3xxmon::platform {

const Sc3xxHost& Host();

}  // namespace sc3xxmon::platform
