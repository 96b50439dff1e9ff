// Decodes arbitrary bytes as a stored commit log; a log that decodes must encode and
// decode again to an equal log.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "storage/pelorin_commit_log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto decoded = pelorin::PelorinCommitLog::decode(text);
  if (!decoded.ok()) return 0;
  auto again = pelorin::PelorinCommitLog::decode(decoded.value().encode());
  if (!again.ok() || !(again.value() == decoded.value())) std::abort();
  pelorin::PelorinCommitLog merged;
  merged.merge(decoded.value());
  return 0;
}
