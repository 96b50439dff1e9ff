#include "pelorin/headless/web_view.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

using pelorin::testing::TestPlatform;

// Records what it is asked and told, as the lightbox would: links open outside, every
// other navigation goes ahead. With `deferred`, it keeps the handler instead of deciding.
class RecordingDelegate : public NavigationDelegate {
 public:
  void decidePolicyFor(platform::WebView& /*webView*/, const NavigationAction& action,
                       DecisionHandler decisionHandler) override {
    asked.push_back(action.request.url + (action.navigationType == NavigationType::kLinkActivated
                                              ? " (link)"
                                              : " (other)"));
    if (deferred) {
      pending = std::move(decisionHandler);
      return;
    }
    decisionHandler(action.navigationType == NavigationType::kLinkActivated
                        ? NavigationActionPolicy::kCancel
                        : NavigationActionPolicy::kAllow);
  }
  void didStartProvisionalNavigation(platform::WebView& /*webView*/,
                                     const Navigation& navigation) override {
    started.push_back(std::to_string(navigation.id) + " " + navigation.url);
  }

  bool deferred = false;
  DecisionHandler pending;
  std::vector<std::string> asked;
  std::vector<std::string> started;
};

class WebViewTest : public ::testing::Test {
 protected:
  TestPlatform test;
  std::shared_ptr<WebView> webView = std::make_shared<WebView>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();

  void SetUp() override { webView->setNavigationDelegate(delegate); }
};

TEST_F(WebViewTest, LoadIsRecordedAndStartsOnALaterMainLoopTurn) {
  webView->load(UrlRequest{"https://offers.example/spring"});

  ASSERT_EQ(webView->loads().size(), 1u);
  EXPECT_EQ(webView->loads()[0].kind, WebView::Load::Kind::kRequest);
  EXPECT_EQ(webView->loads()[0].request.url, "https://offers.example/spring");
  EXPECT_TRUE(webView->hasPendingLoad());
  EXPECT_TRUE(delegate->asked.empty());

  test.mainLoop().runUntilIdle();

  EXPECT_EQ(delegate->asked, (std::vector<std::string>{"https://offers.example/spring (other)"}));
  EXPECT_EQ(delegate->started, (std::vector<std::string>{"1 https://offers.example/spring"}));
  EXPECT_EQ(webView->url(), "https://offers.example/spring");
  EXPECT_FALSE(webView->hasPendingLoad());
}

TEST_F(WebViewTest, RequestKeepsItsCachePolicyAndTimeout) {
  UrlRequest request{"http://offers.example"};
  request.timeoutInterval = std::chrono::seconds(60);

  webView->load(request);

  EXPECT_EQ(webView->loads()[0].request, request);
  EXPECT_EQ(webView->loads()[0].request.cachePolicy,
            UrlRequestCachePolicy::kUseProtocolCachePolicy);
}

TEST_F(WebViewTest, HtmlStringIsRecordedWithItsBaseUrl) {
  webView->loadHTMLString("<p>Hi</p>", "https://cdn.example/");
  webView->startLoading();

  const auto& load = webView->loads()[0];
  EXPECT_EQ(load.kind, WebView::Load::Kind::kHtmlString);
  EXPECT_EQ(load.html, "<p>Hi</p>");
  EXPECT_EQ(load.baseUrl, "https://cdn.example/");
  EXPECT_EQ(webView->url(), "https://cdn.example/");
}

TEST_F(WebViewTest, HtmlStringWithoutBaseUrlIsABlankPage) {
  webView->loadHTMLString("<p>Hi</p>", std::nullopt);
  webView->startLoading();

  EXPECT_EQ(webView->loads()[0].baseUrl, std::nullopt);
  EXPECT_EQ(delegate->started, (std::vector<std::string>{"1 about:blank"}));
}

TEST_F(WebViewTest, StartLoadingStartsThePendingLoadAtOnceAndOnlyOnce) {
  webView->load(UrlRequest{"https://a.example"});

  EXPECT_TRUE(webView->startLoading());
  EXPECT_FALSE(webView->startLoading());
  test.mainLoop().runUntilIdle();  // the scheduled start finds nothing left to do

  EXPECT_EQ(delegate->started.size(), 1u);
}

