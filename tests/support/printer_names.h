// Printer names for tests. A printer's sync is shared by all processes of the machine and leaves a trace there for every
// name, so that names have to differ between tests that may run at once, and be the same again in the next run.
#pragma once

#include <string>

namespace sc3xxmon::test {

// `tag` says which of the tests of this folder it is; tests in another working folder get other names.
std::wstring PrinterNameFor(const std::string& tag);

}  // namespace sc3xxmon::test
