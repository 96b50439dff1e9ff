#include "plugins/pl_lightbox.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/headless_views.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using headless::ViewController;
using platform::NavigationActionPolicy;

class PLLightboxTest : public ::testing::Test {
 protected:
  PLLightboxTest() { _host->view()->setFrame(platform::Rect{{0, 0}, {400, 800}}); }

  // A lightbox with a small page, configured and loaded.
  std::shared_ptr<PLLightbox> shownLightbox() {
    auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
    lightbox->showIfReady();
    _test.mainLoop().runUntilIdle();
    return lightbox;
  }

  const std::vector<std::shared_ptr<headless::View>>& hostSubviews() {
    return _host->view()->subviews();
  }

  testing::TestPlatform _test;
  std::shared_ptr<ViewController> _host = std::make_shared<ViewController>("Host");
};

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// --- Readiness

TEST_F(PLLightboxTest, ShowsOnceLoadedWhenReadyFirst) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);

  lightbox->showIfReady();
  EXPECT_FALSE(lightbox->isShown());
  _test.mainLoop().runUntilIdle();

  EXPECT_TRUE(lightbox->isLoaded());
  EXPECT_TRUE(lightbox->isShown());
  EXPECT_EQ(hostSubviews().size(), 2U);
}

TEST_F(PLLightboxTest, ShowsOnceReadyWhenLoadedFirst) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(lightbox->isLoaded());
  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(hostSubviews().empty());

  lightbox->showIfReady();

  EXPECT_TRUE(lightbox->isShown());
}

TEST_F(PLLightboxTest, LaterNavigationsDoNotShowAHiddenLightboxAgain) {
  auto lightbox = shownLightbox();
  lightbox->hide();

  testing::asHeadless<headless::WebView>(lightbox->lightboxView())
      .loadHTMLString("<p>Next</p>", std::nullopt);
  _test.mainLoop().runUntilIdle();

  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(hostSubviews().empty());
}

TEST_F(PLLightboxTest, ShowingTwiceAddsTheViewsOnce) {
  auto lightbox = shownLightbox();

  lightbox->show();

  EXPECT_EQ(hostSubviews().size(), 2U);
  EXPECT_EQ(_host->view()->constraints().size(), 4U);
}

TEST_F(PLLightboxTest, HostThatIsGoneShowsNothing) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  _host.reset();

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_FALSE(lightbox->isShown());
}

// --- Layout

TEST_F(PLLightboxTest, ViewsAreLaidOutWithVisualFormatConstraints) {
  auto lightbox = shownLightbox();

  EXPECT_EQ(hostSubviews()[0], lightbox->backgroundView());
  EXPECT_EQ(hostSubviews()[1], lightbox->lightboxView());
  EXPECT_EQ(lightbox->closeButton()->superview(), lightbox->lightboxView());
  EXPECT_EQ(_host->view()->constraintFormats(),
            (std::vector<std::string>{"H:|-0-[background]-0-|", "V:|-0-[background]-0-|",
                                      "H:|-0-[lightbox]-0-|", "V:|[topGuide]-0-[lightbox]-0-|"}));
  EXPECT_EQ(_host->view()->constraints()[3].view("topGuide"), _host->topLayoutGuide());
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).constraintFormats(),
            (std::vector<std::string>{"H:[closeButton]-10-|", "V:|-10-[closeButton]"}));
  EXPECT_FALSE(testing::asHeadless<headless::View>(lightbox->backgroundView())
                   .translatesAutoresizingMaskIntoConstraints());
  EXPECT_FALSE(testing::asHeadless<headless::WebView>(lightbox->lightboxView())
                   .translatesAutoresizingMaskIntoConstraints());
  EXPECT_FALSE(testing::asHeadless<headless::Button>(lightbox->closeButton())
                   .translatesAutoresizingMaskIntoConstraints());
}

TEST_F(PLLightboxTest, MarginTenOnA400By800HostGives40And80Points) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->margin = 10;

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_EQ(_host->view()->constraintFormats()[2], "H:|-40-[lightbox]-40-|");
  EXPECT_EQ(_host->view()->constraintFormats()[3], "V:|[topGuide]-80-[lightbox]-80-|");
}

