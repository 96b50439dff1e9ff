#include "client/segments_and_connections.h"

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

class SegmentsAndConnectionsTest : public ::testing::Test {
 protected:
  testing::TestPlatform _test;
};

TEST_F(SegmentsAndConnectionsTest, SegmentsInListOrder) {
  auto segments = addSegments(json(R"([{"id":"s1","name":"One"},{"id":"s2","name":"Two"}])").ref());
  ASSERT_EQ(segments.size(), 2U);
  EXPECT_EQ(segments[0].getId(), "s1");
  EXPECT_EQ(segments[0].getName(), "One");
  EXPECT_EQ(segments[1].getId(), "s2");
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_CLIENT]: 2 segment(s) added!"});
}

TEST_F(SegmentsAndConnectionsTest, SegmentWithNumericIdIsSkipped) {
  auto segments =
      addSegments(json(R"([{"id":7,"name":"Seven"},{"id":"s","name":"S"},{"id":"x"}])").ref());
  ASSERT_EQ(segments.size(), 1U);
  EXPECT_EQ(segments[0].getId(), "s");
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_CLIENT]: 1 segment(s) added!"});
}

TEST_F(SegmentsAndConnectionsTest, DuplicateSegmentIdsAreKeptInOrder) {
  auto segments = addSegments(json(R"([{"id":"s","name":"A"},{"id":"s","name":"B"}])").ref());
  ASSERT_EQ(segments.size(), 2U);
  EXPECT_EQ(segments[0].getName(), "A");
  EXPECT_EQ(segments[1].getName(), "B");
}

TEST_F(SegmentsAndConnectionsTest, ConnectionUsesOnlyTheFirstParametersEntry) {
  auto connections = addConnections(json(R"([{"id":"c1","parameters":[
      {"locale":"en","parameter":[{"id":"url","value":["https://a"]}]},
      {"locale":"nl","parameter":[{"id":"url","value":["https://b"]}]}]}])")
                                        .ref());
  ASSERT_EQ(connections.size(), 1U);
  EXPECT_EQ(connections[0].getId(), "c1");
  EXPECT_EQ(connections[0].getParameters(), (Parameters{{"url", {"https://a"}}}));
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_CLIENT]: 1 connection(s) added!"});
}

TEST_F(SegmentsAndConnectionsTest, ConnectionWithEmptyParametersIsSkipped) {
  auto connections = addConnections(json(R"([{"id":"c1","parameters":[]}])").ref());
  EXPECT_TRUE(connections.empty());
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_CLIENT]: 0 connection(s) added!"});
}

TEST_F(SegmentsAndConnectionsTest, MalformedConnectionsAreSkipped) {
  auto connections = addConnections(json(R"([
      {"parameters":[{"parameter":[]}]},
      {"id":"noList","parameters":{"parameter":[]}},
      {"id":"noParameter","parameters":[{"locale":"en"}]},
      {"id":"ok","parameters":[{"parameter":[{"id":"a","value":["1"]},{"id":"a","value":["2"]}]}]}])")
                                        .ref());
  ASSERT_EQ(connections.size(), 1U);
  EXPECT_EQ(connections[0].getId(), "ok");
  EXPECT_EQ(connections[0].getParameters(), (Parameters{{"a", {"2"}}}));  // later duplicate wins
}

TEST_F(SegmentsAndConnectionsTest, NotAListGivesNothing) {
  EXPECT_TRUE(addSegments(json(R"({"id":"s","name":"n"})").ref()).empty());
  EXPECT_TRUE(addConnections(JsonRef()).empty());
}

}  // namespace
}  // namespace pelorin
