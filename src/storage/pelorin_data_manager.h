// The library's state on disk: the folder "pelorin" inside the platform's documents folder,
// and whole-file reads and atomic writes of the commit logs, the cache and small texts.
//
// Thread safety: every operation may be called from any thread; each write replaces its file
// as a whole. Callers that write one file from several threads decide among themselves
// which write is last (the engine does so under the global lock).
#ifndef PELORIN_SRC_STORAGE_PELORIN_DATA_MANAGER_H_
#define PELORIN_SRC_STORAGE_PELORIN_DATA_MANAGER_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/library_folder.h"

namespace pelorin {

class PelorinCommitLog;
struct PelorinCommitLogSnapshot;
class PelorinCache;

// No operation reports an error to its caller: failures are logged (tag "PL_DATA_MANAGER",
// level "ERROR") and yield nothing. A missing file is normal and not logged.
class PelorinDataManager {
 public:
  static constexpr std::string_view LOG_TAG = "PL_DATA_MANAGER";
  static constexpr std::string_view FOLDER_NAME = platform::kLibraryFolderName;
  // Appended to the name of a stored object that could not be decoded; the file is kept
  // there so the next write cannot destroy what may still be recovered by hand.
  static constexpr std::string_view CORRUPT_SUFFIX = ".corrupt";

  // The library's folder, created (with its parents) when missing; nothing when the
  // platform has no documents folder or the folder cannot be created.
  static std::optional<std::string> getFolderLocation();

  // The text of a file of the folder; nothing when it does not exist, cannot be read, or
  // is not UTF-8.
  static std::optional<std::string> loadStringFromFile(std::string_view fileName);
  // Replaces the file with `text`, atomically; false when that failed. `logFailure` false
  // leaves the failure unlogged, for a caller that already logged this file's failure.
  static bool writeStringToFile(std::string_view text, std::string_view fileName,
                                bool logFailure = true);

  // Decodes a stored object (PelorinCommitLog or PelorinCache):
  //   auto log = PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG);
  // Nothing when the file is missing or unreadable; a file that does not decode is moved
  // to its name + CORRUPT_SUFFIX and yields nothing.
  template <typename T>
  static std::optional<T> loadFromFile(std::string_view fileName);
  // Encodes `object` (PelorinCommitLog, its snapshot, or PelorinCache) and replaces the file,
  // atomically. An object holding texts that are not UTF-8 cannot be encoded and is not written.
  template <typename T>
  static void writeToFile(const T& object, std::string_view fileName);
  // The stored text of `object`, as `writeToFile` would write it; nothing (logged as there)
  // when it holds a text that is not UTF-8. The writer thread encodes the tick's snapshots
  // so.
  template <typename T>
  static std::optional<std::string> encodeForFile(const T& object, std::string_view fileName);

  // Removes the files of the earlier, unversioned storage, and staging files that an
  // interrupted write left behind. Call at start-up, before the first write.
  static void cleanUpFiles();
};

extern template std::optional<PelorinCommitLog> PelorinDataManager::loadFromFile(std::string_view);
extern template std::optional<PelorinCache> PelorinDataManager::loadFromFile(std::string_view);
extern template void PelorinDataManager::writeToFile(const PelorinCommitLog&, std::string_view);
extern template void PelorinDataManager::writeToFile(const PelorinCache&, std::string_view);
extern template std::optional<std::string> PelorinDataManager::encodeForFile(
    const PelorinCommitLog&, std::string_view);
extern template std::optional<std::string> PelorinDataManager::encodeForFile(const PelorinCache&,
                                                                             std::string_view);
extern template std::optional<std::string> PelorinDataManager::encodeForFile(
    const PelorinCommitLogSnapshot&, std::string_view);

}  // namespace pelorin

#endif  // PELORIN_SRC_STORAGE_PELORIN_DATA_MANAGER_H_