TEST_F(PLLightboxTest, FractionalMarginsAreWrittenAsDecimals) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->margin = 2.5F;

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_EQ(_host->view()->constraintFormats()[2], "H:|-10-[lightbox]-10-|");
  EXPECT_EQ(_host->view()->constraintFormats()[3], "V:|[topGuide]-20-[lightbox]-20-|");
  _host->view()->setFrame(platform::Rect{{0, 0}, {390, 844}});
  lightbox->hide();
  lightbox->show();
  EXPECT_EQ(_host->view()->constraintFormats()[2], "H:|-9.75-[lightbox]-9.75-|");
  EXPECT_EQ(_host->view()->constraintFormats()[3], "V:|[topGuide]-21.1-[lightbox]-21.1-|");
}

TEST_F(PLLightboxTest, BackgroundHasTheLightboxBackgroundColor) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->lightBoxBackgroundColor = platform::Color{0.1, 0.2, 0.3, 0.5};

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_EQ(testing::asHeadless<headless::View>(lightbox->backgroundView()).backgroundColor(),
            (platform::Color{0.1, 0.2, 0.3, 0.5}));
}

// --- Hiding

TEST_F(PLLightboxTest, CloseButtonHidesTheLightbox) {
  auto lightbox = shownLightbox();

  testing::asHeadless<headless::Button>(lightbox->closeButton()).tap();

  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(hostSubviews().empty());
  EXPECT_EQ(lightbox->closeButton()->superview(), nullptr);
  EXPECT_TRUE(_host->view()->constraints().empty());
}

TEST_F(PLLightboxTest, TapOnTheBackgroundHidesTheLightbox) {
  auto lightbox = shownLightbox();

  testing::asHeadless<headless::View>(lightbox->backgroundView()).tap();

  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(hostSubviews().empty());
}

TEST_F(PLLightboxTest, HideTimerOfFiveSecondsHidesFiveSecondsAfterShowing) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->hideTimer = 5;
  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(lightbox->isShown());

  _test.advanceClock(std::chrono::milliseconds(4999));
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(lightbox->isShown());

  _test.advanceClock(std::chrono::milliseconds(1));
  _test.mainLoop().runUntilIdle();
  EXPECT_FALSE(lightbox->isShown());
  EXPECT_TRUE(hostSubviews().empty());
}

TEST_F(PLLightboxTest, WithoutHideTimerTheLightboxStays) {
  auto lightbox = shownLightbox();

  _test.advanceClock(std::chrono::hours(24));
  _test.mainLoop().runUntilIdle();

  EXPECT_TRUE(lightbox->isShown());
}

TEST_F(PLLightboxTest, ClosingBeforeTheHideTimerCancelsIt) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->hideTimer = 5;
  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  testing::asHeadless<headless::Button>(lightbox->closeButton()).tap();

  EXPECT_EQ(_test.mainLoop().scheduledTimerCount(), 0U);
}

// A timer set in the past is scheduled all the same and fires at once.
TEST_F(PLLightboxTest, NegativeHideTimerHidesAtOnce) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->hideTimer = -1;

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_FALSE(lightbox->isShown());
  EXPECT_EQ(_test.mainLoop().scheduledTimerCount(), 0U);
  EXPECT_TRUE(_test.logLines().empty());
}

TEST_F(PLLightboxTest, HideTimerBeyondAYearIsLoggedAndIgnored) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->hideTimer = PLLightbox::kMaxHideTimerSeconds + 1;

  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  EXPECT_TRUE(lightbox->isShown());
  EXPECT_EQ(_test.mainLoop().scheduledTimerCount(), 0U);
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{
                "WARNING [PL_INTERACTION]: The hide timer of 31536001 seconds is ignored"});
}

// Letting go of a lightbox does not hide it: it is closed, tapped away or timed out.
TEST_F(PLLightboxTest, ReleasedLightboxStaysOnScreen) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);
  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();
  ASSERT_EQ(hostSubviews().size(), 2U);

  lightbox.reset();

  EXPECT_EQ(hostSubviews().size(), 2U);
  EXPECT_FALSE(_host->view()->constraints().empty());
}

// --- Navigation

