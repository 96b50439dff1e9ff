// JSON values as the library reads them from servers, parameters, rules and files.
//
// `JsonValue` owns a document; `JsonRef` is a cheap, non-owning view into one (or into
// nothing, for a missing member). Both offer the same read accessors:
//   - lenient ones (`string()`, `integer()`, `number()`, `boolean()`, `get()`, `at()`)
//     that yield "", 0, false or a missing view when the value is absent or of another
//     type, so external data can be read without checks;
//   - optional ones (`asString()`, `asInt()`, `asStringList()`, ...) that yield nothing
//     instead.
// Nothing here throws. Values are not synchronised: share them read-only or copy them.
//
//   pelorin::JsonValue rule = pelorin::JsonValue::parse(R"({"words":["sale"]})").value();
//   std::string first = rule["words"][0].string();            // "sale"
//   std::optional<std::string> sel = rule["selector"].asString();  // nothing
#ifndef PELORIN_JSON_VALUE_H_
#define PELORIN_JSON_VALUE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json/value.hpp>

namespace pelorin {

class JsonRef;

// Read accessors shared by `JsonValue` and `JsonRef`. `Derived::raw()` yields the
// viewed value or nullptr when there is none.
template <typename Derived>
class JsonReadable {
 public:
  bool exists() const { return ptr() != nullptr; }
  bool isNull() const { return ptr() == nullptr || ptr()->is_null(); }
  bool isBool() const { return ptr() != nullptr && ptr()->is_bool(); }
  bool isNumber() const { return ptr() != nullptr && ptr()->is_number(); }
  // True for numbers without a fractional part that fit in 64 bits.
  bool isInteger() const { return asInt().has_value(); }
  bool isString() const { return ptr() != nullptr && ptr()->is_string(); }
  bool isArray() const { return ptr() != nullptr && ptr()->is_array(); }
  bool isObject() const { return ptr() != nullptr && ptr()->is_object(); }
  // An array whose elements are all objects (an empty array counts).
  bool isArrayOfObjects() const;

  // Lenient accessors: the default of the type when absent or mistyped.
  std::string string() const { return std::string(stringView()); }
  std::string_view stringView() const {
    const auto* s = ptr() != nullptr ? ptr()->if_string() : nullptr;
    return s != nullptr ? std::string_view(s->data(), s->size()) : std::string_view();
  }
  // Integral value of a number (a double is truncated toward zero when it fits); 0 otherwise.
  std::int64_t integer() const;
  double number() const { return asDouble().value_or(0.0); }
  bool boolean() const { return asBool().value_or(false); }
  // Number of elements of an array or members of an object; 0 otherwise.
  std::size_t size() const;
  bool empty() const { return size() == 0; }
  // Member of an object; a missing view when absent or not an object.
  JsonRef get(std::string_view key) const;
  JsonRef operator[](std::string_view key) const;
  // Element of an array; a missing view when out of range or not an array.
  JsonRef at(std::size_t index) const;
  JsonRef operator[](std::size_t index) const;
  bool contains(std::string_view key) const { return get(key).exists(); }
  // Elements of an array (empty otherwise), in order.
  std::vector<JsonRef> elements() const;
  // Members of an object (empty otherwise), in document order.
  std::vector<std::pair<std::string_view, JsonRef>> members() const;

  // Optional accessors: nothing when absent or mistyped.
  std::optional<std::string> asString() const {
    if (!isString()) return std::nullopt;
    return string();
  }
  std::optional<std::int64_t> asInt() const;
  std::optional<double> asDouble() const;
  std::optional<bool> asBool() const {
    if (!isBool()) return std::nullopt;
    return ptr()->get_bool();
  }
  // An array whose elements are all strings.
  std::optional<std::vector<std::string>> asStringList() const;

  // Compact JSON text (no white space); "null" for a missing value.
  std::string toCompactString() const;
  // Indented JSON text: two spaces per level, " : " between key and value.
  std::string toPrettyString() const;

  // The underlying Boost.JSON value, or nullptr.
  const boost::json::value* raw() const { return ptr(); }

 private:
  const boost::json::value* ptr() const { return static_cast<const Derived*>(this)->rawPtr(); }
};

// A non-owning view of a JSON value, or of nothing. Valid while the viewed document lives
// and is not modified.
class JsonRef : public JsonReadable<JsonRef> {
 public:
  JsonRef() = default;
  explicit JsonRef(const boost::json::value* value) : _value(value) {}
  const boost::json::value* rawPtr() const { return _value; }

 private:
  const boost::json::value* _value = nullptr;
};

// An owned JSON document.
class JsonValue : public JsonReadable<JsonValue> {
 public:
  JsonValue() = default;  // null
  JsonValue(boost::json::value value)
      : _value(std::move(value)) {}  // NOLINT(google-explicit-constructor)
  explicit JsonValue(JsonRef ref) : _value(ref.exists() ? *ref.raw() : boost::json::value()) {}

  // Parses JSON text. Nothing (and `error`, when given, set to the reason) for text that
  // is not exactly one valid JSON value.
  static std::optional<JsonValue> parse(std::string_view text, std::string* error = nullptr);

  // Builders for code that assembles documents.
  static JsonValue object() { return JsonValue(boost::json::object()); }
  static JsonValue array() { return JsonValue(boost::json::array()); }
  static JsonValue fromStrings(const std::vector<std::string>& values);

  const boost::json::value* rawPtr() const { return &_value; }
  boost::json::value& mutableRaw() { return _value; }
  JsonRef ref() const { return JsonRef(&_value); }

  friend bool operator==(const JsonValue& a, const JsonValue& b) { return a._value == b._value; }

 private:
  boost::json::value _value;
};

// Writes `value` as JSON text. Numbers are written in the shortest form that reads back
// as the same value (integers without a fraction, doubles as e.g. 2.5 or 1e+100).
std::string serializeJson(const boost::json::value& value, bool pretty);

extern template class JsonReadable<JsonRef>;
extern template class JsonReadable<JsonValue>;

}  // namespace pelorin

#endif  // PELORIN_JSON_VALUE_H_
