// The build's own name. A leaf: includes nothing.
#pragma once

namespace sc3xxmon::version {

inline constexpr char kVersion[] = "1.1.0.218";
inline constexpr int kBuildNumber = 218;  // the version's last field, first number of every log prefix
inline constexpr char kConfiguration[] = "Win10 Release";

}  // namespace sc3xxmon::version
