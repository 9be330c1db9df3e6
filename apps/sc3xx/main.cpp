// The program `sc3xx`: hands its arguments and the monitor that it is linked with to the command line.
#include <iostream>
#include <string>
#include <vector>

#include "apps/sc3xx/command_line.h"
#include "apps/sc3xx/process.h"

int main(int argumentCount, char** arguments) {
  sc3xx::IgnoreBrokenPipes();
  sc3xx::Console console{std::cout, std::cerr, sc3xx::IsTerminal(1), sc3xx::IsTerminal(2), sc3xx::TerminalColumns(1)};
  return sc3xx::RunCommandLine(std::vector<std::string>(arguments + 1, arguments + argumentCount), console,
                               {&Sc3xxSetHost, &InitializePrintMonitor2});
}
