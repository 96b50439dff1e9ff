// JSON values as the library reads them from servers, parameters, rules and files.
//
// `JsonValue` owns a document; `JsonRef` is a cheap, non-owning view into one (or into
// nothing, for a missing member). Both offer the same read accessors:
//   - lenient ones (`string()`, `integer()`, `number()`, `boolean()`, `get()`, `at()`)
//     that yield "", 0, false or a missing view when the value is absent or of another
//     type, so external data can be read without checks;
//   - optional ones (`asString()`, `asInt()`, `asStringList()`, ...) that yield nothing
//     instead.
// A `JsonValue` is made from a string, a number, a boolean, a list or a map, or parsed from
// text. Nothing here throws (but for running out of memory). Values are not synchronised:
// share them read-only or copy them.
//
//   pelorin::JsonValue rule = pelorin::JsonValue::parse(R"({"words":["sale"]})").value();
//   std::string first = rule["words"][0].string();            // "sale"
//   std::optional<std::string> sel = rule["selector"].asString();  // nothing
//   pelorin::JsonValue made =
//       pelorin::JsonValue::object({{"words", pelorin::JsonValue::array({"sale", "deal"})}});
#ifndef PELORIN_JSON_VALUE_H_
#define PELORIN_JSON_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "pelorin/export.h"

namespace pelorin {

class JsonRef;
class JsonValue;

namespace detail {
// The library's own access to the document behind a value (see src/json/).
struct JsonAccess;
}  // namespace detail

// Read accessors shared by `JsonValue` and `JsonRef`.
template <typename Derived>
class PELORIN_EXPORT JsonReadable {
 public:
  bool exists() const { return node() != nullptr; }
  bool isNull() const;
  bool isBool() const;
  bool isNumber() const;
  // True for numbers without a fractional part that fit in 64 bits.
  bool isInteger() const { return asInt().has_value(); }
  bool isString() const;
  bool isArray() const;
  bool isObject() const;
  // An array whose elements are all objects (an empty array counts).
  bool isArrayOfObjects() const;

  // Lenient accessors: the default of the type when absent or mistyped.
  std::string string() const { return std::string(stringView()); }
  std::string_view stringView() const;
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
  bool contains(std::string_view key) const;
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
  std::optional<bool> asBool() const;
  // An array whose elements are all strings.
  std::optional<std::vector<std::string>> asStringList() const;

  // Compact JSON text (no white space); "null" for a missing value.
  std::string toCompactString() const;
  // Indented JSON text: two spaces per level, " : " between key and value.
  std::string toPrettyString() const;

 private:
  const void* node() const { return static_cast<const Derived*>(this)->node(); }
};

// A non-owning view of a JSON value, or of nothing. Valid while the viewed document lives
// and is not modified.
class PELORIN_EXPORT JsonRef : public JsonReadable<JsonRef> {
 public:
  JsonRef() = default;

 private:
  friend class JsonReadable<JsonRef>;
  friend class JsonValue;
  friend struct detail::JsonAccess;
  explicit JsonRef(const void* node) : _node(node) {}
  const void* node() const { return _node; }

