// Makes streams of commands out of arbitrary bytes, so that the fuzzer doesn't have to find the language by itself.
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/input_reader.h"

namespace sc3xxmon::fuzz {

using ByteString = std::vector<std::uint8_t>;

// Any commands in any order, operands and raster bytes from the input, now and then a byte that is no command.
ByteString MakeCommands(InputReader& input);

// A job as a driver makes it: header, labels with an index that counts up, footer; raster sizes, between-labels
// commands and the ends of the labels from the input. At most `mostLabels` labels.
ByteString MakeJob(InputReader& input, std::uint32_t mostLabels);

}  // namespace sc3xxmon::fuzz
