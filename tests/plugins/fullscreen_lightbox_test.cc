#include "plugins/fullscreen_lightbox.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

using platform::ViewController;
using platform::WebView;

class FullscreenLightboxTest : public ::testing::Test {
 protected:
  FullscreenLightboxTest() { _host->view()->setFrame(platform::Rect{{0, 0}, {400, 800}}); }

  std::shared_ptr<PLLightbox> present(const Parameters& parameters) {
    auto lightbox = FullscreenLightbox::presentLightbox(_host, parameters);
    _test.mainLoop().runUntilIdle();
    return lightbox;
  }

  testing::TestPlatform _test;
  std::shared_ptr<ViewController> _host = std::make_shared<ViewController>("Host");
};

TEST_F(FullscreenLightboxTest, MarginsTenOnA400By800HostGive40And80PointMargins) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"margins", {"10"}}});

  ASSERT_TRUE(lightbox);
  EXPECT_TRUE(lightbox->isShown());
  EXPECT_EQ(
      _host->view()->constraintFormats(),
      (std::vector<std::string>{"H:|-0-[background]-0-|", "V:|-0-[background]-0-|",
                                "H:|-40-[lightbox]-40-|", "V:|[topGuide]-80-[lightbox]-80-|"}));
}

TEST_F(FullscreenLightboxTest, HideTimerXyzIsIgnored) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"hideTimer", {"xyz"}}});

  _test.advanceClock(std::chrono::hours(1));
  _test.mainLoop().runUntilIdle();

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->hideTimer, std::nullopt);
  EXPECT_TRUE(lightbox->isShown());
  EXPECT_EQ(
      _test.logLines(),
      std::vector<std::string>{"WARNING [PL_INTERACTION]: The hideTimer value 'xyz' is ignored"});
}

TEST_F(FullscreenLightboxTest, HideTimerFiveHidesTheLightboxFiveSecondsAfterItIsShown) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"hideTimer", {"5"}}});
  ASSERT_TRUE(lightbox);
  ASSERT_TRUE(lightbox->isShown());

  _test.advanceClock(std::chrono::milliseconds(4999));
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(lightbox->isShown());

  _test.advanceClock(std::chrono::milliseconds(1));
  _test.mainLoop().runUntilIdle();
  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(_host->view()->subviews().empty());
}

TEST_F(FullscreenLightboxTest, HideTimerThatIsNotAWholeNumberOfSecondsIsIgnored) {
  for (const std::string text : {"5.5", " 5", "-1", "31536001", "99999999999999999999"}) {
    _test.console().clear();
    auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"hideTimer", {text}}});
    ASSERT_TRUE(lightbox);
    EXPECT_EQ(lightbox->hideTimer, std::nullopt) << text;
    EXPECT_EQ(_test.logLines(),
              std::vector<std::string>{"WARNING [PL_INTERACTION]: The hideTimer value '" + text +
                                       "' is ignored"});
    lightbox->hide();
  }
}

TEST_F(FullscreenLightboxTest, UrlWinsOverHtml) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}},
                           {"url", {"https://shop.example.com/offer"}},
                           {"content", {"<p>Other</p>"}}});

  ASSERT_TRUE(lightbox);
  const auto& loads = lightbox->lightboxView()->loads();
  ASSERT_EQ(loads.size(), 1U);
  EXPECT_EQ(loads[0].kind, WebView::Load::Kind::kRequest);
  EXPECT_EQ(loads[0].request.url, "https://shop.example.com/offer");
  EXPECT_TRUE(lightbox->isShown());
}

TEST_F(FullscreenLightboxTest, HtmlWinsOverContentAndIsLoadedAsItStands) {
  auto lightbox =
      present({{"html", {"<html><body>Hi</body></html>"}}, {"content", {"<p>Other</p>"}}});

  ASSERT_TRUE(lightbox);
  const auto& load = lightbox->lightboxView()->loads().at(0);
  EXPECT_EQ(load.kind, WebView::Load::Kind::kHtmlString);
  EXPECT_EQ(load.html, "<html><body>Hi</body></html>");
  EXPECT_EQ(load.baseUrl, std::nullopt);
}

TEST_F(FullscreenLightboxTest, ContentIsWrappedInThePageTemplateWithItsStyles) {
  auto lightbox = present({{"content", {"<p>Sale</p>"}},
                           {"cssUrl", {"https://cdn.example.com/box.css"}},
                           {"inlineCss", {"p { color: red; }"}}});

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->lightboxView()->loads().at(0).html,
            PLLightbox::constructHtml("<p>Sale</p>", "https://cdn.example.com/box.css",
                                      "p { color: red; }"));
}

TEST_F(FullscreenLightboxTest, EmptyUrlFallsBackToTheNextContent) {
  auto lightbox = present({{"url", {""}}, {"html", {"<p>Hi</p>"}}});

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->lightboxView()->loads().at(0).html, "<p>Hi</p>");
}

TEST_F(FullscreenLightboxTest, NoContentShowsNothing) {
  EXPECT_EQ(present({{"margins", {"10"}}, {"content", {""}}}), nullptr);
  EXPECT_TRUE(_host->view()->subviews().empty());
}

TEST_F(FullscreenLightboxTest, UnusableUrlShowsNothing) {
  EXPECT_EQ(present({{"url", {"not an address"}}, {"html", {"<p>Hi</p>"}}}), nullptr);
  EXPECT_TRUE(_host->view()->subviews().empty());
}

TEST_F(FullscreenLightboxTest, NoHostShowsNothing) {
  EXPECT_EQ(FullscreenLightbox::presentLightbox(nullptr, {{"html", {"<p>Hi</p>"}}}), nullptr);
}

TEST_F(FullscreenLightboxTest, IconUrlChoosesTheCloseButtonsImage) {
  auto lightbox =
      present({{"html", {"<p>Hi</p>"}}, {"iconUrl", {"https://cdn.example.com/x.png"}}});

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->closeButton()->image(),
            (platform::Image{"https://cdn.example.com/x.png", {}}));
}

TEST_F(FullscreenLightboxTest, MarginsAcceptDecimalsAndAPlusSign) {
  EXPECT_EQ(FullscreenLightbox::parseMargin("2.5"), 2.5F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("+10"), 10.0F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("0"), 0.0F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("1e1"), 10.0F);
}

TEST_F(FullscreenLightboxTest, BadMarginsAreLoggedAndIgnored) {
  for (const std::string text : {"abc", "10%", " 10", "nan", "inf", "-5", "50", "1e400", "+-1"}) {
    _test.console().clear();
    auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"margins", {text}}});
    ASSERT_TRUE(lightbox);
    EXPECT_EQ(lightbox->margin, 0.0F) << text;
    EXPECT_EQ(_test.logLines(),
              std::vector<std::string>{"WARNING [PL_INTERACTION]: The margins value '" + text +
                                       "' is ignored"});
    lightbox->hide();
  }
}

TEST_F(FullscreenLightboxTest, OutermostParentIsTheTopOfTheControllerChain) {
  auto root = std::make_shared<ViewController>("Root");
  auto tab = std::make_shared<ViewController>("Tab");
  auto screen = std::make_shared<ViewController>("Screen");
  root->addChildViewController(tab);
  tab->addChildViewController(screen);

  EXPECT_EQ(FullscreenLightbox::outermostParent(screen), root);
  EXPECT_EQ(FullscreenLightbox::outermostParent(root), root);
  EXPECT_EQ(FullscreenLightbox::outermostParent(nullptr), nullptr);
}

}  // namespace
}  // namespace pelorin
