#include "platform/library_folder.h"

#include "config/pelorin_configuration.h"
#include "pelorin/platform/platform.h"

namespace pelorin::platform {
namespace {

// The data manager's tag: the folder holds its files.
constexpr std::string_view kLogTag = "PL_DATA_MANAGER";

void logFailure() {
  PelorinConfiguration::log("Unable to get folder location", kLogTag, LogFlag::ERROR);
}

}  // namespace

std::optional<std::string> libraryFolder() {
  FileSystem& files = Platform::current().fileSystem();
  std::string documents;
  if (!files.documentsDirectory(&documents).isOk()) {
    logFailure();
    return std::nullopt;
  }
  std::string folder;
  folder.reserve(documents.size() + 1 + kLibraryFolderName.size());
  folder.append(documents).push_back('/');
  folder.append(kLibraryFolderName);
  if (!files.createDirectories(folder).isOk()) {
    logFailure();
    return std::nullopt;
  }
  return folder;
}

}  // namespace pelorin::platform
