// A value or the reason there is none, for operations that can fail on outside data.
#ifndef PELORIN_SRC_BASE_RESULT_H_
#define PELORIN_SRC_BASE_RESULT_H_

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace pelorin {

// Why an operation produced nothing. `message` is the human-readable description that
// log lines append (e.g. "Unable to decode data! " + message).
struct Error {
  std::string message;
};

template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : _state(std::move(value)) {}      // NOLINT(google-explicit-constructor)
  Result(Error error) : _state(std::move(error)) {}  // NOLINT(google-explicit-constructor)

  bool ok() const { return _state.index() == 0; }
  explicit operator bool() const { return ok(); }

  const T& value() const& {
    assert(ok());
    return std::get<0>(_state);
  }
  T& value() & {
    assert(ok());
    return std::get<0>(_state);
  }
  T&& value() && {
    assert(ok());
    return std::get<0>(std::move(_state));
  }
  const Error& error() const {
    assert(!ok());
    return std::get<1>(_state);
  }

 private:
  std::variant<T, Error> _state;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_RESULT_H_
