// The transcript of a virtual printer's conversations as JSON lines: one object a line, UTF-8, times in
// milliseconds, bytes in hexadecimal. Keys: t, client, dir, kind, length, bytes, meaning; `printer` when a
// name is given.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "simulator/print_record.h"

namespace simulator {

// Without a line end.
std::string ToJson(const Exchange& exchange, std::string_view printerName = {});

// Each with a line end.
std::string ToJsonLines(std::span<const Exchange> exchanges, std::string_view printerName = {});

}  // namespace simulator
