// Texts of lists and maps for log lines, in the bracketed form the server-side tools know:
// ["a", "b"] and ["key": ["a"]].
#ifndef PELORIN_SRC_BASE_DESCRIBE_H_
#define PELORIN_SRC_BASE_DESCRIBE_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/chunked_map.h"

namespace pelorin {

// "text" with quotes and back-slashes escaped.
std::string describe(std::string_view text);
// ["a", "b"]; [] when empty.
std::string describe(const std::vector<std::string>& values);
// ["key": ["a"], "other": []]; [:] when empty.
std::string describe(const std::map<std::string, std::vector<std::string>>& map);
std::string describe(const ChunkedMap<std::vector<std::string>>& map);

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_DESCRIBE_H_
