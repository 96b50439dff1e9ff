// Decodes arbitrary bytes as a stored commit log, directly and as the data manager loads
// it from the library's folder. A log that decodes must encode and decode again to an
// equal log, be stored and loaded back unchanged, and make an update batch as the engine
// makes one from the logs it loaded at start-up.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "config/constants.h"
#include "fuzz_support.h"
#include "protocol/pelorin_connector.h"
#include "storage/pelorin_commit_log.h"
#include "storage/pelorin_data_manager.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

// The event commands the log's entries would make, saturating at `limit`.
std::int64_t eventCommands(const PelorinCommitLog& log, std::int64_t limit) {
  std::int64_t total = 0;
  for (const auto& event : log.events()) {
    total += std::clamp<std::int64_t>(event.count(), 0, limit);
    if (total >= limit) return limit;
  }
  return total;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::FuzzPlatform& platform = fuzzing::offlineFuzzPlatform();
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto decoded = PelorinCommitLog::decode(text);

  // The data manager's load: the same outcome, and a file that does not decode is kept
  // aside under its name + ".corrupt".
  const std::string& fileName = Constants::Files::COMMITLOG;
  (void)platform.files->writeFileAtomically(fuzzing::storedFilePath(fileName), text);
  auto loaded = PelorinDataManager::loadFromFile<PelorinCommitLog>(fileName);
  if (loaded.has_value() != decoded.ok()) std::abort();
  std::string moved;
  const bool keptAside =
      platform.files->readFile(fuzzing::storedFilePath(fileName + ".corrupt"), &moved).isOk() &&
      moved == text;
  if (!decoded.ok()) {
    if (!keptAside) std::abort();
    return 0;
  }
  if (!(*loaded == decoded.value())) std::abort();

  auto again = PelorinCommitLog::decode(decoded.value().encode());
  if (!again.ok() || !(again.value() == decoded.value())) std::abort();

  PelorinDataManager::writeToFile(decoded.value(), fileName);
  if (PelorinDataManager::encodeForFile(decoded.value(), fileName)) {
    auto stored = PelorinDataManager::loadFromFile<PelorinCommitLog>(fileName);
    if (!stored || !(*stored == decoded.value())) std::abort();
  }

  // The engine merges the pending log into the request log and sends its entries. A damaged
  // log may ask for millions of event commands (the engine sends them in batches of
  // MAX_EVENT_COMMANDS_PER_BATCH): correct, but too slow to build on every run here.
  PelorinCommitLog request;
  request.merge(decoded.value());
  if (eventCommands(request, 20001) > 20000) return 0;
  auto commands = PelorinConnector::setUpdateCommand(
      RequestParameters::fromEntries(request.getProperties(OperationType::ADD)),
      RequestParameters::fromEntries(request.getProperties(OperationType::SET)), request.events());
  (void)PelorinConnector::getPostData(commands);
  return 0;
}
