#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/plugin_registry.h"
#include "plugins/fullscreen_lightbox.h"
#include "plugins/plugin_fixture.h"
#include "support/headless_views.h"

namespace pelorin {
namespace {

using headless::ViewController;

class FullscreenLightboxPluginTest : public testing::PluginTest {
 protected:
  FullscreenLightboxPluginTest() {
    _root->addChildViewController(_screen);
    _root->view()->setFrame(platform::Rect{{0, 0}, {400, 800}});
  }

  std::shared_ptr<ViewController> _root = std::make_shared<ViewController>("Root");
  std::shared_ptr<ViewController> _screen = std::make_shared<ViewController>("Screen");
};

TEST_F(FullscreenLightboxPluginTest, ShowsOverTheOutermostParentOfTheCurrentScreen) {
  PelorinClient::getInstance(_screen);
  FullscreenLightbox plugin(client(), context({{"html", {"<p>Hi</p>"}}, {"margins", {"10"}}}));

  plugin.onLoad();
  _test.mainLoop().runUntilIdle();

  ASSERT_TRUE(plugin.lightbox());
  EXPECT_TRUE(plugin.lightbox()->isShown());
  EXPECT_EQ(plugin.selectTopViewController(), _root);
  EXPECT_EQ(plugin.lightbox()->backgroundView()->superview(), _root->view());
  EXPECT_EQ(_root->view()->constraintFormats()[2], "H:|-40-[lightbox]-40-|");
  EXPECT_EQ(_root->view()->constraintFormats()[3], "V:|[topGuide]-80-[lightbox]-80-|");
}

TEST_F(FullscreenLightboxPluginTest, WithoutACurrentScreenNothingIsShown) {
  FullscreenLightbox plugin(client(), context({{"html", {"<p>Hi</p>"}}}));

  plugin.onLoad();
  _test.mainLoop().runUntilIdle();

  EXPECT_EQ(plugin.lightbox(), nullptr);
  EXPECT_EQ(plugin.selectTopViewController(), nullptr);
}

TEST_F(FullscreenLightboxPluginTest, UrlWinsOverHtml) {
  PelorinClient::getInstance(_screen);
  FullscreenLightbox plugin(
      client(), context({{"html", {"<p>Hi</p>"}}, {"url", {"shop.example.com/offer"}}}));

  plugin.onLoad();

  ASSERT_TRUE(plugin.lightbox());
  EXPECT_EQ(testing::asHeadless<headless::WebView>(plugin.lightbox()->lightboxView())
                .loads()
                .at(0)
                .request.url,
            "http://shop.example.com/offer");
}

TEST_F(FullscreenLightboxPluginTest, HideTimerOfFiveHidesFiveSecondsAfterShowing) {
  PelorinClient::getInstance(_screen);
  FullscreenLightbox plugin(client(), context({{"html", {"<p>Hi</p>"}}, {"hideTimer", {"5"}}}));
  plugin.onLoad();
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(plugin.lightbox() && plugin.lightbox()->isShown());

  _test.advanceClock(std::chrono::seconds(5));
  _test.mainLoop().runUntilIdle();

  EXPECT_FALSE(plugin.lightbox()->isShown());
  EXPECT_TRUE(_root->view()->subviews().empty());
}

// The first string of the parameter, "" included.
TEST_F(FullscreenLightboxPluginTest, ParameterValuesAreTheFirstStrings) {
  FullscreenLightbox plugin(client(), context({{"url", {""}}, {"html", {"<p>a</p>", "<p>b</p>"}}}));

  EXPECT_EQ(plugin.getValueFromParameters("url"), "");
  EXPECT_EQ(plugin.getValueFromParameters("html"), "<p>a</p>");
  EXPECT_EQ(plugin.getValueFromParameters("content"), std::nullopt);
}

TEST_F(FullscreenLightboxPluginTest, ServerInteractionLoadsTheBuiltInClass) {
  PelorinClient::getInstance(_screen);

  loadInteraction("PelorinClient.FullscreenLightbox", {{"content", {"<p>Sale</p>"}}});

  ASSERT_EQ(_root->view()->subviews().size(), 2U);
  auto webView = std::dynamic_pointer_cast<headless::WebView>(_root->view()->subviews()[1]);
  ASSERT_TRUE(webView);
  EXPECT_EQ(webView->loads().at(0).html,
            PLLightbox::constructHtml("<p>Sale</p>", std::nullopt, std::nullopt));
}

TEST(BuiltInPluginsTest, TheLibrarysPluginsAreRegisteredInTheirOrder) {
  std::vector<std::string> names;
  for (const auto& pluginClass : builtInPluginClasses()) names.push_back(pluginClass.name());

  const std::vector<std::string> mine = {"PelorinClient.FullscreenLightbox",
                                         "PelorinClient.PreferredHourListener",
                                         "PelorinClient.GlobalListener"};
  // Other built-ins come before these three; these keep their relative order at the end.
  ASSERT_GE(names.size(), mine.size());
  EXPECT_EQ(std::vector<std::string>(names.end() - 3, names.end()), mine);
  for (const auto& name : mine) {
    auto found = RuntimeClasses::lookup(name);
    ASSERT_TRUE(found) << name;
    EXPECT_TRUE(found->isPlugin()) << name;
  }
}

}  // namespace
}  // namespace pelorin
