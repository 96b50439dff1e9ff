// The client in a host process of its own: leaving the process while work is in flight,
// and changes, the cache and the visitor surviving SIGKILLs and restarts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "devserver/dev_server.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "support/child_process.h"
#include "support/temp_folder.h"

#ifndef PELORIN_TEST_HOST
#error "PELORIN_TEST_HOST must name the host program"
#endif

namespace pelorin {
namespace {

using namespace std::chrono_literals;
using testing::ChildProcess;

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class ProcessTest : public ::testing::Test {
 protected:
  ProcessTest() { EXPECT_TRUE(_server.start()); }

  std::vector<std::string> host(const std::string& scenario) const {
    return {PELORIN_TEST_HOST, scenario, _storage.path(), _server.baseUrl()};
  }

  devserver::DevServer _server;
  testing::TempFolder _storage;
};

void expectCleanExit(ChildProcess& child) {
  ASSERT_TRUE(child.started());
  EXPECT_TRUE(child.waitForOutput("leaving", 20s)) << child.output();
  const int status = child.wait();
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(ProcessTest, ReturningFromMainWithARequestInFlightExitsCleanly) {
  _server.delayNextAnswers(2s, 5);
  ChildProcess child(host("exit-return"));
  expectCleanExit(child);
}

TEST_F(ProcessTest, CallingExitWithARequestInFlightExitsCleanly) {
  _server.delayNextAnswers(2s, 5);
  ChildProcess child(host("exit-call"));
  expectCleanExit(child);
}

// What the restart scenario printed: its writes in order, and how many of them came before
// the last stored commit log and the last stored cache.
struct HostRun {
  std::string started;
  std::optional<std::string> profile;
  std::vector<std::string> writes;  // property names k<pid>_<i>
  std::size_t committed = 0;
  std::size_t cached = 0;

  explicit HostRun(const std::string& output) {
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
      if (line.rfind("started ", 0) == 0) started = line.substr(8);
      if (line.rfind("profile ", 0) == 0) profile = line.substr(8);
      if (line.rfind("wrote ", 0) == 0) writes.push_back(line.substr(6));
      if (line == "stored plcommitlog5.2.data") committed = writes.size();
      if (line == "stored cache5.2.data") cached = writes.size();
    }
  }
};

// k<pid>_<i> -> i
int writeIndex(const std::string& name) { return std::stoi(name.substr(name.find('_') + 1)); }
// The value written to k<pid>_<i>, and the tag added with it ("" for none).
std::string valueOf(const std::string& name) { return "v" + std::to_string(writeIndex(name)); }
std::string tagOf(const std::string& name) {
  return writeIndex(name) % 4 == 0 ? "t" + name.substr(1) : "";
}

// What the host processes wrote, and which of it reached the disk.
class RestartRecord {
 public:
  void add(const HostRun& run) {
    for (std::size_t i = 0; i < run.writes.size(); ++i) {
      const std::string& name = run.writes[i];
      _written.insert(name);
      if (!tagOf(name).empty()) _writtenTags.insert(tagOf(name));
      if (i < run.committed) {
        _committed.push_back(name);
        if (!tagOf(name).empty()) ++_committedClicks;
      }
      if (i < run.cached) _cached.push_back(name);
    }
  }

  // Every change stored by an earlier run is on the server.
  void expectOnServer(const Parameters& properties, std::int64_t clicks,
                      const std::string& where) const {
    std::size_t lost = 0;
    std::string first;
    auto tags = properties.find("tags");
    for (const std::string& name : _committed) {
      auto found = properties.find(name);
      const bool valueThere =
          found != properties.end() && found->second == std::vector<std::string>{valueOf(name)};
      const bool tagThere =
          tagOf(name).empty() ||
          (tags != properties.end() &&
           std::find(tags->second.begin(), tags->second.end(), tagOf(name)) != tags->second.end());
      if (!valueThere || !tagThere) {
        if (lost++ == 0) first = name;
      }
    }
    EXPECT_EQ(lost, 0U) << where << ": " << lost << " of " << _committed.size()
                        << " stored changes are not on the server, the first " << first;
    // A batch confirmed by the server but killed before its emptied log was stored is sent
    // again: events arrive at least once.
    EXPECT_GE(clicks, _committedClicks) << where;
  }

  // A stored log holds only changes that were made, with their values.
  void expectWritten(const PelorinCommitLog& log, const std::string& where) const {
    for (const auto& entry : log.properties()) {
      if (entry.identifier() == "tags") {
        for (const auto& tag : entry.values()) {
          EXPECT_TRUE(_writtenTags.contains(tag)) << where << ": tag " << tag;
        }
      } else {
        EXPECT_TRUE(_written.contains(entry.identifier())) << where << ": " << entry.identifier();
        EXPECT_EQ(entry.values(), std::vector<std::string>{valueOf(entry.identifier())}) << where;
      }
    }
    for (const auto& event : log.events()) EXPECT_EQ(event.identifier(), "restart") << where;
  }

