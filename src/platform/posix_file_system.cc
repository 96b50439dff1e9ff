#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "platform/atomic_file.h"

namespace pelorin::platform {
namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

FileStatus failure(const char* operation, const std::string& path, int error) {
  std::string message = std::string(operation) + " " + path + ": " + std::strerror(error);
  if (error == ENOENT) return FileStatus::notFound(std::move(message));
  return FileStatus::ioError(std::move(message));
}

std::string parentOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Closes a descriptor on every path out of a function.
class Descriptor {
 public:
  explicit Descriptor(int fd) : _fd(fd) {}
  ~Descriptor() {
    if (_fd >= 0) ::close(_fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return _fd; }
  // Closes now and reports the result, which can carry a delayed write error.
  int close() {
    const int result = ::close(_fd);
    _fd = -1;
    return result;
  }

 private:
  int _fd;
};

// Reads `fd` to its end into `data`, failing once more than `maxBytes` have been read.
FileStatus readToEnd(int fd, const std::string& path, std::size_t maxBytes, std::string* data) {
  char buffer[64 * 1024];
  for (;;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      return failure("read", path, errno);
    }
    if (count == 0) return FileStatus::ok();
    if (static_cast<std::size_t>(count) > maxBytes - data->size()) {
      return FileStatus::ioError(path + ": larger than " + std::to_string(maxBytes) + " bytes");
    }
    data->append(buffer, static_cast<std::size_t>(count));
  }
}

bool isDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A bundle identifier names one folder; anything that would climb out of the data folder,
// or name no folder at all, falls back to the fixed name.
std::string folderNameForBundle() {
  auto identifier = Platform::current().bundle().objectForInfoDictionaryKey("CFBundleIdentifier");
  if (!identifier || !identifier->isString()) {
    return std::string(PosixFileSystem::DEFAULT_FOLDER_NAME);
  }
  std::string name = identifier->string();
  if (name.empty() || name == "." || name == ".." ||
      name.find_first_of(std::string("/\0", 2)) != std::string::npos) {
    return std::string(PosixFileSystem::DEFAULT_FOLDER_NAME);
  }
  return name;
}

// $XDG_DATA_HOME when it is an absolute path, else $HOME/.local/share.
std::optional<std::string> dataHome() {
  const char* xdg = std::getenv("XDG_DATA_HOME");  // NOLINT(concurrency-mt-unsafe)
  if (xdg != nullptr && xdg[0] == '/') return std::string(xdg);
  const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)
  if (home != nullptr && home[0] != '\0') return std::string(home) + "/.local/share";
  return std::nullopt;
}

}  // namespace

PosixFileSystem::PosixFileSystem() = default;

PosixFileSystem::PosixFileSystem(std::string documentsFolder)
    : _documentsFolder(std::move(documentsFolder)) {}

FileStatus PosixFileSystem::documentsDirectory(std::string* path) {
  std::string folder;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (!_documentsFolder) {
      auto home = dataHome();
      if (!home)
        return FileStatus::ioError("no data folder: neither XDG_DATA_HOME nor HOME is set");
      _documentsFolder = *home + "/" + folderNameForBundle();
    }
    folder = *_documentsFolder;
  }
  FileStatus status = createDirectories(folder);
  if (!status.isOk()) return status;
  *path = std::move(folder);
  return FileStatus::ok();
}

FileStatus PosixFileSystem::createDirectories(const std::string& path) {
  if (path.empty()) return FileStatus::ioError("mkdir: empty path");
  if (isDirectory(path)) return FileStatus::ok();
  // Create each missing component from the top down.
  std::size_t position = 0;
  while (position != std::string::npos) {
    position = path.find('/', position + 1);
    const std::string prefix = path.substr(0, position);
    if (prefix.empty() || prefix.back() == '/') continue;
    if (::mkdir(prefix.c_str(), kFolderMode) == 0) continue;
    int error = errno;
    if (error == EEXIST) {
      if (isDirectory(prefix)) continue;
      error = ENOTDIR;  // a file stands where a folder should be
    }
    return FileStatus::ioError("mkdir " + prefix + ": " + std::strerror(error));
  }
  return FileStatus::ok();
}

