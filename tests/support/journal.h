// What the plug-ins of a test did, in order, across threads: test plug-ins write an entry
// for each call, tests read the entries back.
//
// Thread safety: every method may be called from any thread.
#ifndef PELORIN_TESTS_SUPPORT_JOURNAL_H_
#define PELORIN_TESTS_SUPPORT_JOURNAL_H_

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace pelorin::testing {

class Journal {
 public:
  void add(std::string entry) {
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(std::move(entry));
  }
  std::vector<std::string> entries() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _entries;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.clear();
  }

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _entries;
};

// The journal of the process; a test that reads it clears it first.
inline Journal& journal() {
  static auto* instance = new Journal;  // plug-ins live as long as the process
  return *instance;
}

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_JOURNAL_H_
