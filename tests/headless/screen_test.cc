// A whole screen built with the toolkit, read and driven the way the library's listeners
// and the demo do: outlets by name, text of the tree, target-action on the main thread.
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/headless/toolkit.h"
#include "pelorin/platform/platform.h"
#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

using pelorin::testing::TestPlatform;

// The text of a view and all views below it, as a set.
// Through the toolkit interfaces, as the library reads a screen.
void collectText(const platform::View& view, std::set<std::string>& out) {
  if (view.hasTextProperty()) {
    if (auto text = view.text()) out.insert(*text);
  }
  view.forEachSubview([&out](platform::View& subview) { collectText(subview, out); });
}

class ScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    checkout->view()->addSubview(price);
    checkout->view()->addSubview(email);
    checkout->view()->addSubview(newsletter);
    checkout->view()->addSubview(buy);
    checkout->addOutlet("buyButton", buy);
    checkout->addOutlet("emailField", email);
    test.ui().setKeyWindowRootViewController(checkout);
  }

  TestPlatform test;
  std::shared_ptr<ViewController> checkout = std::make_shared<ViewController>("Checkout");
  std::shared_ptr<Label> price = std::make_shared<Label>("Spring sale: 20% off");
  std::shared_ptr<TextField> email = std::make_shared<TextField>();
  std::shared_ptr<Switch> newsletter = std::make_shared<Switch>();
  std::shared_ptr<Button> buy = std::make_shared<Button>("Buy");
};

TEST_F(ScreenTest, VisibleTextIsThatOfLabelsAndFields) {
  email->typeText("ann@example.com");
  std::set<std::string> text;

  collectText(*test.ui().keyWindowRootViewController()->rootView(), text);

  EXPECT_EQ(text, (std::set<std::string>{"Spring sale: 20% off", "ann@example.com"}));
}

TEST_F(ScreenTest, OutletFoundByNameReceivesTapsOnTheMainThread) {
  auto service = std::make_shared<std::vector<std::string>>();
  auto control = std::dynamic_pointer_cast<Control>(checkout->viewForProperty("buyButton"));
  ASSERT_NE(control, nullptr);
  control->addTarget(
      service,
      [service = std::weak_ptr(service)](platform::Control& sender) {
        // Work triggered by a tap is handed on through the main thread, as plug-ins do.
        Platform::current().mainThread().post(
            [service, description = sender.asView().description()] {
              if (auto log = service.lock()) log->push_back(description);
            });
      },
      ControlEvents::kTouchDown);

  buy->tap();
  EXPECT_TRUE(service->empty());
  test.mainLoop().runUntilIdle();

  EXPECT_EQ(*service, (std::vector<std::string>{"<Button; frame = (0 0; 0 0); title = 'Buy'>"}));
}

TEST_F(ScreenTest, RootViewFillsTheScreenAndTitleIsNotAView) {
  EXPECT_EQ(checkout->view()->bounds().size, (Size{390, 844}));
  EXPECT_TRUE(checkout->respondsToProperty("title"));
  EXPECT_EQ(checkout->viewForProperty("title"), nullptr);
  EXPECT_EQ(checkout->viewForProperty("emailField"), email);
}

}  // namespace
}  // namespace pelorin::headless
