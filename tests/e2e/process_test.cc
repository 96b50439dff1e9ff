// The client in a host process of its own: leaving the process while work is in flight,
// and changes surviving a SIGKILL.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "client/constants.h"
#include "devserver/dev_server.h"
#include "pelorin/platform/file_system.h"
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

class ProcessTest : public ::testing::Test {
 protected:
  ProcessTest() { EXPECT_TRUE(_server.start()); }

  std::vector<std::string> host(const std::string& scenario) const {
    return {PELORIN_TEST_HOST, scenario, _storage.path(), _server.baseUrl()};
  }

  // The profiles on the server that hold a property of this name, for failure messages.
  std::string profilesHolding(const std::string& name) {
    std::string found;
    for (const auto& id : _server.service().profileIds()) {
      auto properties = _server.service().properties(id);
      if (properties && properties->contains(name)) found += id + " ";
    }
    return found.empty() ? "none" : found;
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

// What the library keeps in its folder, read back in the test's own process.
struct StoredState {
  std::vector<std::string> undecodable;  // "<file>: <reason>"
  std::vector<std::string> unexpected;   // files the library does not write
  std::vector<std::string> staging;      // temporary files of interrupted writes
  std::optional<std::string> profileId;
  std::optional<PelorinCache> cache;
  std::set<std::string> cookies;  // "<name>=<value>"
};

std::optional<std::string> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

StoredState readStoredState(const std::string& storage) {
  StoredState state;
  const std::filesystem::path folder = std::filesystem::path(storage) / "pelorin";
  if (!std::filesystem::exists(folder)) return state;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const std::string text = readFile(entry.path()).value_or("");
    auto undecodable = [&](const std::string& reason) {
      state.undecodable.push_back(name + ": " + reason);
    };
    if (name.find(platform::FileSystem::TEMPORARY_MARKER) != std::string::npos) {
      state.staging.push_back(name);
    } else if (name == Constants::Files::COMMITLOG || name == Constants::Files::REQUEST_COMMITLOG) {
      if (auto log = PelorinCommitLog::decode(text); !log) undecodable(log.error().message);
    } else if (name == Constants::Files::CACHE) {
      auto cache = PelorinCache::decode(text);
      if (cache) {
        state.cache = std::move(cache).value();
      } else {
        undecodable(cache.error().message);
      }
    } else if (name == Constants::Files::ID) {
      if (text.empty()) undecodable("empty");
      state.profileId = text;
    } else if (name == Constants::Files::ENABLED) {
      if (text != "true" && text != "false") undecodable("'" + text + "'");
    } else if (name == Constants::Files::COOKIES) {
      std::istringstream lines(text);
      std::string line;
      while (std::getline(lines, line)) {
        std::vector<std::string> fields;
        std::istringstream parts(line);
        for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
        if (fields.size() == 7) state.cookies.insert(fields[5] + "=" + fields[6]);
      }
      if (state.cookies.empty()) undecodable("no cookie");
    } else {
      state.unexpected.push_back(name);
    }
  }
  return state;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const auto& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

int killRounds() {
  const char* rounds = std::getenv("PELORIN_KILL_ROUNDS");
  return rounds != nullptr && std::atoi(rounds) > 0 ? std::atoi(rounds) : 200;
}

// A child writes properties, counts clicks and starts page views steadily and is killed
// at a random moment; a restarted child on the same folder then sends what was pending.
// After every kill each file of the folder decodes; after the restart the visitor is the
// same (profile id and cookie), every change made more than a tick (plus a margin for
// the write of the files) before the kill is on the server, and the stored profile equals
// the server's.
TEST_F(ProcessTest, EveryFileSurvivesKillsAtRandomMoments) {
  // Must match client_host.cc.
  constexpr std::size_t kClickEvery = 7;
  std::mt19937 random(20261122);
  std::uniform_int_distribution<int> delay(200, 700);
  const int rounds = killRounds();
  std::string firstProfileId;
  std::set<std::string> firstCookies;
  std::int64_t safeClicks = 0;
  for (int round = 0; round < rounds; ++round) {
    ChildProcess writer(host("write"));
    ASSERT_TRUE(writer.started());
    ASSERT_TRUE(writer.waitForOutput("wrote ", 20s));
    writer.readAll(std::chrono::milliseconds(delay(random)));
    writer.kill();
    writer.wait();
    std::istringstream lines(writer.output());
    // Leave out the last 80 writes: the child writes about every 5 ms, so they cover at
    // least 400 ms, well over a tick (50 ms) and its file write.
    std::vector<std::string> written;
    std::string word;
    std::string name;
    while (lines >> word >> name) written.push_back(name);
    const std::size_t safe = written.size() > 80 ? written.size() - 80 : 0;
    safeClicks += static_cast<std::int64_t>((safe + kClickEvery - 1) / kClickEvery);

    const StoredState killed = readStoredState(_storage.path());
    ASSERT_TRUE(killed.undecodable.empty())
        << "round " << round << ", after the kill: " << joined(killed.undecodable);
    ASSERT_TRUE(killed.unexpected.empty())
        << "round " << round << ": " << joined(killed.unexpected);
    if (round > 0) {
      EXPECT_EQ(killed.profileId, firstProfileId) << "round " << round;
      EXPECT_EQ(killed.cookies, firstCookies) << "round " << round;
    }

    ChildProcess flusher(host("flush"));
    ASSERT_TRUE(flusher.waitForOutput("profile ", 30s)) << flusher.output();
    flusher.readAll(5s);
    ASSERT_EQ(flusher.wait(), 0) << flusher.output();
    std::string profileId = flusher.output().substr(flusher.output().find("profile ") + 8);
    profileId = profileId.substr(0, profileId.find('\n'));

    const StoredState restarted = readStoredState(_storage.path());
    ASSERT_TRUE(restarted.undecodable.empty())
        << "round " << round << ", after the restart: " << joined(restarted.undecodable);
    // The restart removes what interrupted writes left behind and creates no ".corrupt".
    EXPECT_TRUE(restarted.staging.empty())
        << "round " << round << ": " << joined(restarted.staging);
    ASSERT_TRUE(restarted.unexpected.empty())
        << "round " << round << ": " << joined(restarted.unexpected);
    if (round == 0) {
      firstProfileId = profileId;
      firstCookies = restarted.cookies;
      ASSERT_FALSE(firstCookies.empty());
    }
    ASSERT_EQ(profileId, firstProfileId) << "round " << round << ": the visitor was lost";
    ASSERT_EQ(restarted.profileId, firstProfileId) << "round " << round;
    ASSERT_EQ(restarted.cookies, firstCookies) << "round " << round;

    auto properties = _server.service().properties(profileId);
    ASSERT_TRUE(properties.has_value()) << "round " << round << ": no profile " << profileId;
    std::vector<std::string> lost;
    for (std::size_t i = 0; i < safe; ++i) {
      auto found = properties->find(written[i]);
      if (found == properties->end() ||
          found->second != std::vector<std::string>{"v" + std::to_string(i)}) {
        lost.push_back(written[i]);
      }
    }
    ASSERT_TRUE(lost.empty()) << "round " << round << ": lost " << lost.size() << " of "
                              << written.size() << ", the first " << lost.front()
                              << " (on the profiles " << profilesHolding(lost.front())
                              << "), flusher said:\n"
                              << flusher.output();
    // Clicks are counted at least once; one sent just before a kill may be counted again.
    EXPECT_GE(_server.service().eventCount(profileId, "i1", "CLICK"), safeClicks)
        << "round " << round;
    ASSERT_TRUE(restarted.cache.has_value()) << "round " << round;
    EXPECT_EQ(restarted.cache->properties, *properties) << "round " << round;
  }
}

}  // namespace
}  // namespace pelorin
