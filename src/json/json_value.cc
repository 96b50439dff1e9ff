#include "pelorin/json_value.h"

#include <boost/json/parse.hpp>

#include <charconv>
#include <cmath>
#include <limits>

namespace pelorin {

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
  const boost::json::value* v = ptr();
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
  const boost::json::value* v = ptr();
  if (v == nullptr) return std::nullopt;
  if (const auto* d = v->if_double()) return *d;
  if (const auto* i = v->if_int64()) return static_cast<double>(*i);
  if (const auto* u = v->if_uint64()) return static_cast<double>(*u);
  return std::nullopt;
}

template <typename Derived>
std::size_t JsonReadable<Derived>::size() const {
  const boost::json::value* v = ptr();
  if (v == nullptr) return 0;
  if (const auto* a = v->if_array()) return a->size();
  if (const auto* o = v->if_object()) return o->size();
  return 0;
}

template <typename Derived>
JsonRef JsonReadable<Derived>::get(std::string_view key) const {
  const boost::json::value* v = ptr();
  const auto* o = v != nullptr ? v->if_object() : nullptr;
  if (o == nullptr) return JsonRef();
  return JsonRef(o->if_contains(boost::json::string_view(key.data(), key.size())));
}

template <typename Derived>
JsonRef JsonReadable<Derived>::operator[](std::string_view key) const {
  return get(key);
}

template <typename Derived>
JsonRef JsonReadable<Derived>::at(std::size_t index) const {
  const boost::json::value* v = ptr();
  const auto* a = v != nullptr ? v->if_array() : nullptr;
  if (a == nullptr || index >= a->size()) return JsonRef();
  return JsonRef(&(*a)[index]);
}

template <typename Derived>
JsonRef JsonReadable<Derived>::operator[](std::size_t index) const {
  return at(index);
}

template <typename Derived>
std::vector<JsonRef> JsonReadable<Derived>::elements() const {
  std::vector<JsonRef> result;
  const boost::json::value* v = ptr();
  if (const auto* a = v != nullptr ? v->if_array() : nullptr) {
    result.reserve(a->size());
    for (const auto& element : *a) result.emplace_back(&element);
  }
  return result;
}

template <typename Derived>
std::vector<std::pair<std::string_view, JsonRef>> JsonReadable<Derived>::members() const {
  std::vector<std::pair<std::string_view, JsonRef>> result;
  const boost::json::value* v = ptr();
  if (const auto* o = v != nullptr ? v->if_object() : nullptr) {
    result.reserve(o->size());
    for (const auto& member : *o) {
      result.emplace_back(std::string_view(member.key().data(), member.key().size()),
                          JsonRef(&member.value()));
    }
  }
  return result;
}

template <typename Derived>
bool JsonReadable<Derived>::isArrayOfObjects() const {
  const boost::json::value* v = ptr();
  const auto* a = v != nullptr ? v->if_array() : nullptr;
  if (a == nullptr) return false;
  for (const auto& element : *a) {
    if (!element.is_object()) return false;
  }
  return true;
}

template <typename Derived>
std::optional<std::vector<std::string>> JsonReadable<Derived>::asStringList() const {
  const boost::json::value* v = ptr();
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
  const boost::json::value* v = ptr();
  return v != nullptr ? serializeJson(*v, false) : std::string("null");
}

template <typename Derived>
std::string JsonReadable<Derived>::toPrettyString() const {
  const boost::json::value* v = ptr();
  return v != nullptr ? serializeJson(*v, true) : std::string("null");
}

template class JsonReadable<JsonRef>;
template class JsonReadable<JsonValue>;

std::optional<JsonValue> JsonValue::parse(std::string_view text, std::string* error) {
  boost::json::error_code ec;
  boost::json::value value =
      boost::json::parse(boost::json::string_view(text.data(), text.size()), ec);
  if (ec) {
    if (error != nullptr) *error = ec.message();
    return std::nullopt;
  }
  return JsonValue(std::move(value));
}

JsonValue JsonValue::fromStrings(const std::vector<std::string>& values) {
  boost::json::array array;
  array.reserve(values.size());
  for (const auto& value : values)
    array.emplace_back(boost::json::string_view(value.data(), value.size()));
  return JsonValue(std::move(array));
}

}  // namespace pelorin
