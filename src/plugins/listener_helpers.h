// Small helpers that the built-in plug-ins share with the rule-driven listeners. They keep
// the listener utilities' names and messages so that they can move there unchanged.
//
// Thread safety: stateless; safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_LISTENER_HELPERS_H_
#define PELORIN_SRC_PLUGINS_LISTENER_HELPERS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pelorin/pelorin_types.h"

namespace pelorin::plugins {

// The "profileproperty" member of the first object of the JSON list held by the parameter
// "property", e.g. [{"profileproperty":"hour"}] gives "hour". Nothing when the parameter is
// missing or empty, its text is not a list of objects with string members (text that is not
// JSON logs "JSON error occurred: ..." with tag "PL_LISTENER_UTIL"), the list is empty, or
// the member is missing or "".
std::optional<std::string> getProfilePropertyFromParameters(const Parameters& parameters);

// The platform clock's current time in whole milliseconds since 1970 (truncated).
std::int64_t currentTimeMillis();
// The same as decimal text, e.g. "1714568531000".
std::string getCurrentTime();

// A whole decimal integer: an optional "+" or "-" followed by digits and nothing else (no
// white space). Nothing for any other text or a value outside the 64-bit range.
std::optional<std::int64_t> parseDecimalInteger(std::string_view text);

}  // namespace pelorin::plugins

#endif  // PELORIN_SRC_PLUGINS_LISTENER_HELPERS_H_
