#include "protocol/pelorin_reachability.h"

#include <gtest/gtest.h>

#include "pelorin/platform/reachability.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using platform::FixedReachability;
using platform::ReachabilityFlags;

class PelorinReachabilityTest : public ::testing::Test {
 protected:
  PelorinReachabilityTest() {
    auto reachability = std::make_unique<FixedReachability>();
    _reachability = reachability.get();
    _test.platform().setReachability(std::move(reachability));
  }

  void answer(std::optional<ReachabilityFlags> flags) { _reachability->set(flags); }

  testing::TestPlatform _test;

 private:
  FixedReachability* _reachability;
};

TEST_F(PelorinReachabilityTest, ReachableWithoutConnectionRequiredIsConnected) {
  answer(ReachabilityFlags{.reachable = true, .connectionRequired = false});
  EXPECT_TRUE(PelorinReachability::isConnectedToNetwork());
}

TEST_F(PelorinReachabilityTest, ReachableOnlyAfterAConnectionIsEstablishedIsNotConnected) {
  answer(ReachabilityFlags{.reachable = true, .connectionRequired = true});
  EXPECT_FALSE(PelorinReachability::isConnectedToNetwork());
}

TEST_F(PelorinReachabilityTest, NotReachableIsNotConnected) {
  answer(ReachabilityFlags{.reachable = false, .connectionRequired = false});
  EXPECT_FALSE(PelorinReachability::isConnectedToNetwork());
}

TEST_F(PelorinReachabilityTest, FlagsThatCannotBeReadAreNotConnected) {
  answer(std::nullopt);
  EXPECT_FALSE(PelorinReachability::isConnectedToNetwork());
}

TEST_F(PelorinReachabilityTest, EveryCallAsksAgain) {
  answer(ReachabilityFlags{.reachable = true, .connectionRequired = false});
  ASSERT_TRUE(PelorinReachability::isConnectedToNetwork());

  answer(ReachabilityFlags{.reachable = false, .connectionRequired = false});

  EXPECT_FALSE(PelorinReachability::isConnectedToNetwork());
}

TEST(PlatformReachabilityTest, DefaultPlatformAnswersFromTheRoutingTable) {
  Platform platform;
  EXPECT_NE(dynamic_cast<platform::PosixReachability*>(&platform.reachability()), nullptr);
}

}  // namespace
}  // namespace pelorin
