// Decodes arbitrary bytes as a stored cache; a cache that decodes must encode and decode
// again to an equal cache, and its properties must hash and update as the cache promises.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "protocol/profile_hash.h"
#include "storage/pelorin_cache.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto decoded = pelorin::PelorinCache::decode(text);
  if (!decoded.ok()) return 0;
  pelorin::PelorinCache cache = std::move(decoded).value();
  auto again = pelorin::PelorinCache::decode(cache.encode());
  if (!again.ok() || !(again.value() == cache)) std::abort();

  (void)pelorin::ProfileHash::getHash(cache.properties);
  pelorin::PelorinCache updated = cache;
  updated.setProperties(cache.properties);
  for (const auto& [name, values] : updated.properties) {
    if (name.empty()) continue;  // set skips empty names, so these stay as decoded
    for (const auto& value : values) {
      if (value.empty()) std::abort();  // set keeps no empty texts
    }
  }
  for (const auto& [name, values] : cache.properties) updated.addProperties(name, values);
  return 0;
}
