// A second spooler on the machine: loads the library, starts a document for the named printer, and holds it until it is
// told to end by a line on its standard input. It says 'T' when the document has started, 'F' when it was refused, and 'D'
// when it has ended.
//
//   second_process PRINTER
#include <cstdio>
#include <string>

#include "support/loaded_library.h"
#include "support/recording_host.h"
#include "support/scripted_port.h"

namespace {

void Tell(char word) {
  std::putchar(word);
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  using namespace sc3xxmon::test;
  const std::string name = count > 1 ? arguments[1] : "";
  std::wstring printer(name.begin(), name.end());
  std::wstring portName = L"USB002";
  RecordingHost spooler;
  ScriptedPort port;
  const LoadedLibrary library;
  MONITOR2* monitor = library.Initialize();
  MONITOR2 table = port.Table();
  HANDLE handle = nullptr;
  DOC_INFO_1W info{};
  const bool started =
      monitor->pfnOpenPortEx(nullptr, &port, portName.data(), printer.data(), &handle, &table) != FALSE &&
      monitor->pfnStartDocPort(handle, printer.data(), 7, 1, reinterpret_cast<LPBYTE>(&info)) != FALSE;
  Tell(started ? 'T' : 'F');
  std::getchar();
  monitor->pfnEndDocPort(handle);
  monitor->pfnClosePort(handle);
  Tell('D');
}
