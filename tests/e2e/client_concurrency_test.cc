// Many application threads calling the client at once while the sync timer runs and part of
// the exchanges fail: every call stays consistent for its caller, and once the network is
// back the server holds exactly what the calls imply.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "e2e/client_fixture.h"

namespace pelorin {
namespace {

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 10000;
constexpr int kSetProperties = 16;   // per thread
constexpr int kAddProperties = 8;    // per thread
constexpr int kInteractions = 3;     // per thread
constexpr int kPageViewEvery = 250;  // calls

// What one thread did, and what it saw that it should not have.
struct ThreadRecord {
  Parameters properties;                       // the values each of its properties must hold
  std::map<std::string, std::int64_t> clicks;  // interaction id -> clicks
  int pageViews = 0;
  int mismatches = 0;
  std::string firstMismatch;
};

class ClientConcurrencyTest : public testing::ClientE2ETest {
 protected:
  // Each thread writes properties of its own ("t<thread>_..."), so the last value of every
  // property is the last one its thread set, whatever the interleaving.
  void work(int thread, ThreadRecord& record) {
    PelorinClient& shared = client();
    const std::string prefix = "t" + std::to_string(thread) + "_";
    auto mismatch = [&](const std::string& what) {
      if (record.mismatches++ == 0) record.firstMismatch = what;
    };
    for (int call = 0; call < kCallsPerThread; ++call) {
      const std::string n = std::to_string(call);
      const std::string setName = prefix + "s" + std::to_string(call % kSetProperties);
      const std::string addName = prefix + "a" + std::to_string((call / 10) % kAddProperties);
      switch (call % 10) {
        case 0:
        case 1:
          shared.setProfileValue(setName, "v" + n);
          record.properties[setName] = {"v" + n};
          break;
        case 2:
          shared.setProfileValues(setName, {"v" + n, "w" + n});
          record.properties[setName] = {"v" + n, "w" + n};
          break;
        case 3:
        case 4:
          shared.addProfileValue(addName, "a" + n);
          record.properties[addName].push_back("a" + n);
          break;
        case 5: {
          // A value set a moment ago is visible at once, whatever else runs.
          const std::string name = prefix + "s" + std::to_string((call / 10) % kSetProperties);
          auto it = record.properties.find(name);
          const std::string expected = it == record.properties.end() ? "" : it->second.front();
          const std::string got = shared.getProfileValue(name);
          if (got != expected) mismatch(name + ": read " + got + ", expected " + expected);
          break;
        }
        case 6: {
          auto it = record.properties.find(addName);
          auto got = shared.getProfileValues(addName);
          const bool same = it == record.properties.end() ? !got.has_value()
                                                          : got.has_value() && *got == it->second;
          if (!same) mismatch(addName + ": values differ after " + n + " calls");
          break;
        }
        case 7: {
          const std::string interaction =
              "i" + std::to_string(thread) + "_" + std::to_string(call % kInteractions);
          shared.createEvent("CLICK",
                             JsonValue::parse(R"({"interactionId":")" + interaction + R"("})"));
          ++record.clicks[interaction];
          break;
        }
        case 8:
          if (shared.getProfileId().value_or("").empty()) mismatch("profile id lost");
          if (shared.hasSegment("none")) mismatch("segment out of nowhere");
          (void)shared.getScreenName();
          break;
        case 9:
          if (call % kPageViewEvery == 9) {
            shared.createEvent(
                "PAGEVIEW",
                JsonValue::parse(R"({"screenName":"screen)" + std::to_string(thread) + R"("})"),
                [this] { _pageViewsCompleted.fetch_add(1); });
            ++record.pageViews;
          } else {
            // A click without an interaction counts nothing.
            shared.createEvent("CLICK", JsonValue::parse(R"({"other":"x"})"));
          }
          break;
      }
      _progress.fetch_add(1, std::memory_order_relaxed);
    }
    _finished.fetch_add(1);
  }

  // Lets part of the run fail: dropped connections (retried, then given up), then answers
  // with a server error. Neither kind reaches the server's state, so nothing counts twice.
  void injectFaults(int& stage) {
    const int done = _progress.load(std::memory_order_relaxed);
    constexpr int kTotal = kThreads * kCallsPerThread;
    if (stage == 0 && done >= kTotal / 5) {
      _server.dropNextConnections(7);  // one exchange fails after its retries, one recovers
      ++stage;
    } else if (stage == 1 && done >= kTotal / 2) {
      _server.answerNextWithStatus(503, "", 3);
      ++stage;
    }
  }

  std::atomic<int> _progress{0};
  std::atomic<int> _finished{0};
  std::atomic<int> _pageViewsCompleted{0};
};

TEST_F(ClientConcurrencyTest, ManyThreadsWhileTicksRunEndWithTheImpliedServerProfile) {
  // Given a client that knows its profile.
  pageView("home");
  const std::string profileId = client().getProfileId().value_or("");
  ASSERT_FALSE(profileId.empty());

  // When eight threads call the client while this thread, the main thread, drives the
  // timer with the pinned clock and injects faults.
  std::vector<ThreadRecord> records(kThreads);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t, &records] { work(t, records[t]); });
  }
  int stage = 0;
  int ticks = 0;
  while (_finished.load() < kThreads) {
    _test.advanceClock(Platform::current().syncInterval());
    // Runs the tick and the completions, and paces the loop like a host's main loop.
    _test.mainLoop().runFor(std::chrono::milliseconds(2));
    ++ticks;
    injectFaults(stage);
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(stage, 2);

  // Then, once the faults are used up and a page-view style sync has gone through...
  for (int round = 0; round < 10 && _server.pendingFaults() > 0; ++round) {
    client().updateProfile();
    drain();
  }
  EXPECT_EQ(_server.pendingFaults(), 0U);
  bool synced = false;
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"done"})"),
                       [&] { synced = true; });
  drain();
  tick();
  ASSERT_TRUE(synced);

  // ...the server holds exactly what the calls imply, and so does the device.
  Parameters expected;
  std::map<std::string, std::int64_t> clicks;
  int pageViews = 0;
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(records[t].mismatches, 0) << "thread " << t << ": " << records[t].firstMismatch;
    expected.insert(records[t].properties.begin(), records[t].properties.end());
    clicks.insert(records[t].clicks.begin(), records[t].clicks.end());
    pageViews += records[t].pageViews;
  }
  EXPECT_EQ(client().getProfileId(), profileId);
  EXPECT_EQ(serverProfile(), expected);
  for (const auto& [interaction, count] : clicks) {
    EXPECT_EQ(_server.service().eventCount(profileId, interaction, "CLICK"), count) << interaction;
  }
  for (const auto& [name, values] : expected) {
    EXPECT_EQ(client().getProfileValues(name), values) << name;
  }
  PelorinClient::synchronized([&] {
    EXPECT_TRUE(engine().commitLog().isEmpty());
    EXPECT_TRUE(engine().requestCommitLog().isEmpty());
  });
  EXPECT_EQ(_pageViewsCompleted.load(), pageViews);
  // Part of the run did fail.
  const auto lines = _test.logLines();
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line == "WARNING [PL_CLIENT]: Sync failed" ||
           line.rfind("ERROR [PL_CLIENT]: Unable to get the interactions from Pelorin", 0) == 0 ||
           line == "WARNING [PL_CLIENT]: Unable to get interactions from Pelorin";
  }));
  std::printf("%d ticks, %d page views, %zu requests\n", ticks, pageViews, _server.requestCount());
}

}  // namespace
}  // namespace pelorin
