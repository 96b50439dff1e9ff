#include "pelorin/pelorin_event_factory.h"

#include <gtest/gtest.h>

namespace pelorin {
namespace {

TEST(PelorinEventFactoryTest, TwoCallsReturnTheSameBus) {
  PelorinEventManager& first = PelorinEventFactory::getInstance();
  PelorinEventManager& second = PelorinEventFactory::getInstance();
  EXPECT_EQ(&first, &second);
}

}  // namespace
}  // namespace pelorin
