// Ready-made implementations of the platform services for Linux hosts, tests and the demo.
// Every class here is safe to use from several threads.
#ifndef PELORIN_PLATFORM_HEADLESS_H_
#define PELORIN_PLATFORM_HEADLESS_H_

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "pelorin/platform/file_system.h"
#include "pelorin/platform/services.h"

namespace pelorin::platform {

// An information dictionary held in memory; it may be changed while the library runs.
class HeadlessBundle : public Bundle {
 public:
  // A bundle with an empty dictionary.
  HeadlessBundle();
  // A bundle with `dictionary` (expected to be an object), or with none for nothing.
  explicit HeadlessBundle(std::optional<JsonValue> dictionary);
  // Reads the dictionary from a JSON file; nothing when it cannot be read or is not an object.
  static std::unique_ptr<HeadlessBundle> fromFile(const std::filesystem::path& path);

  std::optional<JsonValue> infoDictionary() const override;
  std::optional<JsonValue> objectForInfoDictionaryKey(std::string_view key) const override;

  void set(std::string_view key, JsonValue value);
  void erase(std::string_view key);
  void setDictionary(std::optional<JsonValue> dictionary);

 private:
  mutable std::mutex _mutex;
  std::optional<JsonValue> _dictionary;
};

// The system clock, the TZ database's local time and the locale named by LC_ALL/LANG.
class SystemClock : public Clock {
 public:
  TimePoint now() const override;
  LocalTime toLocal(TimePoint time) const override;
  std::string localeIdentifier() const override;
};

// A clock that stands still until it is moved: for tests and reproducible runs. Local
// time is the pinned instant shifted by a fixed UTC offset.
class PinnedClock : public Clock {
 public:
  explicit PinnedClock(TimePoint time = TimePoint(), int utcOffsetSeconds = 0,
                       std::string locale = "en_US");

  TimePoint now() const override;
  LocalTime toLocal(TimePoint time) const override;
  std::string localeIdentifier() const override;

  void set(TimePoint time);
  void advance(std::chrono::milliseconds by);
  void setUtcOffset(int seconds);
  void setLocale(std::string locale);

 private:
  mutable std::mutex _mutex;
  TimePoint _time;
  int _utcOffsetSeconds;
  std::string _locale;
};

// Writes each line to standard output and flushes it.
class StdoutConsole : public Console {
 public:
  void writeLine(std::string_view line) override;

 private:
  std::mutex _mutex;
};

// Files on a POSIX system. The documents folder is the one given at construction or, by
// default, $XDG_DATA_HOME (or ~/.local/share) followed by the application's bundle identifier
// ("CFBundleIdentifier" of the current platform's bundle; DEFAULT_FOLDER_NAME when it has none
// or it cannot name a folder), resolved on first use and kept.
class PosixFileSystem : public FileSystem {
 public:
  static constexpr std::string_view DEFAULT_FOLDER_NAME = "pelorin-app";

  PosixFileSystem();
  explicit PosixFileSystem(std::string documentsFolder);

  FileStatus documentsDirectory(std::string* path) override;
  FileStatus createDirectories(const std::string& path) override;
  FileStatus readFile(const std::string& path, std::string* contents) override;
  FileStatus listDirectory(const std::string& path, std::vector<std::string>* names) override;
  FileStatus removeFile(const std::string& path) override;
  FileStatus renameFile(const std::string& from, const std::string& to) override;
  // Writes a staging file beside the target, syncs it, renames it over the target and
  // syncs the folder, so the new name is durable too.
  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override;

 private:
  std::mutex _mutex;
  std::optional<std::string> _documentsFolder;  // guarded by _mutex
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_HEADLESS_H_
