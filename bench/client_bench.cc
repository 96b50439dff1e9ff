// The client facade and the engine's start-up, each against a baseline measured in the
// same run. Logging is off ("pl_debug" false).
//
// Read the ratios printed at the end:
//   - `setProfileValue` and `getProfileValue` through the facade against a bare
//     std::mutex-guarded std::map update and lookup of the same names and values, on one
//     thread (CPU time: other load on the machine does not count) and with two threads
//     contending (real time) (target: at most 3);
//   - constructing the engine on a folder that holds a 1 MB cache and a commit log of
//     10,000 entries against reading and parsing those two files alone (target: at most 2).
//     The engine is built directly (`PelorinClientImpl`) in the loop on the same platform;
//     the files are read anew each time (the page cache holds them, as it does for the
//     baseline).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "client/pelorin_client_impl.h"
#include "config/constants.h"
#include "json/json_value_access.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "ratio_reporter.h"
#include "raw_file.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "storage/pelorin_data_manager.h"
#include "support/temp_folder.h"

namespace {

constexpr int kNames = 64;
constexpr int kValues = 61;  // prime against kNames, so names and values pair differently

// Installs a platform with logging off whose files live in a fresh folder; answers it.
const std::string& installPlatform() {
  auto* folder = new pelorin::testing::TempFolder();  // kept: the platform stays installed
  auto platform = std::make_unique<pelorin::Platform>();
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_debug", pelorin::JsonValue(false));
  bundle->set("pl_server_url", pelorin::JsonValue("http://127.0.0.1:9"));
  platform->setBundle(std::move(bundle));
  platform->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(folder->path()));
  pelorin::Platform::install(std::move(platform));
  return folder->path();
}

// Property names and values as an application would use them: short, mostly within the
// small-string buffer.
const std::vector<std::string>& names() {
  static const auto* list = [] {
    auto* texts = new std::vector<std::string>;
    for (int i = 0; i < kNames; ++i) texts->push_back("property_" + std::to_string(i));
    return texts;
  }();
  return *list;
}

const std::vector<std::string>& values() {
  static const auto* list = [] {
    auto* texts = new std::vector<std::string>;
    for (int i = 0; i < kValues; ++i) texts->push_back("value " + std::to_string(i * 7919));
    return texts;
  }();
  return *list;
}

// The client of the process, on an empty folder, with every name set once.
pelorin::PelorinClient& client() {
  static pelorin::PelorinClient* shared = [] {
    installPlatform();
    auto* client = &pelorin::PelorinClient::getInstance();
    for (int i = 0; i < kNames; ++i) client->setProfileValue(names()[i], values()[i % kValues]);
    return client;
  }();
  return *shared;
}

// ---- Facade against a guarded map ---------------------------------------------------------

struct GuardedMap {
  std::mutex mutex;
  std::map<std::string, std::vector<std::string>> properties;
};

GuardedMap& guardedMap() {
  static auto* map = [] {
    auto* guarded = new GuardedMap;
    for (int i = 0; i < kNames; ++i) guarded->properties[names()[i]] = {values()[i % kValues]};
    return guarded;
  }();
  return *map;
}

void BM_FacadeSetProfileValue(benchmark::State& state) {
  pelorin::PelorinClient& shared = client();
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * 13;
  for (auto _ : state) {
    shared.setProfileValue(names()[i % kNames], values()[i % kValues]);
    ++i;
  }
}
BENCHMARK(BM_FacadeSetProfileValue)->Threads(1);
BENCHMARK(BM_FacadeSetProfileValue)->Threads(2)->UseRealTime();

void BM_MutexMapSet(benchmark::State& state) {
  GuardedMap& guarded = guardedMap();
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * 13;
  for (auto _ : state) {
    {
      std::lock_guard<std::mutex> lock(guarded.mutex);
      guarded.properties[names()[i % kNames]] = {values()[i % kValues]};
    }
    ++i;
  }
}
BENCHMARK(BM_MutexMapSet)->Threads(1);
BENCHMARK(BM_MutexMapSet)->Threads(2)->UseRealTime();

void BM_FacadeGetProfileValue(benchmark::State& state) {
  pelorin::PelorinClient& shared = client();
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * 13;
  for (auto _ : state) {
    std::string value = shared.getProfileValue(names()[i % kNames]);
    benchmark::DoNotOptimize(value);
    ++i;
  }
}
BENCHMARK(BM_FacadeGetProfileValue)->Threads(1);
BENCHMARK(BM_FacadeGetProfileValue)->Threads(2)->UseRealTime();

