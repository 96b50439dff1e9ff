#include "pelorin/json_value.h"

#include <boost/json/parse.hpp>

#include "json/json_value_access.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <new>

namespace pelorin {

namespace {

using detail::JsonAccess;

const boost::json::value* rawOf(const void* node) { return JsonAccess::raw(node); }

}  // namespace

template <typename Derived>
bool JsonReadable<Derived>::isNull() const {
  return node() == nullptr || rawOf(node())->is_null();
}

template <typename Derived>
bool JsonReadable<Derived>::isBool() const {
  return node() != nullptr && rawOf(node())->is_bool();
}

template <typename Derived>
bool JsonReadable<Derived>::isNumber() const {
  return node() != nullptr && rawOf(node())->is_number();
}

template <typename Derived>
bool JsonReadable<Derived>::isString() const {
  return node() != nullptr && rawOf(node())->is_string();
}

template <typename Derived>
bool JsonReadable<Derived>::isArray() const {
  return node() != nullptr && rawOf(node())->is_array();
}

template <typename Derived>
bool JsonReadable<Derived>::isObject() const {
  return node() != nullptr && rawOf(node())->is_object();
}

template <typename Derived>
std::string_view JsonReadable<Derived>::stringView() const {
  const auto* s = node() != nullptr ? rawOf(node())->if_string() : nullptr;
  return s != nullptr ? std::string_view(s->data(), s->size()) : std::string_view();
}

template <typename Derived>
std::optional<bool> JsonReadable<Derived>::asBool() const {
  const auto* b = node() != nullptr ? rawOf(node())->if_bool() : nullptr;
  if (b == nullptr) return std::nullopt;
  return *b;
}

template <typename Derived>
bool JsonReadable<Derived>::contains(std::string_view key) const {
  return get(key).exists();
}

template <typename Derived>
std::int64_t JsonReadable<Derived>::integer() const {
  if (auto v = asInt()) return *v;
  if (auto d = asDouble()) {
    if (std::isfinite(*d) && *d >= -9.2233720368547758e18 && *d < 9.2233720368547758e18) {
      return static_cast<std::int64_t>(*d);
    }
  }
  return 0;
}

template <typename Derived>
std::optional<std::int64_t> JsonReadable<Derived>::asInt() const {
  const boost::json::value* v = rawOf(node());
  if (v == nullptr) return std::nullopt;
  if (const auto* i = v->if_int64()) return *i;
  if (const auto* u = v->if_uint64()) {
    if (*u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      return static_cast<std::int64_t>(*u);
    }
    return std::nullopt;
  }
  if (const auto* d = v->if_double()) {
    // JSON has one number type: 3.0 is an integer, 3.5 and 1e300 are not.
    if (std::isfinite(*d) && std::trunc(*d) == *d && *d >= -9.2233720368547758e18 &&
        *d < 9.2233720368547758e18) {
      return static_cast<std::int64_t>(*d);
    }
  }
  return std::nullopt;
}

template <typename Derived>
std::optional<double> JsonReadable<Derived>::asDouble() const {
  const boost::json::value* v = rawOf(node());
  if (v == nullptr) return std::nullopt;
  if (const auto* d = v->if_double()) return *d;
  if (const auto* i = v->if_int64()) return static_cast<double>(*i);
  if (const auto* u = v->if_uint64()) return static_cast<double>(*u);
  return std::nullopt;
}

template <typename Derived>
std::size_t JsonReadable<Derived>::size() const {
  const boost::json::value* v = rawOf(node());
  if (v == nullptr) return 0;
  if (const auto* a = v->if_array()) return a->size();
  if (const auto* o = v->if_object()) return o->size();
  return 0;
}

template <typename Derived>
JsonRef JsonReadable<Derived>::get(std::string_view key) const {
  const boost::json::value* v = rawOf(node());
  const auto* o = v != nullptr ? v->if_object() : nullptr;
  if (o == nullptr) return JsonRef();
  return JsonAccess::ref(o->if_contains(boost::json::string_view(key.data(), key.size())));
}

template <typename Derived>
JsonRef JsonReadable<Derived>::operator[](std::string_view key) const {
  return get(key);
}

template <typename Derived>
JsonRef JsonReadable<Derived>::at(std::size_t index) const {
  const boost::json::value* v = rawOf(node());
  const auto* a = v != nullptr ? v->if_array() : nullptr;
  if (a == nullptr || index >= a->size()) return JsonRef();
  return JsonAccess::ref(&(*a)[index]);
}

template <typename Derived>
JsonRef JsonReadable<Derived>::operator[](std::size_t index) const {
  return at(index);
}

template <typename Derived>
std::vector<JsonRef> JsonReadable<Derived>::elements() const {
  std::vector<JsonRef> result;
  const boost::json::value* v = rawOf(node());
  if (const auto* a = v != nullptr ? v->if_array() : nullptr) {
    result.reserve(a->size());
    for (const auto& element : *a) result.push_back(JsonAccess::ref(&element));
  }
  return result;
}

template <typename Derived>
std::vector<std::pair<std::string_view, JsonRef>> JsonReadable<Derived>::members() const {
  std::vector<std::pair<std::string_view, JsonRef>> result;
  const boost::json::value* v = rawOf(node());
  if (const auto* o = v != nullptr ? v->if_object() : nullptr) {
    result.reserve(o->size());
    for (const auto& member : *o) {
      result.emplace_back(std::string_view(member.key().data(), member.key().size()),
                          JsonAccess::ref(&member.value()));
    }
  }
  return result;
}

template <typename Derived>
bool JsonReadable<Derived>::isArrayOfObjects() const {
  const boost::json::value* v = rawOf(node());
  const auto* a = v != nullptr ? v->if_array() : nullptr;
  if (a == nullptr) return false;
  for (const auto& element : *a) {
    if (!element.is_object()) return false;
  }
  return true;
}

template <typename Derived>
std::optional<std::vector<std::string>> JsonReadable<Derived>::asStringList() const {
  const boost::json::value* v = rawOf(node());
  const auto* a = v != nullptr ? v->if_array() : nullptr;
  if (a == nullptr) return std::nullopt;
  std::vector<std::string> result;
  result.reserve(a->size());
  for (const auto& element : *a) {
    const auto* s = element.if_string();
    if (s == nullptr) return std::nullopt;
    result.emplace_back(s->data(), s->size());
  }
  return result;
}

template <typename Derived>
std::string JsonReadable<Derived>::toCompactString() const {
  const boost::json::value* v = rawOf(node());
  return v != nullptr ? serializeJson(*v, false) : std::string("null");
}

template <typename Derived>
std::string JsonReadable<Derived>::toPrettyString() const {
  const boost::json::value* v = rawOf(node());
  return v != nullptr ? serializeJson(*v, true) : std::string("null");
}

template class JsonReadable<JsonRef>;
template class JsonReadable<JsonValue>;

namespace {

boost::json::value* place(unsigned char* storage) {
  return std::launder(reinterpret_cast<boost::json::value*>(storage));
}

}  // namespace

JsonValue::JsonValue() noexcept { new (_storage) boost::json::value(); }
JsonValue::JsonValue(bool value) noexcept { new (_storage) boost::json::value(value); }
JsonValue::JsonValue(SignedTag /*tag*/, std::int64_t value) noexcept {
  new (_storage) boost::json::value(value);
}
JsonValue::JsonValue(UnsignedTag /*tag*/, std::uint64_t value) noexcept {
  new (_storage) boost::json::value(value);
}
JsonValue::JsonValue(double value) noexcept { new (_storage) boost::json::value(value); }
JsonValue::JsonValue(std::string_view text) {
  new (_storage) boost::json::value(boost::json::string_view(text.data(), text.size()));
}
JsonValue::JsonValue(const std::string& text) : JsonValue(std::string_view(text)) {}
JsonValue::JsonValue(const char* text) : JsonValue(std::string_view(text)) {}
JsonValue::JsonValue(JsonRef ref) {
  const boost::json::value* viewed = JsonAccess::raw(ref);
  if (viewed != nullptr) {
    new (_storage) boost::json::value(*viewed);
  } else {
    new (_storage) boost::json::value();
  }
}
JsonValue::JsonValue(const JsonValue& other) {
  new (_storage) boost::json::value(*JsonAccess::raw(other));
}
JsonValue::JsonValue(JsonValue&& other) noexcept {
  new (_storage) boost::json::value(std::move(*place(other._storage)));
}
JsonValue& JsonValue::operator=(const JsonValue& other) {
  if (this != &other) *place(_storage) = *JsonAccess::raw(other);
  return *this;
}
JsonValue& JsonValue::operator=(JsonValue&& other) noexcept {
  if (this != &other) *place(_storage) = std::move(*place(other._storage));
  return *this;
}
JsonValue::~JsonValue() { place(_storage)->~value(); }

bool JsonValue::operator==(const JsonValue& other) const {
  return *JsonAccess::raw(*this) == *JsonAccess::raw(other);
}

std::optional<JsonValue> JsonValue::parse(std::string_view text, std::string* error) {
  boost::json::error_code ec;
  boost::json::value value =
      boost::json::parse(boost::json::string_view(text.data(), text.size()), ec);
  if (ec) {
    if (error != nullptr) *error = ec.message();
    return std::nullopt;
  }
  return toJsonValue(std::move(value));
}

JsonValue JsonValue::fromStrings(const std::vector<std::string>& values) {
  boost::json::array array;
  array.reserve(values.size());
  for (const auto& value : values)
    array.emplace_back(boost::json::string_view(value.data(), value.size()));
  return toJsonValue(std::move(array));
}

JsonValue JsonValue::array(std::initializer_list<JsonValue> elements) {
  boost::json::array array;
  array.reserve(elements.size());
  for (const JsonValue& element : elements) array.push_back(*JsonAccess::raw(element));
  return toJsonValue(std::move(array));
}

JsonValue JsonValue::object(std::initializer_list<std::pair<std::string_view, JsonValue>> members) {
  boost::json::object object;
  object.reserve(members.size());
  for (const auto& [key, value] : members) {
    object[boost::json::string_view(key.data(), key.size())] = *JsonAccess::raw(value);
  }
  return toJsonValue(std::move(object));
}

JsonValue& JsonValue::set(std::string_view key, JsonValue value) {
  boost::json::value& self = *place(_storage);
  if (!self.is_object()) self.emplace_object();
  self.get_object()[boost::json::string_view(key.data(), key.size())] =
      std::move(*place(value._storage));
  return *this;
}

bool JsonValue::erase(std::string_view key) {
  auto* object = place(_storage)->if_object();
  return object != nullptr && object->erase(boost::json::string_view(key.data(), key.size())) > 0;
}

JsonValue& JsonValue::append(JsonValue value) {
  boost::json::value& self = *place(_storage);
  if (!self.is_array()) self.emplace_array();
  self.get_array().push_back(std::move(*place(value._storage)));
  return *this;
}

void JsonValue::reserve(std::size_t count) {
  if (auto* array = place(_storage)->if_array()) array->reserve(count);
}

}  // namespace pelorin
