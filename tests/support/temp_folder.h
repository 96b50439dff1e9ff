// A fresh, empty folder for one test, removed with everything in it when the object goes.
#ifndef PELORIN_TESTS_SUPPORT_TEMP_FOLDER_H_
#define PELORIN_TESTS_SUPPORT_TEMP_FOLDER_H_

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace pelorin::testing {

class TempFolder {
 public:
  TempFolder() {
    const char* base = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
    std::string pattern =
        std::string(base != nullptr && base[0] == '/' ? base : "/tmp") + "/pelorin-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    _path = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return _path; }
  // `name` inside the folder.
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

 private:
  std::string _path;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_TEMP_FOLDER_H_
