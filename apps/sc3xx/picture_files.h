// The pictures of printed labels in a folder: label-001.png, label-002.png, ...
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace sc3xx {

std::string PictureName(std::size_t number);

// Nothing: the file is no such picture.
std::optional<std::size_t> PictureNumber(std::string_view fileName);

// Both throw InputError. `error` may be none where the system told no reason.
void MakeOutputFolder(const std::filesystem::path& folder);
[[noreturn]] void FailOnOutput(const std::filesystem::path& path, const std::error_code& error);

}  // namespace sc3xx
