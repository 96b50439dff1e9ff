// UTF-8 helpers for text that crosses the library's boundary.
#ifndef PELORIN_SRC_JSON_UTF8_H_
#define PELORIN_SRC_JSON_UTF8_H_

#include <string_view>

namespace pelorin {

// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates, at most U+10FFFF).
bool isValidUtf8(std::string_view text);

}  // namespace pelorin

#endif  // PELORIN_SRC_JSON_UTF8_H_
