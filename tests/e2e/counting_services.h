// Platform services that count what the client asks of them and forward it to the real
// ones, so a test can tell "no file write, no request" without looking at the clock.
//
// Thread safety: as the wrapped services; the counters have a lock of their own.
#ifndef PELORIN_TESTS_E2E_COUNTING_SERVICES_H_
#define PELORIN_TESTS_E2E_COUNTING_SERVICES_H_

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "pelorin/platform/file_system.h"
#include "pelorin/platform/http.h"

namespace pelorin::testing {

// Counts every call, and the atomic writes by file name (the last path component).
class CountingFileSystem : public platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;

  platform::FileStatus documentsDirectory(std::string* path) override {
    count();
    return FileSystemWrapper::documentsDirectory(path);
  }
  platform::FileStatus createDirectories(const std::string& path) override {
    count();
    return FileSystemWrapper::createDirectories(path);
  }
  platform::FileStatus readFile(const std::string& path, std::string* contents) override {
    count();
    return FileSystemWrapper::readFile(path, contents);
  }
  platform::FileStatus listDirectory(const std::string& path,
                                     std::vector<std::string>* names) override {
    count();
    return FileSystemWrapper::listDirectory(path, names);
  }
  platform::FileStatus removeFile(const std::string& path) override {
    count();
    return FileSystemWrapper::removeFile(path);
  }
  platform::FileStatus renameFile(const std::string& from, const std::string& to) override {
    count();
    return FileSystemWrapper::renameFile(from, to);
  }
  platform::FileStatus writeFileAtomically(const std::string& path,
                                           std::string_view contents) override {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      ++_calls;
      ++_writes[path.substr(path.rfind('/') + 1)];
    }
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }

  // Calls of any kind since the last reset.
  std::size_t calls() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _calls;
  }
  // Atomic writes by file name since the last reset.
  std::map<std::string, int> writes() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _writes;
  }
  void reset() {
    std::lock_guard<std::mutex> lock(_mutex);
    _calls = 0;
    _writes.clear();
  }

 private:
  void count() {
    std::lock_guard<std::mutex> lock(_mutex);
    ++_calls;
  }

  mutable std::mutex _mutex;
  std::size_t _calls = 0;              // guarded by _mutex
  std::map<std::string, int> _writes;  // guarded by _mutex
};

// Counts the requests sent through it.
class CountingHttpClient : public platform::HttpClient {
 public:
  explicit CountingHttpClient(std::unique_ptr<platform::HttpClient> target)
      : _target(std::move(target)) {}

  void send(platform::HttpRequest request, Completion completion) override {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      ++_sent;
    }
    _target->send(std::move(request), std::move(completion));
  }
  platform::CookieAcceptPolicy cookieAcceptPolicy() const override {
    return _target->cookieAcceptPolicy();
  }
  void setCookieAcceptPolicy(platform::CookieAcceptPolicy policy) override {
    _target->setCookieAcceptPolicy(policy);
  }
  std::size_t maxAnswerSize() const override { return _target->maxAnswerSize(); }

  std::size_t sent() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _sent;
  }
  void reset() {
    std::lock_guard<std::mutex> lock(_mutex);
    _sent = 0;
  }

 private:
  std::unique_ptr<platform::HttpClient> _target;
  mutable std::mutex _mutex;
  std::size_t _sent = 0;  // guarded by _mutex
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_E2E_COUNTING_SERVICES_H_
