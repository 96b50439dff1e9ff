// A fresh folder under the system's temporary folder, removed with everything in it at the
// end of the test.
#ifndef PELORIN_TESTS_E2E_TEMP_DIR_H_
#define PELORIN_TESTS_E2E_TEMP_DIR_H_

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace pelorin::testing {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pelorin-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) _path = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!_path.empty()) std::filesystem::remove_all(_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_E2E_TEMP_DIR_H_
