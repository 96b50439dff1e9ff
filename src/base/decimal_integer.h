// Reading whole decimal numbers out of texts that come from outside the process (stored
// counters, plug-in parameters, rule members).
//
// Thread safety: stateless; safe from any thread.
#ifndef PELORIN_SRC_BASE_DECIMAL_INTEGER_H_
#define PELORIN_SRC_BASE_DECIMAL_INTEGER_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace pelorin {

// A whole decimal integer: an optional "+" or "-" followed by digits and nothing else (no
// white space). Nothing for any other text or a value outside the 64-bit range.
//
//   parseDecimalInteger("+42")  // 42
//   parseDecimalInteger(" 42")  // nothing
std::optional<std::int64_t> parseDecimalInteger(std::string_view text);

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_DECIMAL_INTEGER_H_
