#include "plugins/fullscreen_lightbox.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/headless_views.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using headless::ViewController;
using headless::WebView;

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
  for (const std::string text : {"5.5", " 5", "31536001", "99999999999999999999"}) {
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

// A timer set in the past is scheduled all the same and fires at once.
TEST_F(FullscreenLightboxTest, NegativeHideTimerHidesTheLightboxAtOnce) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"hideTimer", {"-1"}}});
  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->hideTimer, -1);
  EXPECT_TRUE(_test.logLines().empty());
  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(_host->view()->subviews().empty());
}

TEST_F(FullscreenLightboxTest, UrlWinsOverHtml) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}},
                           {"url", {"https://shop.example.com/offer"}},
                           {"content", {"<p>Other</p>"}}});

  ASSERT_TRUE(lightbox);
  const auto& loads = testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads();
  ASSERT_EQ(loads.size(), 1U);
  EXPECT_EQ(loads[0].kind, WebView::Load::Kind::kRequest);
  EXPECT_EQ(loads[0].request.url, "https://shop.example.com/offer");
  EXPECT_TRUE(lightbox->isShown());
}

TEST_F(FullscreenLightboxTest, HtmlWinsOverContentAndIsLoadedAsItStands) {
  auto lightbox =
      present({{"html", {"<html><body>Hi</body></html>"}}, {"content", {"<p>Other</p>"}}});

  ASSERT_TRUE(lightbox);
  const auto& load = testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads().at(0);
  EXPECT_EQ(load.kind, WebView::Load::Kind::kHtmlString);
  EXPECT_EQ(load.html, "<html><body>Hi</body></html>");
  EXPECT_EQ(load.baseUrl, std::nullopt);
}

TEST_F(FullscreenLightboxTest, ContentIsWrappedInThePageTemplateWithItsStyles) {
  auto lightbox = present({{"content", {"<p>Sale</p>"}},
                           {"cssUrl", {"https://cdn.example.com/box.css"}},
                           {"inlineCss", {"p { color: red; }"}}});

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads().at(0).html,
            PLLightbox::constructHtml("<p>Sale</p>", "https://cdn.example.com/box.css",
                                      "p { color: red; }"));
}

// "" is a value: an empty "url" is the address chosen, and it is not one.
TEST_F(FullscreenLightboxTest, EmptyUrlIsChosenAndShowsNothing) {
  EXPECT_EQ(present({{"url", {""}}, {"html", {"<p>Hi</p>"}}}), nullptr);
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{"WARNING [PL_INTERACTION]: The lightbox address '' is not a "
                                     "valid URL"});
  EXPECT_TRUE(_host->view()->subviews().empty());
}

TEST_F(FullscreenLightboxTest, EmptyHtmlIsLoadedAsItStands) {
  auto lightbox = present({{"html", {""}}, {"content", {"<p>Other</p>"}}});
  ASSERT_TRUE(lightbox);
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads().at(0).html,
            "");
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
  EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image(),
            (platform::Image{"https://cdn.example.com/x.png", {}}));
}

TEST_F(FullscreenLightboxTest, IconFromARegularFileIsRead) {
  const std::string path = ::testing::TempDir() + "pelorin-icon-" + std::to_string(::getpid());
  { std::ofstream(path, std::ios::binary) << "PNG!"; }
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"iconUrl", {"file://" + path}}});
  std::filesystem::remove(path);

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image(),
            (platform::Image{"file://" + path, {'P', 'N', 'G', '!'}}));
}

// Only a regular file of at most 1 MB is read, without waiting: a device, a FIFO (which
// would block the open for ever) or a larger file falls back to the library's icon.
TEST_F(FullscreenLightboxTest, IconFromADeviceOrFifoFallsBackToTheDefault) {
  const std::string fifo = ::testing::TempDir() + "pelorin-fifo-" + std::to_string(::getpid());
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const std::string large = ::testing::TempDir() + "pelorin-large-" + std::to_string(::getpid());
  { std::ofstream(large, std::ios::binary) << std::string(1024 * 1024 + 1, 'x'); }
  auto defaultIcon = present({{"html", {"<p>Hi</p>"}}});
  ASSERT_TRUE(defaultIcon);
  for (const std::string& path : {std::string("/dev/zero"), fifo, large, std::string("/tmp")}) {
    _test.console().clear();
    auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"iconUrl", {"file://" + path}}});
    ASSERT_TRUE(lightbox);
    EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image(),
              testing::asHeadless<headless::Button>(defaultIcon->closeButton()).image())
        << path;
    EXPECT_EQ(_test.logLines(),
              std::vector<std::string>{"WARNING [PL_INTERACTION]: The close "
                                       "icon 'file://" +
                                       path + "' cannot be read; using the default"});
    lightbox->hide();
  }
  std::filesystem::remove(fifo);
  std::filesystem::remove(large);
}

TEST_F(FullscreenLightboxTest, MarginsAcceptDecimalsAndAPlusSign) {
  EXPECT_EQ(FullscreenLightbox::parseMargin("2.5"), 2.5F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("+10"), 10.0F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("0"), 0.0F);
  EXPECT_EQ(FullscreenLightbox::parseMargin("1e1"), 10.0F);
}

// Margins are written as plain decimal numbers: no exponent, no "-0".
TEST_F(FullscreenLightboxTest, MarginsAreWrittenAsPlainDecimals) {
  auto small = present({{"html", {"<p>Hi</p>"}}, {"margins", {"0.00001"}}});
  ASSERT_TRUE(small);
  EXPECT_EQ(_host->view()->constraintFormats().at(2),
            "H:|-0.000039999998989515007-[lightbox]-0.000039999998989515007-|");
  small->hide();
  auto negativeZero = present({{"html", {"<p>Hi</p>"}}, {"margins", {"-0"}}});
  ASSERT_TRUE(negativeZero);
  EXPECT_EQ(_host->view()->constraintFormats().at(2), "H:|-0-[lightbox]-0-|");
  EXPECT_EQ(_host->view()->constraintFormats().at(3), "V:|[topGuide]-0-[lightbox]-0-|");
}

// The float value is taken as it is, however large.
TEST_F(FullscreenLightboxTest, MarginsOfFiftyOrMoreAreTaken) {
  auto lightbox = present({{"html", {"<p>Hi</p>"}}, {"margins", {"50"}}});
  ASSERT_TRUE(lightbox);
  EXPECT_EQ(lightbox->margin, 50.0F);
  EXPECT_TRUE(_test.logLines().empty());
  EXPECT_EQ(_host->view()->constraintFormats().at(2), "H:|-200-[lightbox]-200-|");
  EXPECT_EQ(FullscreenLightbox::parseMargin("1000000"), 1000000.0F);
}

TEST_F(FullscreenLightboxTest, BadMarginsAreLoggedAndIgnored) {
  for (const std::string text : {"abc", "10%", " 10", "nan", "inf", "-5", "1e400", "+-1", ""}) {
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
