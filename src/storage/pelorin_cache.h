// The stored copy of the visitor profile: its properties, the domain group they belong to,
// and whether a local change still waits to be written.
//
// Thread safety: a plain value; the engine guards its cache with the global lock.
#ifndef PELORIN_SRC_STORAGE_PELORIN_CACHE_H_
#define PELORIN_SRC_STORAGE_PELORIN_CACHE_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "pelorin/json_value.h"

namespace pelorin {

// Profile properties: a name mapped to its ordered list of values, iterated by name.
using ProfileProperties = std::map<std::string, std::vector<std::string>>;

class PelorinCache {
 public:
  ProfileProperties properties;
  std::optional<std::string> domainGroup;
  bool modified = false;

  // Stores each named entry's values without empty texts, replacing the stored list; entries
  // with an empty name are skipped. Marks the cache modified, even for an empty map.
  //   cache.setProperties({{"city", {"", "Utrecht"}}});  // "city" -> ["Utrecht"]
  void setProperties(const ProfileProperties& newProperties);
  // Appends the values the property does not hold yet, in the given order (a value given
  // twice is added once), and marks the cache modified. An empty name does nothing.
  void addProperties(std::string_view name, const std::vector<std::string>& values);
  // `values` without the empty texts, in their order.
  static std::vector<std::string> filterEmpty(const std::vector<std::string>& values);
  // Whether every named entry is stored already with exactly its values (empty texts
  // aside), so that `setProperties(newProperties)` would leave the properties as they are.
  //   cache.holds({{"city", {"", "Utrecht"}}});  // true when "city" is ["Utrecht"]
  bool holds(const ProfileProperties& newProperties) const;
  // Whether the properties are exactly `newProperties` (empty texts and names aside), as
  // after clearing them and `setProperties(newProperties)`.
  bool holdsExactly(const ProfileProperties& newProperties) const;

  // The stored form: {"properties": {name: [values]}, "domainGroup": text, "modified": bool},
  // "domainGroup" left out when there is none.
  JsonValue toJson() const;
  std::string encode() const;
  // Needs "properties" (an object of string arrays) and "modified" (a boolean); a
  // "domainGroup" that is absent or null means none, any other non-string fails.
  static Result<PelorinCache> fromJson(JsonRef document);
  static Result<PelorinCache> decode(std::string_view text);

  friend bool operator==(const PelorinCache&, const PelorinCache&) = default;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_STORAGE_PELORIN_CACHE_H_
