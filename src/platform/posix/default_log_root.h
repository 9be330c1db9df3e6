// The log's root folder where no value LogRoot names one: /var/log/sc3xxmon for root, else $XDG_STATE_HOME/sc3xxmon, else
// ~/.local/state/sc3xxmon. Empty if the user has no home.
#pragma once

#include <string>

namespace sc3xxmon::platform {

std::wstring DefaultLogRoot();

// The same for a user who isn't root.
std::wstring UserLogRoot();

}  // namespace sc3xxmon::platform
