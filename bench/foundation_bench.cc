// Commit log operations at growing sizes, and the global lock against a bare mutex.
//
// Read the ratios printed at the end: a set or add on a log of 100 and of 100,000
// properties against the same assignment in a std::unordered_map of that size (target: at
// most 2), how both grow from 100 to 100,000 entries (the map's growth is what the memory
// hierarchy alone costs), and `synchronized` against std::mutex (same run).
#include <benchmark/benchmark.h>

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "pelorin/pelorin_client.h"
#include "ratio_reporter.h"
#include "storage/pelorin_commit_log.h"

namespace {

std::vector<std::string> names(int count) {
  std::vector<std::string> result;
  result.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) result.push_back("property_" + std::to_string(i));
  return result;
}

// Sets one value on an existing property of a log holding `range(0)` distinct properties.
void BM_CommitLogSet(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const auto keys = names(size);
  pelorin::PelorinCommitLog log;
  for (const auto& key : keys) log.setProperties(key, {"v"});
  const std::vector<std::string> values{"w"};
  std::size_t i = 0;
  for (auto _ : state) {
    log.setProperties(keys[i], values);
    i = (i * 7919 + 1) % keys.size();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CommitLogSet)->Arg(100)->Arg(10000)->Arg(100000);

// Adds a value (already present) to an existing property: a lookup plus a value scan.
void BM_CommitLogAdd(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const auto keys = names(size);
  pelorin::PelorinCommitLog log;
  for (const auto& key : keys) log.addProperties(key, {"v"});
  const std::vector<std::string> values{"v"};
  std::size_t i = 0;
  for (auto _ : state) {
    log.addProperties(keys[i], values);
    i = (i * 7919 + 1) % keys.size();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CommitLogAdd)->Arg(100)->Arg(10000)->Arg(100000);

// The same access pattern on the standard hash map the log's index is: what any lookup by
// name costs at that size (cache misses grow with the table, whatever the structure).
void BM_UnorderedMapAssign(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const auto keys = names(size);
  std::unordered_map<std::string, std::vector<std::string>> map;
  for (const auto& key : keys) map[key] = {"v"};
  const std::vector<std::string> values{"w"};
  std::size_t i = 0;
  for (auto _ : state) {
    map.find(keys[i])->second = values;
    i = (i * 7919 + 1) % keys.size();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UnorderedMapAssign)->Arg(100)->Arg(10000)->Arg(100000);

void BM_SynchronizedEmpty(benchmark::State& state) {
  for (auto _ : state) {
    pelorin::PelorinClient::synchronized([] { benchmark::ClobberMemory(); });
  }
}
BENCHMARK(BM_SynchronizedEmpty);

void BM_MutexBaseline(benchmark::State& state) {
  std::mutex mutex;
  for (auto _ : state) {
    std::lock_guard<std::mutex> lock(mutex);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MutexBaseline);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  pelorin::bench::RatioReporter reporter({
      {"BM_CommitLogSet/100", "BM_UnorderedMapAssign/100", 2.0},
      {"BM_CommitLogSet/100000", "BM_UnorderedMapAssign/100000", 2.0},
      {"BM_CommitLogAdd/100", "BM_UnorderedMapAssign/100", 2.0},
      {"BM_CommitLogAdd/100000", "BM_UnorderedMapAssign/100000", 2.0},
      {"BM_CommitLogSet/100000", "BM_CommitLogSet/100"},
      {"BM_UnorderedMapAssign/100000", "BM_UnorderedMapAssign/100"},
      {"BM_SynchronizedEmpty", "BM_MutexBaseline"},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