TEST_F(PLLightboxTest, InitialLoadIsAllowed) {
  auto lightbox = shownLightbox();

  const auto& navigations =
      testing::asHeadless<headless::WebView>(lightbox->lightboxView()).navigations();
  ASSERT_EQ(navigations.size(), 1U);
  EXPECT_EQ(navigations[0].policy, NavigationActionPolicy::kAllow);
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).url(), "about:blank");
}

TEST_F(PLLightboxTest, TappedLinkOpensOutsideTheAppAndThePageStays) {
  auto lightbox = PLLightbox::makeURL(_host, "https://shop.example.com/offer", std::nullopt);
  lightbox->showIfReady();
  _test.mainLoop().runUntilIdle();

  const auto policy = testing::asHeadless<headless::WebView>(lightbox->lightboxView())
                          .tapLink("https://shop.example.com/terms");

  EXPECT_EQ(policy, NavigationActionPolicy::kCancel);
  EXPECT_EQ(_test.ui().openedUrls(), std::vector<std::string>{"https://shop.example.com/terms"});
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).url(),
            "https://shop.example.com/offer");
  EXPECT_TRUE(lightbox->isShown());
}

TEST_F(PLLightboxTest, OtherNavigationsAreAllowed) {
  auto lightbox = shownLightbox();
  bool decided = false;
  platform::NavigationAction submit;
  submit.request.url = "https://shop.example.com/subscribe";
  submit.navigationType = platform::NavigationType::kFormSubmitted;

  lightbox->decidePolicyFor(*lightbox->lightboxView()->asWebView(), submit,
                            [&](NavigationActionPolicy policy) {
                              decided = true;
                              EXPECT_EQ(policy, NavigationActionPolicy::kAllow);
                            });

  EXPECT_TRUE(decided);
  EXPECT_TRUE(_test.ui().openedUrls().empty());
}

TEST_F(PLLightboxTest, LinkWithoutAnAddressIsAllowed) {
  auto lightbox = shownLightbox();
  platform::NavigationAction link;
  link.navigationType = platform::NavigationType::kLinkActivated;
  std::optional<NavigationActionPolicy> decision;

  lightbox->decidePolicyFor(*lightbox->lightboxView()->asWebView(), link,
                            [&](NavigationActionPolicy policy) { decision = policy; });

  EXPECT_EQ(decision, NavigationActionPolicy::kAllow);
  EXPECT_TRUE(_test.ui().openedUrls().empty());
}

// --- Close button image

TEST_F(PLLightboxTest, CloseButtonShowsTheLibrarysClosePng) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, std::nullopt);

  const auto& image = testing::asHeadless<headless::Button>(lightbox->closeButton()).image();

  ASSERT_TRUE(image);
  EXPECT_EQ(image->source, "close.png");
  EXPECT_EQ(image->data, readFile(PELORIN_CLOSE_PNG_PATH));
  EXPECT_GT(image->data.size(), 8U);
}

TEST_F(PLLightboxTest, CloseButtonShowsTheImageAtIconUrl) {
  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt,
                                          "https://cdn.example.com/close.png");

  EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image(),
            (platform::Image{"https://cdn.example.com/close.png", {}}));
}

TEST_F(PLLightboxTest, CloseButtonReadsAnIconFile) {
  const std::string url = std::string("file://") + PELORIN_CLOSE_PNG_PATH;

  auto lightbox = PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, url);

  EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image(),
            (platform::Image{url, readFile(PELORIN_CLOSE_PNG_PATH)}));
}

TEST_F(PLLightboxTest, UnreadableIconFileFallsBackToTheLibrarysImage) {
  auto lightbox =
      PLLightbox::makeContent(_host, "<p>Hi</p>", std::nullopt, "file:///nonexistent/close.png");

  ASSERT_TRUE(testing::asHeadless<headless::Button>(lightbox->closeButton()).image());
  EXPECT_EQ(testing::asHeadless<headless::Button>(lightbox->closeButton()).image()->source,
            "close.png");
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{"WARNING [PL_INTERACTION]: The close icon "
                                     "'file:///nonexistent/close.png' cannot be read; using "
                                     "the default"});
}

// --- Addresses

