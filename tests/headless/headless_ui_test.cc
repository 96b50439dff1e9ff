#include "pelorin/headless/headless_ui.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/headless/controls.h"
#include "pelorin/headless/view_controller.h"
#include "pelorin/headless/web_view.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

using pelorin::testing::TestPlatform;

class HeadlessUiTest : public ::testing::Test {
 protected:
  TestPlatform test;
  HeadlessUi& ui = test.ui();
};

TEST_F(HeadlessUiTest, ScreenIs390By844PointsAtScaleThreeUntilSet) {
  EXPECT_EQ(ui.screenSize(), (Size{390, 844}));
  EXPECT_EQ(ui.screenScale(), 3);

  ui.setScreen(Size{400, 800}, 2);

  EXPECT_EQ(ui.screenSize(), (Size{400, 800}));
  EXPECT_EQ(ui.screenScale(), 2);
}

TEST_F(HeadlessUiTest, KeyWindowHasNoRootControllerUntilTheHostSetsOne) {
  EXPECT_EQ(ui.keyWindowRootViewController(), nullptr);
  auto home = std::make_shared<ViewController>("Home");

  ui.setKeyWindowRootViewController(home);

  EXPECT_EQ(ui.keyWindowRootViewController(), home);
}

TEST_F(HeadlessUiTest, RootControllerViewFillsTheScreen) {
  ui.setScreen(Size{400, 800}, 2);
  auto home = std::make_shared<ViewController>("Home");
  home->setView(std::make_shared<View>(Rect{{5, 5}, {10, 10}}));

  ui.setKeyWindowRootViewController(home);

  EXPECT_EQ(home->view()->frame(), (Rect{{0, 0}, {400, 800}}));
}

TEST_F(HeadlessUiTest, AlertIsRecordedWithItsTitleMessageAndButtons) {
  auto home = std::make_shared<ViewController>("Home");
  ui.setKeyWindowRootViewController(home);

  EXPECT_TRUE(ui.presentAlert(
      Alert{"Connected to Pelorin Simulator", "Username: ann \nMobile session: 42", {{"OK"}}}));

  const auto alerts = ui.alerts();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0].alert.title, "Connected to Pelorin Simulator");
  EXPECT_EQ(alerts[0].alert.message, "Username: ann \nMobile session: 42");
  ASSERT_EQ(alerts[0].alert.actions.size(), 1u);
  EXPECT_EQ(alerts[0].alert.actions[0].title, "OK");
  EXPECT_EQ(alerts[0].presenter.lock(), home);
  EXPECT_FALSE(alerts[0].dismissed);
  EXPECT_EQ(ui.visibleAlert()->title, "Connected to Pelorin Simulator");
}

TEST_F(HeadlessUiTest, AlertWithoutARootControllerIsNotShown) {
  EXPECT_FALSE(ui.presentAlert(Alert{"Title", "Message", {{"OK"}}}));

  EXPECT_TRUE(ui.alerts().empty());
  EXPECT_EQ(ui.visibleAlert(), std::nullopt);
}

TEST_F(HeadlessUiTest, TappingAnAlertButtonDismissesItAndRunsItsHandler) {
  ui.setKeyWindowRootViewController(std::make_shared<ViewController>());
  std::vector<std::string> tapped;
  ui.presentAlert(
      Alert{"Delete?",
            "",
            {{"Cancel", AlertActionStyle::kCancel, [&] { tapped.emplace_back("Cancel"); }},
             {"Delete", AlertActionStyle::kDestructive, [&] { tapped.emplace_back("Delete"); }}}});

  EXPECT_FALSE(ui.tapAlertButton("Keep"));
  EXPECT_TRUE(ui.tapAlertButton("Delete"));
  EXPECT_FALSE(ui.tapAlertButton("Cancel"));  // already dismissed

  EXPECT_EQ(tapped, (std::vector<std::string>{"Delete"}));
  EXPECT_TRUE(ui.alerts()[0].dismissed);
  EXPECT_EQ(ui.visibleAlert(), std::nullopt);
}

TEST_F(HeadlessUiTest, OpenedUrlsAreRecordedInOrder) {
  ui.openURL("https://shop.example/deal");
  ui.openURL("mailto:help@shop.example");

  EXPECT_EQ(ui.openedUrls(),
            (std::vector<std::string>{"https://shop.example/deal", "mailto:help@shop.example"}));
}

TEST_F(HeadlessUiTest, TestPlatformInstallsItsMainLoopAndUi) {
  EXPECT_EQ(&Platform::current().mainThread(), &test.mainLoop());
  EXPECT_EQ(&Platform::current().ui(), &test.ui());
}

TEST(PlatformDefaultsTest, DefaultPlatformHasAHeadlessMainLoopAndUi) {
  Platform platform;

  EXPECT_NE(dynamic_cast<platform::MainLoop*>(&platform.mainThread()), nullptr);
  EXPECT_NE(dynamic_cast<HeadlessUi*>(&platform.ui()), nullptr);
  EXPECT_TRUE(platform.mainThread().isMainThread());
}

TEST(PlatformDefaultsTest, ServicesCanBeReplaced) {
  Platform platform;
  auto ui = std::make_unique<HeadlessUi>();
  HeadlessUi* installed = ui.get();

  platform.setUi(std::move(ui));

  EXPECT_EQ(&platform.ui(), installed);
}

TEST(HeadlessViewFactoryTest, ViewsArePlacedByConstraints) {
  HeadlessViewFactory factory;

  auto container = std::dynamic_pointer_cast<View>(factory.makeContainerView({}));
  auto web = std::dynamic_pointer_cast<WebView>(factory.makeWebView());
  auto button = std::dynamic_pointer_cast<Button>(
      factory.makeImageButton(platform::Image{"close.png", {1, 2}}));

  ASSERT_TRUE(container && web && button);
  EXPECT_FALSE(container->translatesAutoresizingMaskIntoConstraints());
  EXPECT_FALSE(web->translatesAutoresizingMaskIntoConstraints());
  EXPECT_FALSE(button->translatesAutoresizingMaskIntoConstraints());
  EXPECT_EQ(button->image(), (platform::Image{"close.png", {1, 2}}));
  EXPECT_EQ(button->title(), std::nullopt);
}

TEST(HeadlessViewFactoryTest, ContainerTapRunsItsActionThroughARecogniser) {
  HeadlessViewFactory factory;
  int taps = 0;
  auto container = std::dynamic_pointer_cast<View>(factory.makeContainerView([&] { ++taps; }));

  container->tap();
  container->setHidden(true);
  container->tap();

  EXPECT_EQ(container->gestureRecognizers().size(), 1U);
  EXPECT_EQ(taps, 1);
}

TEST(HeadlessViewFactoryTest, ContainerWithoutActionHasNoRecogniser) {
  HeadlessViewFactory factory;

  auto container = std::dynamic_pointer_cast<View>(factory.makeContainerView({}));

  EXPECT_TRUE(container->gestureRecognizers().empty());
}

}  // namespace
}  // namespace pelorin::headless
