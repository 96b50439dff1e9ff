// A profile change that a rule-driven service found and has not written yet, and the ways
// it can be written.
//
// Thread safety: plain values.
#ifndef PELORIN_SRC_LISTENERS_PROFILE_CHANGE_H_
#define PELORIN_SRC_LISTENERS_PROFILE_CHANGE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pelorin {

// How a change is written: appended to the property, summed with its current number, or
// replacing its values.
enum class Method { add, merge, set };  // NOLINT(readability-identifier-naming): rule words

// "add", "merge" or "set".
std::string_view toString(Method method);
// The method named exactly `name` ("Set" is none of them); nothing otherwise.
std::optional<Method> methodFromString(std::string_view name);

struct ProfileChange {
  std::string property;
  std::vector<std::string> values;
  Method method = Method::set;

  // "Property: city, values [\"Utrecht\"], method: set".
  std::string description() const;

  friend bool operator==(const ProfileChange&, const ProfileChange&) = default;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_PROFILE_CHANGE_H_