TEST_F(PLLightboxTest, AddressWithoutSchemeAndHostGetsHttp) {
  auto lightbox = PLLightbox::makeURLString(_host, "shop.example.com/offer", std::nullopt);

  ASSERT_TRUE(lightbox);
  const auto& loads = testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads();
  ASSERT_EQ(loads.size(), 1U);
  EXPECT_EQ(loads[0].request.url, "http://shop.example.com/offer");
}

TEST_F(PLLightboxTest, AddressWithoutSchemeKeepsOnlyItsPath) {
  auto lightbox = PLLightbox::makeURLString(_host, "shop.example.com/offer?id=1#top", std::nullopt);

  ASSERT_TRUE(lightbox);
  EXPECT_EQ(testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads()[0].request.url,
            "http://shop.example.com/offer");
}

TEST_F(PLLightboxTest, AddressWithSchemeOrHostIsLoadedAsItStands) {
  for (const std::string url :
       {"https://shop.example.com/offer?id=1", "//cdn.example.com/a", "mailto:info@example.com"}) {
    auto lightbox = PLLightbox::makeURLString(_host, url, std::nullopt);
    ASSERT_TRUE(lightbox);
    EXPECT_EQ(
        testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads()[0].request.url,
        url);
  }
}

TEST_F(PLLightboxTest, RequestUsesTheDefaultCachePolicyAndSixtySeconds) {
  auto lightbox = PLLightbox::makeURLString(_host, "https://shop.example.com/", std::nullopt);

  ASSERT_TRUE(lightbox);
  const auto& request =
      testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads()[0].request;
  EXPECT_EQ(request.cachePolicy, platform::UrlRequestCachePolicy::kUseProtocolCachePolicy);
  EXPECT_EQ(request.timeoutInterval, std::chrono::seconds(60));
}

TEST_F(PLLightboxTest, TextThatIsNotAnAddressIsLoggedAndShowsNothing) {
  EXPECT_EQ(PLLightbox::makeURLString(_host, "shop example", std::nullopt), nullptr);
  EXPECT_EQ(PLLightbox::makeURLString(_host, "", std::nullopt), nullptr);
  EXPECT_EQ(PLLightbox::makeURLString(_host, "https://ex.com/<a>", std::nullopt), nullptr);

  EXPECT_EQ(_test.logLines(),
            (std::vector<std::string>{
                "WARNING [PL_INTERACTION]: The lightbox address 'shop example' is not a valid URL",
                "WARNING [PL_INTERACTION]: The lightbox address '' is not a valid URL",
                "WARNING [PL_INTERACTION]: The lightbox address 'https://ex.com/<a>' is not a "
                "valid URL"}));
}

TEST_F(PLLightboxTest, HtmlIsLoadedAsItStands) {
  auto lightbox = PLLightbox::makeContent(_host, "<html><body>Hi</body></html>",
                                          "https://shop.example.com/", std::nullopt);

  const auto& load = testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads().at(0);
  EXPECT_EQ(load.kind, headless::WebView::Load::Kind::kHtmlString);
  EXPECT_EQ(load.html, "<html><body>Hi</body></html>");
  EXPECT_EQ(load.baseUrl, "https://shop.example.com/");
}

TEST_F(PLLightboxTest, ContentIsLoadedInThePageTemplate) {
  auto lightbox =
      PLLightbox::makeContentFromHtml(_host, "<p>Hi</p>", std::nullopt, std::nullopt, std::nullopt);

  ASSERT_TRUE(lightbox);
  const auto& load = testing::asHeadless<headless::WebView>(lightbox->lightboxView()).loads().at(0);
  EXPECT_EQ(load.html, PLLightbox::constructHtml("<p>Hi</p>", std::nullopt, std::nullopt));
  EXPECT_EQ(load.baseUrl, std::nullopt);
}

TEST_F(PLLightboxTest, NoContentMakesNoLightbox) {
  EXPECT_EQ(PLLightbox::makeContentFromHtml(_host, std::nullopt, std::nullopt, std::nullopt,
                                            std::nullopt),
            nullptr);
  EXPECT_EQ(PLLightbox::makeContentFromHtml(_host, "", std::nullopt, std::nullopt, std::nullopt),
            nullptr);
}

}  // namespace
}  // namespace pelorin
