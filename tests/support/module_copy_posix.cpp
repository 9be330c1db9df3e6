#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include "support/child_process.h"
#include "support/module_copy.h"

namespace sc3xxmon::test {
namespace {

constexpr char kLibrary[] = "liblz4.so.1";
constexpr char kFunction[] = "LZ4_compressBound";

const void* FunctionIn(const std::string& library) {
  void* module = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    throw std::runtime_error("can't load " + library);
  }
  return dlsym(module, kFunction);
}

std::filesystem::path LibraryFile() {
  Dl_info info{};
  if (dladdr(FunctionIn(kLibrary), &info) == 0) {
    throw std::runtime_error("the loader doesn't know its own library");
  }
  return info.dli_fname;
}

}  // namespace

// A copy of a library that is there anyway: the loader knows it by its file.
const void* FunctionInModuleNamed(const std::string& fileName, const std::string& folderWord) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / (folderWord + "-of-" + std::to_string(ProcessId()));
  fs::create_directory(folder);
  fs::copy_file(LibraryFile(), folder / fileName, fs::copy_options::overwrite_existing);
  const void* function = FunctionIn((folder / fileName).string());
  fs::remove_all(folder);
  return function;
}

}  // namespace sc3xxmon::test
