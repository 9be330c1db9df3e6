// Length of the fixed part of every command, by its letter. Written out a second time here on purpose: a table that is
// compared with itself shows nothing.
#pragma once

#include <map>

namespace sc3xxmon::test {

inline const std::map<char, int> kCommandLengths = {
    {'#', 3}, {'*', 2}, {'@', 2}, {'A', 3}, {'C', 3}, {'D', 12}, {'E', 2},  {'G', 2}, {'H', 4}, {'L', 4}, {'M', 10},
    {'P', 2}, {'Q', 2}, {'T', 3}, {'U', 2}, {'V', 2}, {'X', 7},  {'Z', 17}, {'b', 4}, {'c', 2}, {'d', 2}, {'e', 2},
    {'g', 2}, {'h', 2}, {'i', 2}, {'l', 6}, {'m', 4}, {'n', 4},  {'p', 3},  {'q', 3}, {'s', 6}, {'t', 6}, {'x', 2},
};

}  // namespace sc3xxmon::test
