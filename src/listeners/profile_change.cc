#include "listeners/profile_change.h"

#include "base/describe.h"

namespace pelorin {

std::string_view toString(Method method) {
  switch (method) {
    case Method::add:
      return "add";
    case Method::merge:
      return "merge";
    case Method::set:
      return "set";
  }
  return "set";
}

std::optional<Method> methodFromString(std::string_view name) {
  for (Method method : {Method::add, Method::merge, Method::set}) {
    if (toString(method) == name) return method;
  }
  return std::nullopt;
}

std::string ProfileChange::description() const {
  std::string text = "Property: ";
  text += property;
  text += ", values ";
  text += describe(values);
  text += ", method: ";
  text += toString(method);
  return text;
}

}  // namespace pelorin
