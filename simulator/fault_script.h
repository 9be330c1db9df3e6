// Faults as a person types them: `bay=2@label:3,for:5s`. One text is one fault.
//
//   fault    = kind [ "=" value ] [ "@" when ] { "," limit }
//   when     = time | "label:" n | "call:" n | "exchange:" n        (default: at once)
//   limit    = "for:" time | "count:" n
//   time     = number [ "ms" | "s" | "min" ]                        (default: seconds)
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "simulator/fault.h"

namespace simulator {

// What is wrong with a fault's text, with the text in it, the place, and the choices there would have been.
struct FaultScriptError {
  std::string message;
};

std::variant<Fault, FaultScriptError> ParseFault(std::string_view text);

// The text that ParseFault reads back as the same fault.
std::string FormatFault(const Fault& fault);

// One name for each kind: "bay", "power-off", ...
std::string_view FaultName(FaultKind kind);

// Several lines for --help: the grammar, every kind with its value, examples.
std::string FaultScriptHelp();

}  // namespace simulator
