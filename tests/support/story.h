// What happened outside the monitor, in order, as lines that a person can read: writes, reads, sleeps, job commands.
#pragma once

#include <string>
#include <vector>

namespace sc3xxmon::test {

using Story = std::vector<std::string>;

}  // namespace sc3xxmon::test
