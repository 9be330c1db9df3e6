// Files that hold what passed through the monitor, for diagnosis: they lie beside the log, and fail in silence. One thread
// at a time for each file.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace sc3xxmon {

// The path of a file named after this moment, the process and `name`, in the log's folder, which is made if need be.
// Empty if the folder can't be had.
std::wstring MakeDumpPath(const std::string& name);

// Appends the bytes to the file, which is opened and closed at each call. True if all were written; no bytes count as a
// failure.
bool AppendToDump(const std::wstring& path, std::span<const std::uint8_t> bytes);

}  // namespace sc3xxmon