  // The stored cache holds what was made, and everything that a stored cache held before.
  void expectCache(const PelorinCache& cache, const std::string& where) const {
    std::set<std::string> tags;
    for (const auto& [name, values] : cache.properties) {
      if (name == "tags") {
        tags.insert(values.begin(), values.end());
        for (const auto& tag : values) {
          EXPECT_TRUE(_writtenTags.contains(tag)) << where << ": tag " << tag;
        }
      } else {
        EXPECT_TRUE(_written.contains(name)) << where << ": " << name;
        EXPECT_EQ(values, std::vector<std::string>{valueOf(name)}) << where << ": " << name;
      }
    }
    std::size_t missing = 0;
    std::string first;
    for (const std::string& name : _cached) {
      auto found = cache.properties.find(name);
      const bool there =
          found != cache.properties.end() && (tagOf(name).empty() || tags.contains(tagOf(name)));
      if (!there && missing++ == 0) first = name;
    }
    EXPECT_EQ(missing, 0U) << where << ": " << missing << " cached changes are gone, the first "
                           << first;
  }

  std::string summary() const {
    return std::to_string(_written.size()) + " writes, " + std::to_string(_committed.size()) +
           " stored in a log, " + std::to_string(_cached.size()) + " in the cache";
  }

 private:
  std::set<std::string> _written;
  std::set<std::string> _writtenTags;
  std::vector<std::string> _committed;  // before a stored commit log, in order
  std::int64_t _committedClicks = 0;
  std::vector<std::string> _cached;  // before a stored cache
};

// Kill and restart, 200 times: a host writes and is killed at a random moment (one round in
// eight early, during its start or its first exchange); the next one starts on the same
// folder. After every kill each stored file decodes, nothing was set aside as ".corrupt",
// the visitor (identifier file and cookie) is the same, and the stored cache is consistent
// with what was written; once the next host has sent what it found, the server holds every
// change that a stored commit log held. A write counts as stored when the host printed it
// before a "stored" line: the host waits for the library's writer after each tick. And a
// write followed by `kMargin` more (each runs the main loop for at least 5 ms, so 100 ms: two
// ticks) must be.
TEST_F(ProcessTest, ChangesSurviveKillsAtRandomMoments) {
  std::mt19937 random(20261122);
  std::uniform_int_distribution<int> writing(40, 200);
  std::uniform_int_distribution<int> starting(0, 80);
  constexpr int kRounds = 200;
  constexpr std::size_t kMargin = 20;
  const std::string folder = _storage.path() + "/pelorin/";
  RestartRecord record;
  std::string visitor;
  for (int round = 0; round < kRounds; ++round) {
    const std::string where = "round " + std::to_string(round);
    ChildProcess child(host("restart"));
    ASSERT_TRUE(child.started());
    const bool early = round % 8 == 7;
    if (early) {
      child.readAll(std::chrono::milliseconds(starting(random)));
    } else {
      ASSERT_TRUE(child.waitForOutput("\nwrote ", 30s)) << where << ":\n" << child.output();
      const HostRun started(child.output());
      ASSERT_TRUE(started.profile.has_value());
      if (visitor.empty()) visitor = *started.profile;
      ASSERT_EQ(*started.profile, visitor) << where << ": the visitor was lost";
      if (round > 0) {
        EXPECT_EQ(started.started, visitor) << where;
      }
      EXPECT_EQ(_server.service().profileIds().size(), 1U) << where;
      const auto properties = _server.service().properties(visitor);
      ASSERT_TRUE(properties.has_value()) << where;
      record.expectOnServer(*properties, _server.service().eventCount(visitor, "restart", "CLICK"),
                            where);
      child.readAll(std::chrono::milliseconds(writing(random)));
    }
    child.kill();
    child.wait();
    const HostRun run(child.output());
    record.add(run);
    if (run.writes.size() > kMargin) {
      EXPECT_GE(run.committed, run.writes.size() - kMargin) << where << ": no tick stored";
      EXPECT_GE(run.cached, run.writes.size() - kMargin) << where << ": no tick stored";
    }

    // The files as the next host finds them.
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.push_back(entry.path().filename().string());
    }
    for (const auto& name : names) {
      EXPECT_EQ(name.find(".corrupt"), std::string::npos) << where << ": " << name;
    }
    for (const std::string name : {"plcommitlog5.2.data", "plrequestcommitlog5.2.data"}) {
      if (!std::filesystem::exists(folder + name)) continue;
      auto log = PelorinCommitLog::decode(readFile(folder + name));
      ASSERT_TRUE(log.ok()) << where << ": " << name << " " << log.error().message;
      record.expectWritten(log.value(), std::string(where).append(" ").append(name));
    }
    if (std::filesystem::exists(folder + "cache5.2.data")) {
      auto cache = PelorinCache::decode(readFile(folder + "cache5.2.data"));
      ASSERT_TRUE(cache.ok()) << where << ": " << cache.error().message;
      record.expectCache(cache.value(), where);
    }
    if (!visitor.empty()) {
      EXPECT_EQ(readFile(folder + "id.data"), visitor) << where;
      EXPECT_NE(readFile(folder + "plcookies.data").find("pl_profile\t" + visitor),
                std::string::npos)
          << where;
    }
    if (::testing::Test::HasFailure()) return;
  }
  std::printf("%d rounds: %s\n", kRounds, record.summary().c_str());
}

}  // namespace
}  // namespace pelorin
