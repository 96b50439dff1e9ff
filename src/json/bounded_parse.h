// Parsing of outside JSON (server answers) with a bound on the memory it takes: the
// document and the parser's own stack both draw from one counting resource that refuses
// past a cap, so an answer made of many tiny elements cannot grow many times its size.
#ifndef PELORIN_JSON_BOUNDED_PARSE_H_
#define PELORIN_JSON_BOUNDED_PARSE_H_

#include <boost/json/memory_resource.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "json/json_value_access.h"
#include "pelorin/json_value.h"

namespace pelorin::json {

// Counts the bytes it hands out and throws `std::bad_alloc` past its budget's cap until the
// budget is lifted; once lifted it only forwards to the global allocator (and no longer
// touches the counters, so a document it backs may move to another thread). The budget is
// shared: Boost.JSON's shared resources hold their own copy of the resource, and whoever
// made it reads the counters and lifts the cap through the budget.
class CappedMemoryResource final : public boost::json::memory_resource {
 public:
  struct Budget {
    std::size_t cap = 0;
    std::size_t inUse = 0;
    std::size_t peak = 0;
    bool lifted = false;
  };

  explicit CappedMemoryResource(std::size_t cap)
      : _budget(std::make_shared<Budget>(Budget{.cap = cap})) {}
  explicit CappedMemoryResource(std::shared_ptr<Budget> budget) : _budget(std::move(budget)) {}

  void lift() { _budget->lifted = true; }
  std::size_t inUse() const { return _budget->inUse; }
  std::size_t peak() const { return _budget->peak; }

 private:
  void* do_allocate(std::size_t bytes, std::size_t align) override;
  void do_deallocate(void* p, std::size_t bytes, std::size_t align) override;
  bool do_is_equal(const boost::json::memory_resource& other) const noexcept override {
    return this == &other;
  }

  std::shared_ptr<Budget> _budget;
};

// Parses `text` as `JsonValue::parse` does, with at most `memoryLimit` bytes allocated at any
// time while parsing. Past the limit: nothing, and `error` names the limit. The document
// returned has no limit on later edits. `peakBytes`, when given, receives the most bytes
// held at once while parsing.
std::optional<JsonValue> parseBounded(std::string_view text, std::size_t memoryLimit,
                                      std::string* error = nullptr,
                                      std::size_t* peakBytes = nullptr);

// The error text of a parse stopped at `memoryLimit`.
std::string memoryLimitMessage(std::size_t memoryLimit);

}  // namespace pelorin::json

#endif  // PELORIN_JSON_BOUNDED_PARSE_H_
