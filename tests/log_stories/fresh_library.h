// Each story is told by a library that has just been loaded: no log begun, no debug flag set. Flags are never taken back
// while a library is loaded, so that each story needs a library of its own.
#pragma once

namespace sc3xxmon::test {

// Fails the test where there is no fresh library to be had.
void BeginWithFreshLibrary();
void LeaveLibrary();

}  // namespace sc3xxmon::test
