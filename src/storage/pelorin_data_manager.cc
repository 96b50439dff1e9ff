#include "storage/pelorin_data_manager.h"

#include <algorithm>
#include <concepts>

#include "config/constants.h"
#include "config/pelorin_configuration.h"
#include "json/utf8.h"
#include "pelorin/platform/platform.h"
#include "platform/library_folder.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"

namespace pelorin {
namespace {

platform::FileSystem& files() { return Platform::current().fileSystem(); }

void logError(std::string_view message) {
  PelorinConfiguration::log(message, PelorinDataManager::LOG_TAG, LogFlag::ERROR);
}

template <typename F>
requires std::invocable<F>
void logError(F&& makeMessage) {
  PelorinConfiguration::log(std::forward<F>(makeMessage), PelorinDataManager::LOG_TAG,
                            LogFlag::ERROR);
}

std::string pathIn(const std::string& folder, std::string_view fileName) {
  std::string path;
  path.reserve(folder.size() + 1 + fileName.size());
  path.append(folder).push_back('/');
  path.append(fileName);
  return path;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// A file of the earlier storage: its name lacks the version and carries an old name.
bool isOldStorageFile(std::string_view name) {
  if (contains(name, Constants::Files::STORAGE_VERSION) || name == Constants::Files::ID) {
    return false;
  }
  return std::any_of(Constants::Files::PL_FILES.begin(), Constants::Files::PL_FILES.end(),
                     [&](const std::string& old) { return contains(name, old); });
}

// The raw bytes of a file of the folder. Nothing for no folder or no file (silently) and for
// a read error (logged). `path` receives the file's path.
std::optional<std::string> readBytes(std::string_view fileName, std::string* path) {
  auto folder = PelorinDataManager::getFolderLocation();
  if (!folder) return std::nullopt;
  *path = pathIn(*folder, fileName);
  std::string bytes;
  platform::FileStatus status = files().readFile(*path, &bytes);
  if (status.isNotFound()) return std::nullopt;
  if (!status.isOk()) {
    logError([&] { return "Unable to read file! " + status.message(); });
    return std::nullopt;
  }
  return bytes;
}

// Moves an undecodable file aside. Should that fail, the next write replaces the file,
// which is what would have happened without the move.
void keepCorruptFile(const std::string& path) {
  (void)files().renameFile(path, path + std::string(PelorinDataManager::CORRUPT_SUFFIX));
}

}  // namespace

std::optional<std::string> PelorinDataManager::getFolderLocation() {
  return platform::libraryFolder();
}

std::optional<std::string> PelorinDataManager::loadStringFromFile(std::string_view fileName) {
  std::string path;
  auto bytes = readBytes(fileName, &path);
  if (!bytes) return std::nullopt;
  if (!isValidUtf8(*bytes)) {
    logError([&] { return "Unable to read file! " + path + ": the content is not UTF-8"; });
    return std::nullopt;
  }
  return bytes;
}

bool PelorinDataManager::writeStringToFile(std::string_view text, std::string_view fileName,
                                           bool logFailure) {
  auto folder = getFolderLocation();
  if (!folder) return false;
  platform::FileStatus status = files().writeFileAtomically(pathIn(*folder, fileName), text);
  if (status.isOk()) return true;
  if (logFailure) logError([&] { return "Unable to write to file! " + status.message(); });
  return false;
}

template <typename T>
std::optional<T> PelorinDataManager::loadFromFile(std::string_view fileName) {
  std::string path;
  auto bytes = readBytes(fileName, &path);
  if (!bytes) return std::nullopt;
  // The JSON parser accepts only UTF-8, so the content is checked only to explain a failure.
  Result<T> decoded = T::decode(*bytes);
  if (!decoded.ok()) {
    logError([&] {
      return "Unable to decode data! " +
             (isValidUtf8(*bytes) ? decoded.error().message : path + ": the content is not UTF-8");
    });
    keepCorruptFile(path);
    return std::nullopt;
  }
  return std::move(decoded).value();
}

template <typename T>
std::optional<std::string> PelorinDataManager::encodeForFile(const T& object,
                                                             std::string_view fileName) {
  // Texts in memory may hold any bytes; the stored form is UTF-8 JSON, so such an object
  // cannot be encoded (the JSON writer copies string bytes as they are).
  std::string text = object.encode();
  if (!isValidUtf8(text)) {
    logError([&] {
      return "Unable to encoded data! " + std::string(fileName) + ": a text is not UTF-8";
    });
    return std::nullopt;
  }
  return text;
}

template <typename T>
void PelorinDataManager::writeToFile(const T& object, std::string_view fileName) {
  if (auto text = encodeForFile(object, fileName)) writeStringToFile(*text, fileName);
}

void PelorinDataManager::cleanUpFiles() {
  auto folder = getFolderLocation();
  if (!folder) {
    logError("Unable to clean up, because the pelorin folder is not available");
    return;
  }
  std::vector<std::string> names;
  if (!files().listDirectory(*folder, &names).isOk()) {
    logError("Unable to clean up files");
    return;
  }
  for (const auto& name : names) {
    if (!isOldStorageFile(name) && !contains(name, platform::FileSystem::TEMPORARY_MARKER)) {
      continue;
    }
    platform::FileStatus status = files().removeFile(pathIn(*folder, name));
    // A file that is already gone needs no cleaning; any other failure is reported and
    // the remaining files are still tried.
    if (!status.isOk() && !status.isNotFound()) logError("Unable to clean up files");
  }
}

template std::optional<PelorinCommitLog> PelorinDataManager::loadFromFile(std::string_view);
template std::optional<PelorinCache> PelorinDataManager::loadFromFile(std::string_view);
template void PelorinDataManager::writeToFile(const PelorinCommitLog&, std::string_view);
template void PelorinDataManager::writeToFile(const PelorinCache&, std::string_view);
template std::optional<std::string> PelorinDataManager::encodeForFile(const PelorinCommitLog&,
                                                                      std::string_view);
template std::optional<std::string> PelorinDataManager::encodeForFile(const PelorinCache&,
                                                                      std::string_view);
template std::optional<std::string> PelorinDataManager::encodeForFile(
    const PelorinCommitLogSnapshot&, std::string_view);

}  // namespace pelorin
