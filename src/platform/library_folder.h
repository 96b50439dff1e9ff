// The library's own folder on the host: "pelorin" inside the platform's documents folder.
// The data manager keeps the stored files there, the default HTTP client its cookie file.
//
// Thread safety: may be called from any thread (the file system must allow that).
#ifndef PELORIN_SRC_PLATFORM_LIBRARY_FOLDER_H_
#define PELORIN_SRC_PLATFORM_LIBRARY_FOLDER_H_

#include <optional>
#include <string>
#include <string_view>

namespace pelorin::platform {

inline constexpr std::string_view kLibraryFolderName = "pelorin";

// The folder, created (with its parents) when missing, in the current platform's file
// system; nothing when the platform has no documents folder or the folder cannot be
// created. A failure is logged as "Unable to get folder location" (tag "PL_DATA_MANAGER",
// level "ERROR").
std::optional<std::string> libraryFolder();

}  // namespace pelorin::platform

#endif  // PELORIN_SRC_PLATFORM_LIBRARY_FOLDER_H_