void BM_MutexMapGet(benchmark::State& state) {
  GuardedMap& guarded = guardedMap();
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * 13;
  for (auto _ : state) {
    std::string value;
    {
      std::lock_guard<std::mutex> lock(guarded.mutex);
      auto it = guarded.properties.find(names()[i % kNames]);
      if (it != guarded.properties.end() && !it->second.empty()) value = it->second.front();
    }
    benchmark::DoNotOptimize(value);
    ++i;
  }
}
BENCHMARK(BM_MutexMapGet)->Threads(1);
BENCHMARK(BM_MutexMapGet)->Threads(2)->UseRealTime();

// ---- Engine construction against reading the files -------------------------------------

// A folder with a cache of 10,000 properties (~1 MB) and a commit log of 10,000 entries
// (9,000 property changes, 1,000 counted events), as a long offline use leaves them.
const std::string& stateFolder() {
  static const std::string* folder = [] {
    // The engine reads "<documents>/pelorin"; its own platform keeps these files apart
    // from the facade benchmarks' client.
    auto* path = new std::string(installPlatform() + "/" +
                                 std::string(pelorin::PelorinDataManager::FOLDER_NAME));
    pelorin::PelorinCache cache;
    for (int i = 0; i < 10000; ++i) {
      cache.properties["property_" + std::to_string(i)] = {
          "a value of some length " + std::to_string(i), "second value", "é \"quoted\" text",
          "value number four", "the fifth one"};
    }
    cache.domainGroup = "dg";
    pelorin::PelorinCommitLog log;
    for (int i = 0; i < 9000; ++i) {
      const std::string name = "changed_" + std::to_string(i);
      const std::vector<std::string> changed{"new value " + std::to_string(i), "another"};
      if (i % 2 == 0) {
        log.addProperties(name, changed);
      } else {
        log.setProperties(name, changed);
      }
    }
    for (int i = 0; i < 1000; ++i) {
      log.updateEvent(pelorin::EventType::CLICK, "interaction-" + std::to_string(i), 1 + i % 3);
    }
    pelorin::PelorinDataManager::writeToFile(cache, pelorin::Constants::Files::CACHE);
    pelorin::PelorinDataManager::writeToFile(log, pelorin::Constants::Files::COMMITLOG);
    pelorin::PelorinDataManager::writeStringToFile("0123456789abcdef0001",
                                                   pelorin::Constants::Files::ID);
    return path;
  }();
  return *folder;
}

void BM_EngineConstruction(benchmark::State& state) {
  // The facade that plug-ins would receive, made on its own empty folder first; the engine
  // under test is a second one, on the state folder.
  pelorin::PelorinClient& facade = client();
  stateFolder();
  for (auto _ : state) {
    pelorin::MutexLock lock(pelorin::globalLock());
    pelorin::PelorinClientImpl engine(facade);
    if (engine.cache().properties.size() != 10000 ||
        engine.commitLog().properties().size() != 9000) {
      state.SkipWithError("state not loaded");
    }
    benchmark::DoNotOptimize(&engine);
  }
}
BENCHMARK(BM_EngineConstruction)->Unit(benchmark::kMillisecond);

using pelorin::bench::readAll;

void BM_ReadAndParseStateFiles(benchmark::State& state) {
  const std::string& folder = stateFolder();
  for (auto _ : state) {
    for (const std::string* name :
         {&pelorin::Constants::Files::CACHE, &pelorin::Constants::Files::COMMITLOG}) {
      boost::json::error_code error;
      boost::json::value parsed = boost::json::parse(readAll(folder + "/" + *name), error);
      if (error) state.SkipWithError("parse failed");
      benchmark::DoNotOptimize(parsed);
    }
  }
}
BENCHMARK(BM_ReadAndParseStateFiles)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  pelorin::bench::RatioReporter reporter({
      {"BM_FacadeSetProfileValue/threads:1", "BM_MutexMapSet/threads:1", 3.0},
      {"BM_FacadeSetProfileValue/real_time/threads:2", "BM_MutexMapSet/real_time/threads:2", 3.0},
      {"BM_FacadeGetProfileValue/threads:1", "BM_MutexMapGet/threads:1", 3.0},
      {"BM_FacadeGetProfileValue/real_time/threads:2", "BM_MutexMapGet/real_time/threads:2", 3.0},
      {"BM_EngineConstruction", "BM_ReadAndParseStateFiles", 2.0},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
