// The library's own access to the Boost.JSON document behind a `JsonValue` or `JsonRef`,
// for code that reads or builds documents with Boost.JSON.
#ifndef PELORIN_SRC_JSON_JSON_VALUE_ACCESS_H_
#define PELORIN_SRC_JSON_JSON_VALUE_ACCESS_H_

#include <new>
#include <string>
#include <utility>

#include <boost/json/value.hpp>

#include "pelorin/json_value.h"

namespace pelorin {

namespace detail {

struct JsonAccess {
  static const boost::json::value* raw(const void* node) {
    return static_cast<const boost::json::value*>(node);
  }
  static const boost::json::value* raw(const JsonRef& ref) { return raw(ref.node()); }
  static const boost::json::value* raw(const JsonValue& value) { return raw(value.node()); }
  static boost::json::value& mutableRaw(JsonValue& value) {
    return *std::launder(reinterpret_cast<boost::json::value*>(value._storage));
  }
  static JsonRef ref(const boost::json::value* value) { return JsonRef(value); }
};

}  // namespace detail

static_assert(sizeof(boost::json::value) <= 24 && alignof(boost::json::value) <= 8,
              "JsonValue's storage holds a boost::json::value");

// The viewed value, or nullptr for a missing view.
inline const boost::json::value* rawJson(const JsonRef& ref) {
  return detail::JsonAccess::raw(ref);
}
// The value itself (never nullptr).
inline const boost::json::value* rawJson(const JsonValue& value) {
  return detail::JsonAccess::raw(value);
}
inline boost::json::value& mutableRawJson(JsonValue& value) {
  return detail::JsonAccess::mutableRaw(value);
}
// A view of `value`; a missing view for nullptr.
inline JsonRef jsonRef(const boost::json::value* value) { return detail::JsonAccess::ref(value); }
inline JsonRef jsonRef(const boost::json::value& value) { return detail::JsonAccess::ref(&value); }
// A document owning `value`.
inline JsonValue toJsonValue(boost::json::value value) {
  JsonValue result;
  mutableRawJson(result) = std::move(value);
  return result;
}

// Writes `value` as JSON text. Numbers are written in the shortest form that reads back
// as the same value (integers without a fraction, doubles as e.g. 2.5 or 1e+100).
std::string serializeJson(const boost::json::value& value, bool pretty);

}  // namespace pelorin

#endif  // PELORIN_SRC_JSON_JSON_VALUE_ACCESS_H_
