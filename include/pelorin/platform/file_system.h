// The files the library keeps between launches: where its documents folder is, and the few
// file operations its data manager needs, with an atomic whole-file write.
//
// Thread safety: implementations must be safe to call from any thread. Two writes of the same
// file from different threads each leave a whole file; the later rename wins.
#ifndef PELORIN_PLATFORM_FILE_SYSTEM_H_
#define PELORIN_PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pelorin/export.h"

namespace pelorin::platform {

// Outcome of a file operation. A missing file or folder is told apart from every other
// failure, because callers treat "not there yet" as normal.
class [[nodiscard]] FileStatus {
 public:
  enum class Code { kOk, kNotFound, kIoError };

  FileStatus() = default;
  static FileStatus ok() { return {}; }
  static FileStatus notFound(std::string message) {
    return FileStatus(Code::kNotFound, std::move(message));
  }
  static FileStatus ioError(std::string message) {
    return FileStatus(Code::kIoError, std::move(message));
  }

  bool isOk() const { return _code == Code::kOk; }
  bool isNotFound() const { return _code == Code::kNotFound; }
  Code code() const { return _code; }
  // What went wrong, e.g. "open /data/pelorin/id.data: Permission denied"; "" when ok.
  const std::string& message() const { return _message; }

 private:
  FileStatus(Code code, std::string message) : _code(code), _message(std::move(message)) {}

  Code _code = Code::kOk;
  std::string _message;
};

// Paths are absolute, '/'-separated texts.
class PELORIN_EXPORT FileSystem {
 public:
  // Staging files of an atomic write are named target name + TEMPORARY_MARKER + a unique
  // suffix, in the target's folder. Only a write cut short by the end of the process leaves
  // one behind; a clean-up at start-up may remove any file whose name contains the marker.
  static constexpr std::string_view TEMPORARY_MARKER = ".tmp-";

  virtual ~FileSystem() = default;

  // The folder that holds the library's own folder, created (0700) when missing.
  virtual FileStatus documentsDirectory(std::string* path) = 0;
  // Creates `path` and any missing parent with mode 0700; an existing folder is fine.
  virtual FileStatus createDirectories(const std::string& path) = 0;
  // The whole content of a file. kNotFound when there is no such file.
  virtual FileStatus readFile(const std::string& path, std::string* contents) = 0;
  // The names (not paths) of the entries of a folder, sorted, without "." and "..".
  virtual FileStatus listDirectory(const std::string& path, std::vector<std::string>* names) = 0;
  // kNotFound when there is no such file.
  virtual FileStatus removeFile(const std::string& path) = 0;
  // Moves `from` to `to`, replacing `to`. kNotFound when `from` does not exist.
  virtual FileStatus renameFile(const std::string& from, const std::string& to) = 0;
  // Replaces the file's content as one step: after a crash at any moment the file holds
  // either its old content or `contents`, never a mix. New files get mode 0600.
  virtual FileStatus writeFileAtomically(const std::string& path, std::string_view contents) = 0;
};

// Forwards every call to another file system. Derive from it to change one operation and
// keep the rest, e.g. to count writes or make them fail in a test:
//
//   class FailingWrites : public FileSystemWrapper {
//    public:
//     using FileSystemWrapper::FileSystemWrapper;
//     FileStatus writeFileAtomically(const std::string&, std::string_view) override {
//       return FileStatus::ioError("disk full");
//     }
//   };
class PELORIN_EXPORT FileSystemWrapper : public FileSystem {
 public:
  explicit FileSystemWrapper(std::unique_ptr<FileSystem> target) : _target(std::move(target)) {}

  FileSystem& target() const { return *_target; }

  FileStatus documentsDirectory(std::string* path) override {
    return _target->documentsDirectory(path);
  }
  FileStatus createDirectories(const std::string& path) override {
    return _target->createDirectories(path);
  }
  FileStatus readFile(const std::string& path, std::string* contents) override {
    return _target->readFile(path, contents);
  }
  FileStatus listDirectory(const std::string& path, std::vector<std::string>* names) override {
    return _target->listDirectory(path, names);
  }
  FileStatus removeFile(const std::string& path) override { return _target->removeFile(path); }
  FileStatus renameFile(const std::string& from, const std::string& to) override {
    return _target->renameFile(from, to);
  }
  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override {
    return _target->writeFileAtomically(path, contents);
  }

 private:
  std::unique_ptr<FileSystem> _target;
};

// Reads a file of the device (outside the library's folder, e.g. an image the app ships)
// without ever waiting: only a regular file of at most `maxBytes` is read; a folder, a FIFO,
// a device or a larger file is refused with kIoError, and a missing one gives kNotFound.
PELORIN_EXPORT FileStatus readRegularFile(const std::string& path, std::size_t maxBytes,
                                          std::string* contents);

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_FILE_SYSTEM_H_
