// A short fingerprint of the profile properties held on the device, sent with
// "getProperties" so the server can tell whether the device's copy is current.
//
// Thread safety: stateless; call from any thread.
#ifndef PELORIN_SRC_PROTOCOL_PROFILE_HASH_H_
#define PELORIN_SRC_PROTOCOL_PROFILE_HASH_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/chunked_map.h"

namespace pelorin {

class ProfileHash {
 public:
  using Properties = ChunkedMap<std::vector<std::string>>;

  // The sum of the Unicode scalar values of the text's characters; 0 for none or "".
  // The text is read as UTF-8; each ill-formed part (a maximal subpart, as a UTF-8 decoder
  // replaces it) counts as U+FFFD, 65533. A sum past the 64-bit range is logged and
  // gives 0.
  static std::int64_t getHash(std::optional<std::string_view> text);
  // For each property, in the map's order: (name's sum + every value's sum) modulo 10000
  // in decimal, then ";". "" for no map or an empty one.
  //   {"a": ["b", "c"]} -> "294;"
  // A property whose sum passes the 64-bit range is logged and contributes no piece.
  static std::string getHash(const Properties& properties);
  static std::string getHash(const std::map<std::string, std::vector<std::string>>& properties);
  static std::string getHash(const std::optional<Properties>& properties);

  // `sum` plus the text's sum; nothing when the result would pass the 64-bit range.
  static std::optional<std::int64_t> addTextSum(std::int64_t sum, std::string_view text);
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PROTOCOL_PROFILE_HASH_H_
