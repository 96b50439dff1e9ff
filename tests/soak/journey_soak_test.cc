// The demo's journey for 2,000 page views against the devserver with the demo's
// configuration: after the first 500, the client holds no more subscriptions, plug-ins,
// control targets or profile values than it did then, and the devserver's copy of the
// profile does not grow either (lengths count each run of digits once: counters and sums of
// points gain digits as they grow). The long form, with memory and time, is the soak benchmark
// (bench/journey_soak.cc).
#include "soak/journey_soak.h"

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "devserver/dev_server.h"
#include "pelorin/json_value.h"
#include "support/temp_folder.h"

namespace pelorin::soak {
namespace {

constexpr int kPageViews = 2000;
constexpr int kSettled = 500;
constexpr int kSampleEvery = 100;

// Over all profiles; each run of digits counted once.
std::size_t serverProfileBytes(devserver::DevServer& server) {
  std::size_t bytes = 0;
  for (const auto& id : server.service().profileIds()) {
    for (const auto& [name, values] : server.service().properties(id).value_or(Parameters())) {
      for (const auto& value : values) bytes += lengthWithoutDigits(value);
    }
  }
  return bytes;
}

TEST(JourneySoakTest, NothingGrowsAfterTheFirstFiveHundredPageViews) {
  std::ifstream file(PELORIN_DEMO_CONFIG);
  std::stringstream text;
  text << file.rdbuf();
  auto config = JsonValue::parse(text.str());
  ASSERT_TRUE(config);
  devserver::DevServerOptions options;
  options.config = std::move(*config);
  devserver::DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  testing::TempFolder folder;

  JourneySoak soak(server.baseUrl() + "/", folder.path());
  SoakSample settled;
  std::size_t settledServerBytes = 0;
  while (soak.pageViews() < kPageViews) {
    for (int i = 0; i < kSampleEvery / JourneySoak::kPageViewsPerCycle; ++i) {
      ASSERT_TRUE(soak.runCycle()) << "after " << soak.pageViews() << " page views";
    }
    const SoakSample now = soak.sample();
    const std::size_t serverBytes = serverProfileBytes(server);
    if (now.pageViews == kSettled) {
      settled = now;
      settledServerBytes = serverBytes;
      EXPECT_GT(settled.subscriptions, 0U);
      EXPECT_GT(settled.plugins, 0U);
      EXPECT_GT(settled.targets, 0U);
      EXPECT_GT(settled.profileValues, 0U);
    } else if (now.pageViews > kSettled) {
      SCOPED_TRACE("after " + std::to_string(now.pageViews) + " page views");
      EXPECT_LE(now.subscriptions, settled.subscriptions);
      EXPECT_LE(now.queuedEvents, settled.queuedEvents);
      EXPECT_LE(now.plugins, settled.plugins);
      EXPECT_LE(now.targets, settled.targets);
      EXPECT_LE(now.profileValues, settled.profileValues);
      EXPECT_LE(now.profileBytes, settled.profileBytes);
      EXPECT_LE(serverBytes, settledServerBytes);
    }
  }
}

}  // namespace
}  // namespace pelorin::soak