FileStatus PosixFileSystem::readFile(const std::string& path, std::string* contents) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return failure("open", path, errno);
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return failure("stat", path, errno);
  std::string data;
  if (info.st_size > 0) data.reserve(static_cast<std::size_t>(info.st_size));
  FileStatus status = readToEnd(file.get(), path, std::numeric_limits<std::size_t>::max(), &data);
  if (status.isOk()) *contents = std::move(data);
  return status;
}

FileStatus readRegularFile(const std::string& path, std::size_t maxBytes, std::string* contents) {
  // Non-blocking, so opening a FIFO does not wait for a writer; it is refused below.
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.get() < 0) return failure("open", path, errno);
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return failure("stat", path, errno);
  if (!S_ISREG(info.st_mode)) return FileStatus::ioError(path + ": not a regular file");
  if (info.st_size < 0 || static_cast<std::uint64_t>(info.st_size) > maxBytes) {
    return FileStatus::ioError(path + ": larger than " + std::to_string(maxBytes) + " bytes");
  }
  std::string data;
  // The file may have grown since it was measured, so the read is bounded as well.
  FileStatus status = readToEnd(file.get(), path, maxBytes, &data);
  if (status.isOk()) *contents = std::move(data);
  return status;
}

FileStatus PosixFileSystem::listDirectory(const std::string& path,
                                          std::vector<std::string>* names) {
  DIR* folder = ::opendir(path.c_str());
  if (folder == nullptr) return failure("opendir", path, errno);
  std::vector<std::string> result;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(folder);  // NOLINT(concurrency-mt-unsafe): own DIR stream
    if (entry == nullptr) break;
    const std::string_view name(entry->d_name);
    if (name == "." || name == "..") continue;
    result.emplace_back(name);
  }
  const int error = errno;
  ::closedir(folder);
  if (error != 0) return failure("readdir", path, error);
  std::sort(result.begin(), result.end());
  *names = std::move(result);
  return FileStatus::ok();
}

FileStatus PosixFileSystem::removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return failure("unlink", path, errno);
  return FileStatus::ok();
}

FileStatus PosixFileSystem::renameFile(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) return failure("rename", from, errno);
  return FileStatus::ok();
}

FileStatus PosixFileSystem::writeFileAtomically(const std::string& path,
                                                std::string_view contents) {
  return platform::writeFileAtomically(path, contents);
}

FileStatus writeFileAtomically(const std::string& path, std::string_view contents) {
  std::string staging = path + std::string(FileSystem::TEMPORARY_MARKER) + "XXXXXX";
  // mkostemp creates a fresh file with mode 0600 and a unique name, so concurrent writers
  // of one target never share a staging file.
  Descriptor file(::mkostemp(staging.data(), O_CLOEXEC));
  if (file.get() < 0) return failure("open", staging, errno);

  auto abandon = [&](const char* operation, int error) {
    ::unlink(staging.c_str());
    return failure(operation, staging, error);
  };
  if (::fchmod(file.get(), kFileMode) != 0) return abandon("chmod", errno);
  const char* data = contents.data();
  std::size_t left = contents.size();
  while (left > 0) {
    const ssize_t count = ::write(file.get(), data, left);
    if (count < 0) {
      if (errno == EINTR) continue;
      return abandon("write", errno);
    }
    data += count;
    left -= static_cast<std::size_t>(count);
  }
  if (::fsync(file.get()) != 0) return abandon("fsync", errno);
  if (file.close() != 0) return abandon("close", errno);
  if (::rename(staging.c_str(), path.c_str()) != 0) return abandon("rename", errno);

  const std::string folder = parentOf(path);
  Descriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() < 0) return failure("open", folder, errno);
  if (::fsync(directory.get()) != 0) return failure("fsync", folder, errno);
  return FileStatus::ok();
}

}  // namespace pelorin::platform
