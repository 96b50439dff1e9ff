// Decodes arbitrary bytes as a stored cache, directly and as the data manager loads it from
// the library's folder. A cache that decodes must encode and decode again to an equal
// cache, be stored and loaded back unchanged, and its properties must hash and update as
// the cache promises.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "config/constants.h"
#include "fuzz_support.h"
#include "protocol/profile_hash.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_data_manager.h"

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::FuzzPlatform& platform = fuzzing::offlineFuzzPlatform();
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto decoded = pelorin::PelorinCache::decode(text);

  // The data manager's load: the same outcome, and a file that does not decode is kept
  // aside under its name + ".corrupt".
  const std::string& fileName = Constants::Files::CACHE;
  (void)platform.files->writeFileAtomically(fuzzing::storedFilePath(fileName), text);
  auto loaded = PelorinDataManager::loadFromFile<PelorinCache>(fileName);
  if (loaded.has_value() != decoded.ok()) std::abort();
  if (!decoded.ok()) {
    std::string moved;
    if (!platform.files->readFile(fuzzing::storedFilePath(fileName + ".corrupt"), &moved).isOk() ||
        moved != text) {
      std::abort();
    }
    return 0;
  }
  if (!(*loaded == decoded.value())) std::abort();

  pelorin::PelorinCache cache = std::move(decoded).value();
  auto again = pelorin::PelorinCache::decode(cache.encode());
  if (!again.ok() || !(again.value() == cache)) std::abort();

  PelorinDataManager::writeToFile(cache, fileName);
  if (PelorinDataManager::encodeForFile(cache, fileName)) {
    auto stored = PelorinDataManager::loadFromFile<PelorinCache>(fileName);
    if (!stored || !(*stored == cache)) std::abort();
  }

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
