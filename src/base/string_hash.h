// Transparent hashing so maps keyed by std::string can be searched with a string_view.
#ifndef PELORIN_SRC_BASE_STRING_HASH_H_
#define PELORIN_SRC_BASE_STRING_HASH_H_

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace pelorin {

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
};

template <typename V>
using StringMap = std::unordered_map<std::string, V, StringHash, std::equal_to<>>;

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_STRING_HASH_H_
