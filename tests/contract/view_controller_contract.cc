// The contract of `platform::ViewController` and `platform::PickerView`: titles, root views,
// parents, outlets; pickers read as the library reads them.
#include <memory>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "contract/toolkit_driver.h"

namespace pelorin::contract {
namespace {

TEST_P(ViewControllerContractTest, TitleIsTheScreensTitle) {
  EXPECT_EQ(driver().makeScreen("Checkout")->title(), "Checkout");
  EXPECT_EQ(driver().makeScreen(std::nullopt)->title(), std::nullopt);
}

TEST_P(ViewControllerContractTest, RootViewIsTheSameEachTime) {
  auto screen = driver().makeScreen("Home");

  auto root = screen->rootView();

  ASSERT_NE(root, nullptr);
  EXPECT_EQ(screen->rootView(), root);
  EXPECT_FALSE(screen->isGone());
}

TEST_P(ViewControllerContractTest, OutletsAnswerTheirViews) {
  auto screen = driver().makeScreen("Checkout");
  auto buy = driver().makeButton("Buy");
  driver().addOutlet(*screen, "buyButton", buy);

  EXPECT_TRUE(screen->respondsToProperty("buyButton"));
  EXPECT_EQ(screen->viewForProperty("buyButton"), buy);
  EXPECT_EQ(screen->viewForProperty("buyButton"), screen->viewForProperty("buyButton"));
  EXPECT_EQ(buy->superview(), screen->rootView());
}

TEST_P(ViewControllerContractTest, UnknownPropertiesAnswerNothing) {
  auto screen = driver().makeScreen("Checkout");

  EXPECT_FALSE(screen->respondsToProperty("missing"));
  EXPECT_EQ(screen->valueForProperty("missing"), std::nullopt);
  EXPECT_EQ(screen->viewForProperty("missing"), nullptr);
}

TEST_P(ViewControllerContractTest, TitleIsAStringPropertyNotAView) {
  auto screen = driver().makeScreen("Checkout");

  auto title = screen->valueForProperty("title");

  ASSERT_TRUE(title.has_value());
  ASSERT_TRUE(std::holds_alternative<std::string>(*title));
  EXPECT_EQ(std::get<std::string>(*title), "Checkout");
  EXPECT_EQ(screen->viewForProperty("title"), nullptr);
}

TEST_P(ViewControllerContractTest, ViewPropertyIsTheRootView) {
  auto screen = driver().makeScreen("Checkout");

  EXPECT_EQ(screen->viewForProperty("view"), screen->rootView());
}

TEST_P(ViewControllerContractTest, StringPropertiesAreNotViews) {
  auto screen = driver().makeScreen("Checkout");
  driver().addStringProperty(*screen, "campaign", "spring");

  auto value = screen->valueForProperty("campaign");

  ASSERT_TRUE(value.has_value());
  ASSERT_TRUE(std::holds_alternative<std::string>(*value));
  EXPECT_EQ(std::get<std::string>(*value), "spring");
  EXPECT_EQ(screen->viewForProperty("campaign"), nullptr);
}

TEST_P(ViewControllerContractTest, AChildScreenKnowsItsParent) {
  auto navigation = driver().makeScreen("Navigation");
  auto product = driver().makeScreen("Product");

  driver().addChildScreen(*navigation, product);

  EXPECT_EQ(product->parentViewController(), navigation);
  EXPECT_EQ(navigation->parentViewController(), nullptr);
}

TEST_P(ViewControllerContractTest, TopLayoutGuideIsTheSameViewOutsideTheTree) {
  auto screen = driver().makeScreen("Home");

  auto guide = screen->topLayoutGuide();

  ASSERT_NE(guide, nullptr);
  EXPECT_EQ(screen->topLayoutGuide(), guide);
  EXPECT_EQ(guide->superview(), nullptr);
}

// --- Picker views

TEST_P(PickerViewContractTest, FirstRowsStartSelected) {
  auto view = driver().makePicker({{"S", "M", "L"}, {"red", "blue"}});
  platform::PickerView* picker = view->asPickerView();
  ASSERT_NE(picker, nullptr);

  EXPECT_EQ(picker->numberOfComponents(), 2U);
  EXPECT_EQ(picker->selectedRow(0), 0U);
  EXPECT_EQ(picker->selectedRow(1), 0U);
  EXPECT_EQ(picker->titleForRow(2, 0), "L");
  EXPECT_EQ(picker->titleForRow(1, 1), "blue");
}

TEST_P(PickerViewContractTest, OutOfRangeAnswersNothing) {
  auto view = driver().makePicker({{"S", "M"}});
  platform::PickerView* picker = view->asPickerView();
  ASSERT_NE(picker, nullptr);

  EXPECT_EQ(picker->selectedRow(1), std::nullopt);
  EXPECT_EQ(picker->titleForRow(2, 0), std::nullopt);
  EXPECT_EQ(picker->titleForRow(0, 1), std::nullopt);
}

TEST_P(PickerViewContractTest, TheUsersPickIsTheSelectedRow) {
  auto view = driver().makePicker({{"S", "M", "L"}, {"red", "blue"}});

  driver().pickRow(*view, 2, 0);
  driver().pickRow(*view, 1, 1);

  platform::PickerView* picker = view->asPickerView();
  ASSERT_NE(picker, nullptr);
  EXPECT_EQ(picker->selectedRow(0), 2U);
  EXPECT_EQ(picker->selectedRow(1), 1U);
}

TEST_P(PickerViewContractTest, APickerIsNotAControl) {
  auto view = driver().makePicker({{"S"}});

  EXPECT_EQ(view->asControl(), nullptr);
  EXPECT_FALSE(view->hasTextProperty());
}

// A toolkit may run these suites in a program of their own (toolkit_driver.h).
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewControllerContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PickerViewContractTest);

}  // namespace
}  // namespace pelorin::contract
