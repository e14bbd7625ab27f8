// The character that separates the directories of a path, which differs between the systems.
#pragma once

namespace orla {

#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

}  // namespace orla
