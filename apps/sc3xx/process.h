// What a program asks the system about itself and its terminal.
#pragma once

#include <cstdint>

namespace sc3xx {

// A reader of our output that goes away must not kill a program that has a printer in its hands.
void IgnoreBrokenPipes();

// Whether a stream of the C library's number (1 standard output, 2 standard error) is a terminal, and how wide it is.
bool IsTerminal(int descriptor);
unsigned TerminalColumns(int descriptor);

// Tells this process from others that run at the same time.
std::uint32_t ProcessNumber();

}  // namespace sc3xx