  const void* _node = nullptr;
};

// An owned JSON document.
//
//   JsonValue name = "Ada";                      // a string
//   JsonValue count = 3;                         // a number (also 2.5)
//   JsonValue list = std::vector<std::string>{"a", "b"};
//   JsonValue map = std::map<std::string, int>{{"a", 1}};
//   JsonValue event = JsonValue::object({{"screenName", "home"}, {"count", 2}});
class PELORIN_EXPORT JsonValue : public JsonReadable<JsonValue> {
 public:
  // null
  JsonValue() noexcept;
  JsonValue(std::nullptr_t) noexcept : JsonValue() {}  // NOLINT(google-explicit-constructor)
  JsonValue(bool value) noexcept;                      // NOLINT(google-explicit-constructor)
  template <typename T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && std::is_signed_v<T>)
      JsonValue(T value)
  noexcept  // NOLINT(google-explicit-constructor)
      : JsonValue(SignedTag(), static_cast<std::int64_t>(value)) {}
  template <typename T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && std::is_unsigned_v<T>)
      JsonValue(T value)
  noexcept  // NOLINT(google-explicit-constructor)
      : JsonValue(UnsignedTag(), static_cast<std::uint64_t>(value)) {}
  JsonValue(double value) noexcept;  // NOLINT(google-explicit-constructor)
  JsonValue(float value) noexcept    // NOLINT(google-explicit-constructor)
      : JsonValue(static_cast<double>(value)) {}
  JsonValue(std::string_view text);    // NOLINT(google-explicit-constructor)
  JsonValue(const std::string& text);  // NOLINT(google-explicit-constructor)
  JsonValue(const char* text);         // NOLINT(google-explicit-constructor)
  // Pointers other than C strings would silently become booleans.
  template <typename T>
  requires(!std::is_same_v<std::remove_cv_t<T>, char>) JsonValue(T*)
  = delete;
  // An array of the elements, in order.
  template <typename T>
  requires std::is_constructible_v<JsonValue, const T&> JsonValue(
      const std::vector<T>& elements)  // NOLINT(google-explicit-constructor)
      : JsonValue(array()) {
    reserve(elements.size());
    for (const T& element : elements) append(JsonValue(element));
  }
  // An object with the members, in key order.
  template <typename T, typename Compare>
  requires std::is_constructible_v<JsonValue, const T&> JsonValue(
      const std::map<std::string, T, Compare>& members)  // NOLINT(google-explicit-constructor)
      : JsonValue(object()) {
    for (const auto& [key, value] : members) set(key, JsonValue(value));
  }
  // A copy of the viewed value; null for a missing view.
  explicit JsonValue(JsonRef ref);

  JsonValue(const JsonValue& other);
  JsonValue(JsonValue&& other) noexcept;
  JsonValue& operator=(const JsonValue& other);
  JsonValue& operator=(JsonValue&& other) noexcept;
  ~JsonValue();

  // Parses JSON text. Nothing (and `error`, when given, set to the reason) for text that
  // is not exactly one valid JSON value.
  static std::optional<JsonValue> parse(std::string_view text, std::string* error = nullptr);

  // An array of `elements`, e.g. JsonValue::array({1, "two", true}).
  static JsonValue array(std::initializer_list<JsonValue> elements = {});
  // An object of `members` in the order given (a repeated key keeps its last value), e.g.
  // JsonValue::object({{"name", "Ada"}, {"tags", JsonValue::array({"a"})}}).
  static JsonValue object(
      std::initializer_list<std::pair<std::string_view, JsonValue>> members = {});
  static JsonValue fromStrings(const std::vector<std::string>& values);

  // Sets member `key` of an object to `value`; a value that is not an object becomes an
  // empty object first.
  JsonValue& set(std::string_view key, JsonValue value);
  // Removes member `key` of an object; false when there was none.
  bool erase(std::string_view key);
  // Appends `value` to an array; a value that is not an array becomes an empty array first.
  JsonValue& append(JsonValue value);

  JsonRef ref() const { return JsonRef(node()); }

  bool operator==(const JsonValue& other) const;

 private:
  friend class JsonReadable<JsonValue>;
  friend struct detail::JsonAccess;
  struct SignedTag {};
  struct UnsignedTag {};
  JsonValue(SignedTag tag, std::int64_t value) noexcept;
  JsonValue(UnsignedTag tag, std::uint64_t value) noexcept;
  void reserve(std::size_t count);
  const void* node() const { return static_cast<const void*>(_storage); }

  // The document, held in place (its type is the library's own; see src/json/).
  alignas(8) unsigned char _storage[24];
};

extern template class JsonReadable<JsonRef>;
extern template class JsonReadable<JsonValue>;

}  // namespace pelorin

#endif  // PELORIN_JSON_VALUE_H_
