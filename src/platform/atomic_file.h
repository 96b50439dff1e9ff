// Writing a whole file so that a crash at any moment leaves either the old contents or the
// new ones, never a torn mix.
#pragma once

#include <string>
#include <string_view>

#include "pelorin/platform/file_system.h"

namespace pelorin::platform {

// Writes `contents` to a fresh private (0600) file beside `path`, syncs it, renames it over
// `path` and syncs the folder. A staging file left by a crash carries
// `FileSystem::TEMPORARY_MARKER` in its name, which start-up clean-up removes.
FileStatus writeFileAtomically(const std::string& path, std::string_view contents);

}  // namespace pelorin::platform
