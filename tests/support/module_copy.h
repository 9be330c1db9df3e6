// Loaded modules with file names of a test's choice. No system header here.
#pragma once

#include <string>

namespace sc3xxmon::test {

// The address of a function in a shared library that was loaded from a file called `fileName`, in a folder whose name
// begins with `folderWord`. Don't call it.
// The library stays loaded; its file is gone when this returns.
const void* FunctionInModuleNamed(const std::string& fileName, const std::string& folderWord = "module");

}  // namespace sc3xxmon::test
