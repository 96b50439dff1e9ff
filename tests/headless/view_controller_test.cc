#include "pelorin/headless/view_controller.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/headless/controls.h"
#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

using pelorin::testing::TestPlatform;

// A screen built the way an app developer would: views made in viewDidLoad, one outlet
// answered by an override.
class CheckoutScreen : public ViewController {
 public:
  CheckoutScreen() : ViewController("Checkout") {}

  std::optional<PropertyValue> valueForProperty(std::string_view name) override {
    if (name == "buyButton") return PropertyValue(_buy);
    return ViewController::valueForProperty(name);
  }

  int loads = 0;

 protected:
  void viewDidLoad() override {
    ++loads;
    view()->addSubview(_buy);
  }

 private:
  std::shared_ptr<Button> _buy = std::make_shared<Button>("Buy");
};

class ViewControllerTest : public ::testing::Test {
 protected:
  TestPlatform test;
};

TEST_F(ViewControllerTest, RootViewLoadsOnFirstAccessAsLargeAsTheScreen) {
  auto controller = std::make_shared<ViewController>();
  EXPECT_FALSE(controller->isViewLoaded());

  auto view = controller->view();

  EXPECT_TRUE(controller->isViewLoaded());
  EXPECT_EQ(view->frame(), (Rect{{0, 0}, {390, 844}}));
  EXPECT_EQ(controller->view(), view);
}

TEST_F(ViewControllerTest, ViewDidLoadBuildsTheScreenOnce) {
  auto screen = std::make_shared<CheckoutScreen>();

  screen->view();
  screen->view();

  EXPECT_EQ(screen->loads, 1);
  ASSERT_EQ(screen->view()->subviews().size(), 1u);
  EXPECT_EQ(screen->view()->subviews()[0], screen->viewForProperty("buyButton"));
}

TEST_F(ViewControllerTest, TitleIsAPropertyButNotAView) {
  auto controller = std::make_shared<ViewController>("Home");

  EXPECT_TRUE(controller->respondsToProperty("title"));
  EXPECT_EQ(controller->viewForProperty("title"), nullptr);
  EXPECT_EQ(controller->valueForProperty("title"), PropertyValue(std::string("Home")));
}

TEST_F(ViewControllerTest, TitleWithoutValueIsNil) {
  auto controller = std::make_shared<ViewController>();

  EXPECT_EQ(controller->title(), std::nullopt);
  EXPECT_TRUE(controller->respondsToProperty("title"));
  EXPECT_EQ(controller->valueForProperty("title"), PropertyValue(std::monostate{}));
}

TEST_F(ViewControllerTest, OutletIsFoundByItsName) {
  auto controller = std::make_shared<ViewController>("Checkout");
  auto buy = std::make_shared<Button>("Buy");
  controller->view()->addSubview(buy);

  controller->addOutlet("buyButton", buy);

  EXPECT_TRUE(controller->respondsToProperty("buyButton"));
  EXPECT_EQ(controller->viewForProperty("buyButton"), buy);
}

TEST_F(ViewControllerTest, UnknownNameIsNoProperty) {
  auto controller = std::make_shared<ViewController>();
  controller->addOutlet("buyButton", std::make_shared<Button>());

  EXPECT_FALSE(controller->respondsToProperty("BuyButton"));
  EXPECT_FALSE(controller->respondsToProperty("#buyButton"));
  EXPECT_EQ(controller->valueForProperty("missing"), std::nullopt);
  EXPECT_EQ(controller->viewForProperty("missing"), nullptr);
}

TEST_F(ViewControllerTest, NilOutletIsAPropertyWithoutAView) {
  auto controller = std::make_shared<ViewController>();

  controller->addOutlet("banner", nullptr);

  EXPECT_TRUE(controller->respondsToProperty("banner"));
  EXPECT_EQ(controller->viewForProperty("banner"), nullptr);
}

TEST_F(ViewControllerTest, StringPropertyIsNotAView) {
  auto controller = std::make_shared<ViewController>();

  controller->setProperty("campaign", std::string("spring"));

  EXPECT_TRUE(controller->respondsToProperty("campaign"));
  EXPECT_EQ(controller->viewForProperty("campaign"), nullptr);
  controller->removeProperty("campaign");
  EXPECT_FALSE(controller->respondsToProperty("campaign"));
}

