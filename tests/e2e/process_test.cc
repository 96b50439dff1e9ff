// The client in a host process of its own: leaving the process while work is in flight,
// and changes surviving a SIGKILL.
#include <random>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "devserver/dev_server.h"
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

// A child writes steadily and is killed at a random moment; a restarted child on the same
// folder then sends what was pending. Every change made more than a tick (plus a margin
// for the write of the files) before the kill must reach the server.
TEST_F(ProcessTest, ChangesSurviveKillsAtRandomMoments) {
  std::mt19937 random(20261122);
  std::uniform_int_distribution<int> delay(400, 1000);
  constexpr int kKills = 50;
  std::string firstProfileId;
  for (int round = 0; round < kKills; ++round) {
    {
      ChildProcess writer(host("write"));
      ASSERT_TRUE(writer.started());
      ASSERT_TRUE(writer.waitForOutput("wrote ", 20s));
      writer.readAll(std::chrono::milliseconds(delay(random)));
      writer.kill();
      writer.wait();
      std::istringstream lines(writer.output());
      // Leave out the last 80 lines: the child writes about every 5 ms, so they cover at
      // least 400 ms, well over a tick (50 ms) and its file write.
      std::vector<std::string> written;
      std::string word;
      std::string name;
      while (lines >> word >> name) written.push_back(name);
      const std::size_t safe = written.size() > 80 ? written.size() - 80 : 0;
      ChildProcess flusher(host("flush"));
      ASSERT_TRUE(flusher.waitForOutput("profile ", 30s)) << flusher.output();
      flusher.readAll(5s);
      ASSERT_EQ(flusher.wait(), 0) << flusher.output();
      std::string profileId = flusher.output().substr(flusher.output().find("profile ") + 8);
      profileId = profileId.substr(0, profileId.find('\n'));
      // The cookie file survives every kill, so the server knows the visitor throughout.
      if (round == 0) firstProfileId = profileId;
      ASSERT_EQ(profileId, firstProfileId) << "round " << round << ": the visitor was lost";
      auto properties = _server.service().properties(profileId);
      ASSERT_TRUE(properties.has_value()) << "round " << round << ": no profile " << profileId;
      std::vector<std::string> lost;
      for (std::size_t i = 0; i < safe; ++i) {
        if (!properties->contains(written[i])) lost.push_back(written[i]);
      }
      ASSERT_TRUE(lost.empty()) << "round " << round << ": lost " << lost.size() << " of "
                                << written.size() << ", the first " << lost.front()
                                << " (on the profiles " << profilesHolding(lost.front())
                                << "), flusher said:\n"
                                << flusher.output();
    }
  }
}

}  // namespace
}  // namespace pelorin