TEST_F(WebViewTest, NewerLoadReplacesOneNotYetStarted) {
  webView->load(UrlRequest{"https://old.example"});
  webView->load(UrlRequest{"https://new.example"});

  test.mainLoop().runUntilIdle();

  EXPECT_EQ(webView->loads().size(), 2u);
  EXPECT_EQ(delegate->asked, (std::vector<std::string>{"https://new.example (other)"}));
}

TEST_F(WebViewTest, CancelledNavigationNeverStarts) {
  class Refusing : public NavigationDelegate {
   public:
    void decidePolicyFor(platform::WebView&, const NavigationAction&,
                         DecisionHandler handler) override {
      handler(NavigationActionPolicy::kCancel);
    }
  };
  auto refusing = std::make_shared<Refusing>();
  webView->setNavigationDelegate(refusing);
  webView->load(UrlRequest{"https://a.example"});

  EXPECT_FALSE(webView->startLoading());

  EXPECT_EQ(webView->url(), std::nullopt);
  ASSERT_EQ(webView->navigations().size(), 1u);
  EXPECT_EQ(webView->navigations()[0].policy, NavigationActionPolicy::kCancel);
}

TEST_F(WebViewTest, TappedLinkIsAskedAboutAsALinkActivation) {
  webView->load(UrlRequest{"https://a.example"});
  webView->startLoading();

  const auto policy = webView->tapLink("https://shop.example/deal");

  EXPECT_EQ(policy, NavigationActionPolicy::kCancel);
  EXPECT_EQ(delegate->asked, (std::vector<std::string>{"https://a.example (other)",
                                                       "https://shop.example/deal (link)"}));
  // Cancelled: the page stays as it was.
  EXPECT_EQ(webView->url(), "https://a.example");
  EXPECT_EQ(delegate->started.size(), 1u);
  EXPECT_EQ(webView->navigations()[1].action.navigationType, NavigationType::kLinkActivated);
}

TEST_F(WebViewTest, AllowedLinkNavigatesToIt) {
  webView->setNavigationDelegate(std::weak_ptr<NavigationDelegate>());

  EXPECT_EQ(webView->tapLink("https://b.example"), NavigationActionPolicy::kAllow);

  EXPECT_EQ(webView->url(), "https://b.example");
}

TEST_F(WebViewTest, DecisionMayArriveLater) {
  delegate->deferred = true;
  webView->load(UrlRequest{"https://a.example"});

  EXPECT_FALSE(webView->startLoading());
  EXPECT_EQ(webView->navigations()[0].policy, std::nullopt);
  EXPECT_TRUE(delegate->started.empty());

  delegate->pending(NavigationActionPolicy::kAllow);
  delegate->pending(NavigationActionPolicy::kCancel);  // only the first decision counts

  EXPECT_EQ(webView->navigations()[0].policy, NavigationActionPolicy::kAllow);
  EXPECT_EQ(delegate->started, (std::vector<std::string>{"1 https://a.example"}));
}

TEST_F(WebViewTest, DecisionArrivingAfterTheWebViewIsGoneIsIgnored) {
  delegate->deferred = true;
  webView->load(UrlRequest{"https://a.example"});
  webView->startLoading();

  webView.reset();
  delegate->pending(NavigationActionPolicy::kAllow);

  EXPECT_TRUE(delegate->started.empty());
}

TEST_F(WebViewTest, WithoutADelegateEveryNavigationIsAllowed) {
  auto plain = std::make_shared<WebView>();
  plain->load(UrlRequest{"https://a.example"});

  EXPECT_TRUE(plain->startLoading());

  EXPECT_EQ(plain->url(), "https://a.example");
  EXPECT_EQ(plain->navigations()[0].policy, NavigationActionPolicy::kAllow);
}

TEST_F(WebViewTest, DelegateIsHeldWeakly) {
  std::weak_ptr<RecordingDelegate> weak = delegate;
  delegate.reset();

  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(webView->navigationDelegate(), nullptr);
}

TEST_F(WebViewTest, DefaultDelegateAllowsEverything) {
  auto defaults = std::make_shared<NavigationDelegate>();
  webView->setNavigationDelegate(defaults);

  EXPECT_EQ(webView->tapLink("https://c.example"), NavigationActionPolicy::kAllow);
  EXPECT_EQ(webView->description(), "<WebView; frame = (0 0; 0 0); url = 'https://c.example'>");
}

}  // namespace
}  // namespace pelorin::headless