TEST_F(ViewControllerTest, ViewPropertyIsTheRootView) {
  auto controller = std::make_shared<ViewController>();

  EXPECT_EQ(controller->viewForProperty("view"), controller->view());
}

TEST_F(ViewControllerTest, TitleAndViewCannotBeReplacedByOutlets) {
  auto controller = std::make_shared<ViewController>("Home");
  auto label = std::make_shared<Label>("x");

  controller->addOutlet("title", label);
  controller->addOutlet("view", label);

  EXPECT_EQ(controller->viewForProperty("title"), nullptr);
  EXPECT_NE(controller->viewForProperty("view"), label);
}

TEST_F(ViewControllerTest, OutletKeepsItsViewAlive) {
  auto controller = std::make_shared<ViewController>();
  auto label = std::make_shared<Label>("kept");
  std::weak_ptr<Label> weak = label;
  controller->addOutlet("note", label);

  label.reset();

  EXPECT_FALSE(weak.expired());
  EXPECT_EQ(controller->viewForProperty("note")->text(), "kept");
}

TEST_F(ViewControllerTest, SubclassAnswersForItsOwnPropertiesAndInheritsTheRest) {
  auto screen = std::make_shared<CheckoutScreen>();

  EXPECT_TRUE(screen->respondsToProperty("buyButton"));
  EXPECT_EQ(screen->viewForProperty("buyButton")->className(), "Button");
  EXPECT_EQ(screen->valueForProperty("title"), PropertyValue(std::string("Checkout")));
  EXPECT_FALSE(screen->respondsToProperty("sellButton"));
}

TEST_F(ViewControllerTest, ChildKnowsItsParentWeakly) {
  auto navigation = std::make_shared<ViewController>("Navigation");
  auto screen = std::make_shared<ViewController>("Screen");

  navigation->addChildViewController(screen);

  EXPECT_EQ(screen->parentViewController(), navigation);
  ASSERT_EQ(navigation->childViewControllers().size(), 1u);
  EXPECT_EQ(navigation->childViewControllers()[0], screen);
  navigation.reset();
  EXPECT_EQ(screen->parentViewController(), nullptr);
}

TEST_F(ViewControllerTest, FollowingParentsReachesTheOutermostController) {
  auto tabs = std::make_shared<ViewController>("Tabs");
  auto navigation = std::make_shared<ViewController>("Navigation");
  auto screen = std::make_shared<ViewController>("Screen");
  tabs->addChildViewController(navigation);
  navigation->addChildViewController(screen);

  std::shared_ptr<platform::ViewController> top = screen;
  while (auto parent = top->parentViewController()) top = parent;

  EXPECT_EQ(top, tabs);
}

TEST_F(ViewControllerTest, ChildMovesBetweenParentsAndCanLeave) {
  auto first = std::make_shared<ViewController>();
  auto second = std::make_shared<ViewController>();
  auto child = std::make_shared<ViewController>();
  first->addChildViewController(child);

  second->addChildViewController(child);
  EXPECT_TRUE(first->childViewControllers().empty());
  EXPECT_EQ(child->parentViewController(), second);

  child->removeFromParentViewController();
  EXPECT_TRUE(second->childViewControllers().empty());
  EXPECT_EQ(child->parentViewController(), nullptr);
}

TEST_F(ViewControllerTest, AddingItselfOrAnAncestorAsChildIsIgnored) {
  auto parent = std::make_shared<ViewController>();
  auto child = std::make_shared<ViewController>();
  parent->addChildViewController(child);

  child->addChildViewController(parent);
  child->addChildViewController(child);

  EXPECT_TRUE(child->childViewControllers().empty());
  EXPECT_EQ(parent->parentViewController(), nullptr);
}

TEST_F(ViewControllerTest, TopLayoutGuideIsAViewOutsideTheTree) {
  auto controller = std::make_shared<ViewController>();

  auto guide = controller->topLayoutGuide();

  EXPECT_EQ(controller->topLayoutGuide(), guide);
  EXPECT_EQ(guide->superview(), nullptr);
  EXPECT_TRUE(controller->view()->subviews().empty());
}

}  // namespace
}  // namespace pelorin::headless
