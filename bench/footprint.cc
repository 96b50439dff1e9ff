// Memory a client holds for 10,000 profile properties.
//
//   pelorin_footprint app short     # the application sets 10,000 properties, one value each
//   pelorin_footprint server long   # a properties answer of 10,000 properties, five values
//
// "app": `setProfileValue` (or `setProfileValues`) for each property, so the cache and the
// pending commit log both hold them (as until the next successful sync). "server": the
// engine takes a properties answer into its cache (as after a profile reload); the answer
// document itself is alive before and after and does not count. Names are "property_<i>";
// "short" is one value of about 12 bytes (within std::string's inline buffer), "long" five
// values of 12 to 30 bytes. Counted: the bytes in use of every operator new and delete of
// the process (malloc_usable_size of each block, so allocator rounding counts; the
// allocator's own per-block header does not), and glibc's mallinfo2 in-use bytes (which
// also see C allocations, e.g. libcurl's, and the block headers; blocks of the main arena
// plus the separately mapped large ones, so not what other threads allocate from their own
// arenas), each before and after. "empty client" is what creating the client adds.
#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>

#include "client/client_testing.h"
#include "client/pelorin_client_impl.h"
#include "json/json_value_access.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/reachability.h"
#include "support/temp_folder.h"

namespace {

std::atomic<std::int64_t> gLiveBytes{0};
std::atomic<std::int64_t> gLiveBlocks{0};

void* countedAllocation(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  gLiveBytes += static_cast<std::int64_t>(malloc_usable_size(block));
  ++gLiveBlocks;
  return block;
}

void countedRelease(void* block) noexcept {
  if (block == nullptr) return;
  gLiveBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
  --gLiveBlocks;
  std::free(block);
}

struct Usage {
  std::int64_t newBytes;
  std::int64_t newBlocks;
  std::int64_t mallocBytes;
};

Usage usage() {
  const struct mallinfo2 info = mallinfo2();
  // Blocks of the main arena in use, and the large blocks the allocator maps on their own.
  return {gLiveBytes.load(), gLiveBlocks.load(),
          static_cast<std::int64_t>(info.uordblks + info.hblkhd)};
}

// No network: the client sends nothing while it is measured.
class Offline : public pelorin::platform::Reachability {
 public:
  std::optional<pelorin::platform::ReachabilityFlags> flags() const override {
    return std::nullopt;
  }
};

std::vector<std::string> valuesOf(int i, bool longValues) {
  if (!longValues) return {"value " + std::to_string(i * 7919)};
  return {"a value of some length " + std::to_string(i), "second value", "é \"quoted\" text",
          "value number four", "the fifth one"};
}

}  // namespace

// NOLINTBEGIN(misc-new-delete-overloads): the sized, aligned and array forms all count
void* operator new(std::size_t size) { return countedAllocation(size); }
void* operator new[](std::size_t size) { return countedAllocation(size); }
void operator delete(void* block) noexcept { countedRelease(block); }
void operator delete[](void* block) noexcept { countedRelease(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { countedRelease(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { countedRelease(block); }
// NOLINTEND(misc-new-delete-overloads)

int main(int argc, char** argv) {
  const std::string_view source = argc > 1 ? argv[1] : "app";
  const bool longValues = argc > 2 && std::string_view(argv[2]) == "long";
  constexpr int kProperties = 10000;

  pelorin::testing::TempFolder folder;
  auto installed = std::make_unique<pelorin::Platform>();
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_debug", pelorin::JsonValue(false));
  installed->setBundle(std::move(bundle));
  installed->setReachability(std::make_unique<Offline>());
  installed->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(folder.path()));
  pelorin::Platform::install(std::move(installed));

  // The answer (and the names the application passes) exist before and after.
  std::vector<std::string> names;
  names.reserve(kProperties);
  for (int i = 0; i < kProperties; ++i) names.push_back("property_" + std::to_string(i));
  boost::json::object properties;
  if (source == "server") {
    for (int i = 0; i < kProperties; ++i) {
      boost::json::array list;
      for (const auto& value : valuesOf(i, longValues)) list.emplace_back(value);
      properties[names[static_cast<std::size_t>(i)]] = std::move(list);
    }
  }
  const pelorin::JsonValue answer = pelorin::toJsonValue(
      boost::json::object{{"id", "3"}, {"result", {{"properties", std::move(properties)}}}});

  const Usage beforeClient = usage();
  pelorin::PelorinClient& client = pelorin::PelorinClient::getInstance();
  pelorin::ClientTesting::waitForOperations(client);

  const Usage before = usage();
  if (source == "server") {
    pelorin::PelorinClient::synchronized([&] {
      pelorin::ClientTesting::engine(client).processPropertiesResult(answer.ref(), false);
    });
  } else {
    for (int i = 0; i < kProperties; ++i) {
      client.setProfileValues(names[static_cast<std::size_t>(i)], valuesOf(i, longValues));
    }
  }
  const Usage after = usage();

  const auto held = pelorin::PelorinClient::synchronized(
      [&] { return pelorin::ClientTesting::engine(client).cache().properties.size(); });
  const auto pending = pelorin::PelorinClient::synchronized(
      [&] { return pelorin::ClientTesting::engine(client).commitLog().properties().size(); });
  std::printf("footprint %-6s %-5s properties %zu (pending commit entries %zu)\n",
              std::string(source).c_str(), longValues ? "long" : "short", held, pending);
  std::printf("  empty client:        %9lld bytes by new (%lld blocks), %9lld by malloc\n",
              static_cast<long long>(before.newBytes - beforeClient.newBytes),
              static_cast<long long>(before.newBlocks - beforeClient.newBlocks),
              static_cast<long long>(before.mallocBytes - beforeClient.mallocBytes));
  std::printf("  10,000 properties:   %9lld bytes by new (%lld blocks), %9lld by malloc\n",
              static_cast<long long>(after.newBytes - before.newBytes),
              static_cast<long long>(after.newBlocks - before.newBlocks),
              static_cast<long long>(after.mallocBytes - before.mallocBytes));
  std::printf("  per property:        %9.1f bytes by new, %9.1f by malloc\n",
              static_cast<double>(after.newBytes - before.newBytes) / kProperties,
              static_cast<double>(after.mallocBytes - before.mallocBytes) / kProperties);
  return held == kProperties ? 0 : 1;
}
