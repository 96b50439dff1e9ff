#include "listeners/view_rule_map.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

// A view as an adapter over widgets it does not own makes it: a wrapper that answers
// `isGone()` once its widget was destroyed.
class WrapperView : public platform::View {
 public:
  bool isGone() const override { return gone; }
  std::string_view className() const override { return "Wrapper"; }
  std::string description() const override { return "<Wrapper>"; }
  std::shared_ptr<platform::View> superview() const override { return nullptr; }
  void forEachSubview(SubviewVisitor /*visit*/) const override {}
  bool hasTextProperty() const override { return false; }
  std::optional<std::string> text() const override { return std::nullopt; }
  platform::Rect bounds() const override { return {}; }
  void addSubview(const std::shared_ptr<platform::View>& /*view*/) override {}
  void removeFromSuperview() override {}
  bool addConstraint(platform::LayoutConstraint /*constraint*/) override { return false; }
  void setBackgroundColor(platform::Color /*color*/) override {}

  bool gone = false;
};

JsonValue rule(std::string_view text) { return JsonValue::parse(text).value(); }

TEST(ViewRuleMapTest, RulesAreFoundByTheSameViewInOrder) {
  ViewRuleMap map;
  auto view = std::make_shared<WrapperView>();

  map.add(view, rule(R"({"n":1})"));
  map.add(view, rule(R"({"n":2})"));

  auto rules = map.find(*view);
  ASSERT_TRUE(rules.has_value());
  ASSERT_EQ(rules->size(), 2U);
  EXPECT_EQ((*rules)[0].toCompactString(), R"({"n":1})");
  EXPECT_EQ((*rules)[1].toCompactString(), R"({"n":2})");
}

TEST(ViewRuleMapTest, AnotherViewHasNoRules) {
  ViewRuleMap map;
  auto view = std::make_shared<WrapperView>();
  auto other = std::make_shared<WrapperView>();
  map.add(view, rule(R"({"n":1})"));

  EXPECT_EQ(map.find(*other), std::nullopt);
  EXPECT_TRUE(map.rulesOf(*other).empty());
}

// The wrapper of a destroyed widget may live on in someone's hands; its rules do not.
TEST(ViewRuleMapTest, AViewThatIsGoneHasNoRules) {
  ViewRuleMap map;
  auto view = std::make_shared<WrapperView>();
  map.add(view, rule(R"({"n":1})"));

  view->gone = true;

  EXPECT_EQ(map.find(*view), std::nullopt);
}

}  // namespace
}  // namespace pelorin
