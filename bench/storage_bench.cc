// The wire form of an update batch, the stored cache and the profile hash, each against a
// baseline measured in the same run.
//
// Read the ratios printed at the end:
//   - building and serialising an update batch (commit entries flattened, "params" encoded
//     twice) against Boost.JSON building and serialising the same data as one plain
//     document (target: at most 2), and against serialising that document alone;
//   - writing and reading back a cache of 10,000 properties (~1 MB) through the data
//     manager against writing the same bytes with fsync and rename, then reading and
//     parsing them (both in real time: they wait for the disk);
//   - the profile hash of 10,000 properties against a plain byte sum of the same texts.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <cstdlib>
#include <string>
#include <vector>

#include "config/constants.h"
#include "json/json_value_access.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "protocol/pelorin_connector.h"
#include "protocol/profile_hash.h"
#include "ratio_reporter.h"
#include "raw_file.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "storage/pelorin_data_manager.h"
#include "support/temp_folder.h"

namespace {

using pelorin::CallId;
using pelorin::OperationType;
using pelorin::PelorinCommitLog;
using pelorin::RequestParameters;

// `count` pending properties, half added and half set, two values each, and two events.
PelorinCommitLog pendingLog(int count) {
  PelorinCommitLog log;
  for (int i = 0; i < count; ++i) {
    const std::string name = "property_" + std::to_string(i);
    const std::vector<std::string> values{"value \"" + std::to_string(i) + "\" a", "value b"};
    if (i % 2 == 0) {
      log.addProperties(name, values);
    } else {
      log.setProperties(name, values);
    }
  }
  log.updateEvent(pelorin::EventType::CLICK, "interaction-1", 2);
  return log;
}

std::string joinBody(const std::vector<std::string>& commands) {
  std::string body = "[";
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i != 0) body += ',';
    body += commands[i];
  }
  body += ']';
  return body;
}

