#include "base/decimal_integer.h"

#include <charconv>
#include <system_error>

namespace pelorin {

std::optional<std::int64_t> parseDecimalInteger(std::string_view text) {
  // from_chars takes a leading "-" but not a "+".
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return std::nullopt;
  }
  if (text.empty()) return std::nullopt;
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  auto [next, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || next != end) return std::nullopt;
  return value;
}

}  // namespace pelorin
