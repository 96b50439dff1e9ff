// Small text helpers shared by the listener utilities and the rule-driven services.
//
// Thread safety: pure functions.
#ifndef PELORIN_SRC_LISTENERS_TEXT_UTIL_H_
#define PELORIN_SRC_LISTENERS_TEXT_UTIL_H_

#include <string>
#include <string_view>

namespace pelorin::text {

// True for the ASCII white-space characters: space, tab, line feed, vertical tab, form
// feed and carriage return.
constexpr bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// `value` without leading and trailing ASCII white space.
inline std::string_view trim(std::string_view value) {
  while (!value.empty() && isSpace(value.front())) value.remove_prefix(1);
  while (!value.empty() && isSpace(value.back())) value.remove_suffix(1);
  return value;
}

// `value` with the ASCII letters lower-cased; other bytes (UTF-8 sequences included) stay.
inline std::string toLower(std::string_view value) {
  std::string lower(value);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace pelorin::text

#endif  // PELORIN_SRC_LISTENERS_TEXT_UTIL_H_
