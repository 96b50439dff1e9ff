// A client that knows its profile, a set of changes to put through a fault, and the checks
// that they were kept while the fault lasted and delivered once it was over.
#ifndef PELORIN_TESTS_FAULTS_FAULT_FIXTURE_H_
#define PELORIN_TESTS_FAULTS_FAULT_FIXTURE_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "e2e/client_fixture.h"
#include "storage/pelorin_commit_log.h"

namespace pelorin::testing {

class ClientFaultsTest : public ClientE2ETest {
 protected:
  // The changes every fault test makes, and what the server must hold once they went
  // through.
  static inline const Parameters kChanges{{"city", {"Utrecht"}}, {"tags", {"new", "sale"}}};
  static constexpr std::int64_t kBannerClicks = 2;
  static constexpr std::int64_t kBannerViews = 1;

  // A first page view and a tick: the profile exists, the files hold empty logs.
  void SetUp() override {
    pageView("home");
    tick();
    _profileId = client().getProfileId().value_or("");
    ASSERT_FALSE(_profileId.empty());
    _server.clearRequests();
    _test.console().clear();
  }

  void makeChanges() {
    client().setProfileValue("city", "Utrecht");
    client().addProfileValues("tags", {"new", "sale"});
    for (int i = 0; i < kBannerClicks; ++i) {
      client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"banner"})"));
    }
    client().createEvent("VIEW", JsonValue::parse(R"({"interactionId":"banner"})"));
  }

  // After a failure the request log waits for the next change, event, page view or launch;
  // a page view adds no change of its own, so the server ends with exactly the changes.
  void sendAgain() { pageView("home"); }

  // What the engine still has to send: both of its logs, the request log first.
  PelorinCommitLog enginePending() {
    return PelorinClient::synchronized([&] {
      PelorinCommitLog pending = engine().requestCommitLog();
      PelorinCommitLog newer = engine().commitLog();
      pending.merge(newer);
      return pending;
    });
  }
  // What a restart would send: both stored logs, the request log first.
  PelorinCommitLog storedPending() {
    auto request = PelorinCommitLog::decode(storedFile("plrequestcommitlog5.2.data"));
    auto pending = PelorinCommitLog::decode(storedFile("plcommitlog5.2.data"));
    EXPECT_TRUE(request.ok() && pending.ok()) << "a stored log does not decode";
    if (!request.ok() || !pending.ok()) return {};
    PelorinCommitLog all = std::move(request).value();
    all.merge(pending.value());
    return all;
  }

  // The changes of makeChanges() are waiting in `log`, none of them lost.
  static void expectHoldsTheChanges(const PelorinCommitLog& log, const std::string& where) {
    const auto* city = log.getProperty("city");
    ASSERT_NE(city, nullptr) << where;
    EXPECT_EQ(city->values(), kChanges.at("city")) << where;
    const auto* tags = log.getProperty("tags");
    ASSERT_NE(tags, nullptr) << where;
    EXPECT_EQ(tags->values(), kChanges.at("tags")) << where;
    const auto* clicks = log.getEvent(EventType::CLICK, "banner");
    ASSERT_NE(clicks, nullptr) << where;
    EXPECT_EQ(clicks->count(), kBannerClicks) << where;
    const auto* views = log.getEvent(EventType::VIEW, "banner");
    ASSERT_NE(views, nullptr) << where;
    EXPECT_EQ(views->count(), kBannerViews) << where;
  }

  // The request log holds every change, and so do the stored logs (the tick stored them
  // before it sent them).
  void expectKept() {
    PelorinClient::synchronized(
        [&] { expectHoldsTheChanges(engine().requestCommitLog(), "request log"); });
    expectHoldsTheChanges(storedPending(), "stored logs");
  }
  void expectKeptAndNotOnTheServer() {
    expectKept();
    EXPECT_EQ(serverProfile(), Parameters{});
    EXPECT_EQ(_server.service().eventCount(_profileId, "banner", "CLICK"), 0);
  }

  // The server holds exactly the changes, each event counted `times` times (a batch that
  // the server took in but whose answer never reached the client is sent again, and the
  // protocol cannot tell a resent event from a new one); nothing is left to send, in
  // memory or on disk.
  void expectDelivered(std::int64_t times = 1) {
    EXPECT_EQ(client().getProfileId(), _profileId);
    EXPECT_EQ(serverProfile(), kChanges);
    EXPECT_EQ(_server.service().eventCount(_profileId, "banner", "CLICK"), times * kBannerClicks);
    EXPECT_EQ(_server.service().eventCount(_profileId, "banner", "VIEW"), times * kBannerViews);
    EXPECT_TRUE(enginePending().isEmpty());
    tick();  // stores the emptied logs
    EXPECT_TRUE(storedPending().isEmpty());
    EXPECT_EQ(client().getProfileValues("city"), kChanges.at("city"));
    EXPECT_EQ(client().getProfileValues("tags"), kChanges.at("tags"));
  }

  bool logged(const std::string& line) const {
    const auto lines = _test.logLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  // The lines logged with `prefix` (level and tag included), in order.
  std::vector<std::string> linesStartingWith(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const auto& line : _test.logLines()) {
      if (line.rfind(prefix, 0) == 0) found.push_back(line);
    }
    return found;
  }

  std::string _profileId;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_FAULTS_FAULT_FIXTURE_H_