void BM_UpdateBatchBuildAndSerialise(benchmark::State& state) {
  const PelorinCommitLog log = pendingLog(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto commands = pelorin::PelorinConnector::setUpdateCommand(
        RequestParameters::fromEntries(log.getProperties(OperationType::ADD)),
        RequestParameters::fromEntries(log.getProperties(OperationType::SET)), log.events());
    std::vector<std::string> texts;
    texts.reserve(commands.size());
    for (const auto& command : commands) texts.push_back(command.toJson());
    std::string body = joinBody(texts);
    bytes = body.size();
    benchmark::DoNotOptimize(body);
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_UpdateBatchBuildAndSerialise)->Arg(1)->Arg(100)->Arg(10000);

boost::json::string_view bj(const std::string& s) { return {s.data(), s.size()}; }

// The same batch as one document with nested parameter objects, built with Boost.JSON.
boost::json::array plainBatch(const PelorinCommitLog& log) {
  boost::json::array batch;
  batch.push_back({{"method", "getProfile"},
                   {"alt", "json"},
                   {"id", "0"},
                   {"params", {{"forceCreate", boost::json::array{"true"}}}}});
  for (auto type : {OperationType::ADD, OperationType::SET}) {
    auto entries = log.getProperties(type);
    if (entries.empty()) continue;
    boost::json::object properties;
    properties.reserve(entries.size());
    for (const auto& entry : entries) {
      boost::json::array values;
      for (const auto& value : entry.values()) values.emplace_back(bj(value));
      properties.emplace(bj(entry.identifier()), std::move(values));
    }
    const bool add = type == OperationType::ADD;
    batch.push_back({{"method", add ? "addProperties" : "setProperties"},
                     {"alt", "json"},
                     {"id", add ? "1" : "2"},
                     {"params", {{"properties", std::move(properties)}}}});
  }
  for (const auto& event : log.events()) {
    for (std::int64_t i = 0; i < event.count(); ++i) {
      batch.push_back(
          {{"method", "createEvent"},
           {"alt", "json"},
           {"id", std::to_string(5 + i)},
           {"params",
            {{"type", boost::json::array{bj(std::string(pelorin::toString(event.type())))}},
             {"interaction", boost::json::array{bj(event.identifier())}}}}});
    }
  }
  return batch;
}

void BM_BoostJsonBuildAndSerialise(benchmark::State& state) {
  const PelorinCommitLog log = pendingLog(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string body = boost::json::serialize(plainBatch(log));
    benchmark::DoNotOptimize(body);
  }
}
BENCHMARK(BM_BoostJsonBuildAndSerialise)->Arg(1)->Arg(100)->Arg(10000);

void BM_BoostJsonSerialiseOnly(benchmark::State& state) {
  const boost::json::array batch = plainBatch(pendingLog(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    std::string body = boost::json::serialize(batch);
    benchmark::DoNotOptimize(body);
  }
}
BENCHMARK(BM_BoostJsonSerialiseOnly)->Arg(1)->Arg(100)->Arg(10000);

// ---- The stored cache ---------------------------------------------------------------------

pelorin::PelorinCache bigCache() {
  pelorin::PelorinCache cache;
  for (int i = 0; i < 10000; ++i) {
    cache.properties["property_" + std::to_string(i)] = {
        "a value of some length " + std::to_string(i), "second value", "é \"quoted\" text",
        "value number four", "the fifth one"};
  }
  cache.domainGroup = "dg";
  return cache;
}

// Files of the library go to a fresh folder for the run.
pelorin::testing::TempFolder& documents() {
  static auto* folder = [] {
    auto* temp = new pelorin::testing::TempFolder();
    auto platform = std::make_unique<pelorin::Platform>();
    platform->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(temp->path()));
    pelorin::Platform::install(std::move(platform));
    return temp;
  }();
  return *folder;
}

void BM_CacheWriteAndReadBack(benchmark::State& state) {
  documents();
  const pelorin::PelorinCache cache = bigCache();
  for (auto _ : state) {
    pelorin::PelorinDataManager::writeToFile(cache, pelorin::Constants::Files::CACHE);
    auto loaded = pelorin::PelorinDataManager::loadFromFile<pelorin::PelorinCache>(
        pelorin::Constants::Files::CACHE);
    if (!loaded || loaded->properties.size() != 10000) state.SkipWithError("cache lost");
    benchmark::DoNotOptimize(loaded);
  }
  state.counters["bytes"] = static_cast<double>(cache.encode().size());
}
BENCHMARK(BM_CacheWriteAndReadBack)->UseRealTime()->Unit(benchmark::kMillisecond);

bool writeDurably(const std::string& folder, const std::string& name, const std::string& bytes) {
  const std::string staging = folder + "/" + name + ".staging";
  const std::string target = folder + "/" + name;
  const int fd = ::open(staging.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  bool ok = ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  ok = ::fsync(fd) == 0 && ok;
  ok = ::close(fd) == 0 && ok;
  ok = ok && ::rename(staging.c_str(), target.c_str()) == 0;
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ok = dir >= 0 && ::fsync(dir) == 0 && ok;
  if (dir >= 0) ::close(dir);
  return ok;
}

using pelorin::bench::readAll;

void BM_RawWriteReadAndParse(benchmark::State& state) {
  const std::string folder = documents().path();
  const std::string bytes = bigCache().encode();
  for (auto _ : state) {
    if (!writeDurably(folder, "raw.data", bytes)) state.SkipWithError("write failed");
    boost::json::error_code error;
    boost::json::value parsed = boost::json::parse(readAll(folder + "/raw.data"), error);
    if (error) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(parsed);
  }
}
BENCHMARK(BM_RawWriteReadAndParse)->UseRealTime()->Unit(benchmark::kMillisecond);

// ---- The profile hash ---------------------------------------------------------------------

void BM_ProfileHash(benchmark::State& state) {
  const pelorin::PelorinCache cache = bigCache();
  for (auto _ : state) {
    std::string hash = pelorin::ProfileHash::getHash(cache.properties);
    benchmark::DoNotOptimize(hash);
  }
}
BENCHMARK(BM_ProfileHash)->Unit(benchmark::kMicrosecond);

// Adds up the bytes of the same texts: the least work any hash over them must do.
void BM_ByteSumBaseline(benchmark::State& state) {
  const pelorin::PelorinCache cache = bigCache();
  for (auto _ : state) {
    std::int64_t sum = 0;
    for (const auto& [name, values] : cache.properties) {
      for (unsigned char c : name) sum += c;
      for (const auto& value : values) {
        for (unsigned char c : value) sum += c;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_ByteSumBaseline)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  pelorin::bench::RatioReporter reporter({
      {"BM_UpdateBatchBuildAndSerialise/1", "BM_BoostJsonBuildAndSerialise/1", 2.0},
      {"BM_UpdateBatchBuildAndSerialise/100", "BM_BoostJsonBuildAndSerialise/100", 2.0},
      {"BM_UpdateBatchBuildAndSerialise/10000", "BM_BoostJsonBuildAndSerialise/10000", 2.0},
      {"BM_UpdateBatchBuildAndSerialise/1", "BM_BoostJsonSerialiseOnly/1"},
      {"BM_UpdateBatchBuildAndSerialise/100", "BM_BoostJsonSerialiseOnly/100"},
      {"BM_UpdateBatchBuildAndSerialise/10000", "BM_BoostJsonSerialiseOnly/10000"},
      {"BM_CacheWriteAndReadBack/real_time", "BM_RawWriteReadAndParse/real_time"},
      {"BM_ProfileHash", "BM_ByteSumBaseline"},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
