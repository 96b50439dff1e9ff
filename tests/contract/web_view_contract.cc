// The contract of `platform::WebView`, its navigation delegate, and of
// `platform::ViewFactory` with the visual-format constraints the library applies.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contract/event_log.h"
#include "contract/toolkit_driver.h"

namespace pelorin::contract {
namespace {

using platform::NavigationActionPolicy;
using platform::NavigationType;

// Records what it is asked and told; answers with `policy`.
class RecordingDelegate : public platform::NavigationDelegate {
 public:
  void decidePolicyFor(platform::WebView& /*webView*/, const platform::NavigationAction& action,
                       DecisionHandler decisionHandler) override {
    asked.push_back(action);
    decisionHandler(policy);
  }
  void didStartProvisionalNavigation(platform::WebView& /*webView*/,
                                     const platform::Navigation& navigation) override {
    started.push_back(navigation.url);
  }

  NavigationActionPolicy policy = NavigationActionPolicy::kAllow;
  std::vector<platform::NavigationAction> asked;
  std::vector<std::string> started;
};

TEST_P(WebViewContractTest, AFactoryWebViewIsAWebView) {
  auto view = driver().viewFactory().makeWebView();

  ASSERT_NE(view->asWebView(), nullptr);
  EXPECT_EQ(&view->asWebView()->asView(), view.get());
  EXPECT_EQ(view->asControl(), nullptr);
}

TEST_P(WebViewContractTest, ALoadAsksTheDelegateLaterWithTypeOther) {
  auto view = driver().viewFactory().makeWebView();
  auto delegate = std::make_shared<RecordingDelegate>();
  view->asWebView()->setNavigationDelegate(delegate);

  view->asWebView()->load(platform::UrlRequest{"https://shop.example/offer"});
  EXPECT_TRUE(delegate->asked.empty());  // never inside the call
  driver().runUntilIdle();

  ASSERT_EQ(delegate->asked.size(), 1U);
  EXPECT_EQ(delegate->asked[0].request.url, "https://shop.example/offer");
  EXPECT_EQ(delegate->asked[0].navigationType, NavigationType::kOther);
  EXPECT_EQ(delegate->started, (std::vector<std::string>{"https://shop.example/offer"}));
}

TEST_P(WebViewContractTest, AnHtmlStringLoadsAtItsBaseAddressOrAboutBlank) {
  auto view = driver().viewFactory().makeWebView();
  auto delegate = std::make_shared<RecordingDelegate>();
  view->asWebView()->setNavigationDelegate(delegate);

  view->asWebView()->loadHTMLString("<p>Hi</p>", std::nullopt);
  driver().runUntilIdle();
  view->asWebView()->loadHTMLString("<p>Hi</p>", "https://shop.example/");
  driver().runUntilIdle();

  EXPECT_EQ(delegate->started, (std::vector<std::string>{"about:blank", "https://shop.example/"}));
}

TEST_P(WebViewContractTest, ACancelledNavigationDoesNotStart) {
  auto view = driver().viewFactory().makeWebView();
  auto delegate = std::make_shared<RecordingDelegate>();
  delegate->policy = NavigationActionPolicy::kCancel;
  view->asWebView()->setNavigationDelegate(delegate);

  view->asWebView()->load(platform::UrlRequest{"https://shop.example/offer"});
  driver().runUntilIdle();

  EXPECT_EQ(delegate->asked.size(), 1U);
  EXPECT_TRUE(delegate->started.empty());
}

TEST_P(WebViewContractTest, AFollowedLinkIsALinkActivation) {
  auto view = driver().viewFactory().makeWebView();
  auto delegate = std::make_shared<RecordingDelegate>();
  view->asWebView()->setNavigationDelegate(delegate);
  view->asWebView()->loadHTMLString("<a href='https://shop.example/sale'>Sale</a>", std::nullopt);
  driver().runUntilIdle();
  delegate->policy = NavigationActionPolicy::kCancel;

  driver().followLink(*view, "https://shop.example/sale");
  driver().runUntilIdle();

  ASSERT_EQ(delegate->asked.size(), 2U);
  EXPECT_EQ(delegate->asked[1].request.url, "https://shop.example/sale");
  EXPECT_EQ(delegate->asked[1].navigationType, NavigationType::kLinkActivated);
  EXPECT_EQ(delegate->started, (std::vector<std::string>{"about:blank"}));
}

TEST_P(WebViewContractTest, TheDelegateIsHeldWeakly) {
  auto view = driver().viewFactory().makeWebView();
  std::weak_ptr<RecordingDelegate> weak;
  {
    auto delegate = std::make_shared<RecordingDelegate>();
    weak = delegate;
    view->asWebView()->setNavigationDelegate(delegate);
  }

  view->asWebView()->load(platform::UrlRequest{"https://shop.example/offer"});
  driver().runUntilIdle();

  EXPECT_TRUE(weak.expired());
}

// --- The factory and constraints

TEST_P(ViewFactoryContractTest, TheContainerRunsItsTapAction) {
  int taps = 0;
  auto container = driver().viewFactory().makeContainerView([&] { ++taps; });
  ASSERT_NE(container, nullptr);

  driver().tap(*container);

  EXPECT_EQ(taps, 1);
  EXPECT_FALSE(container->hasTextProperty());
  EXPECT_EQ(container->asControl(), nullptr);
}

TEST_P(ViewFactoryContractTest, TheImageButtonIsAButtonThatSendsItsTouches) {
  auto button = driver().viewFactory().makeImageButton(platform::Image{"close.png", {}});
  ASSERT_NE(button, nullptr);
  ASSERT_NE(button->asControl(), nullptr);
  EXPECT_EQ(button->asControl()->kind(), platform::ControlKind::kButton);
  EventLog log(*button->asControl());

  driver().tap(*button);

  EXPECT_EQ(log.events(), (std::vector<std::string>{"touch-down", "touch-up-inside"}));
}

TEST_P(ViewFactoryContractTest, ConstraintsNamingTheirViewsAreApplied) {
  auto host = driver().makeContainer();
  auto background = driver().viewFactory().makeContainerView({});
  host->addSubview(background);

  EXPECT_TRUE(host->addConstraints("H:|-0-[background]-0-|", {{"background", background}}));
  EXPECT_TRUE(host->addConstraints("V:|-10-[background(44)]", {{"background", background}}));

  EXPECT_EQ(driver().appliedConstraints(*host),
            (std::vector<std::string>{"H:|-0-[background]-0-|", "V:|-10-[background(44)]"}));
}

TEST_P(ViewFactoryContractTest, AConstraintNamingAViewItWasNotGivenIsRejected) {
  auto host = driver().makeContainer();
  auto background = driver().viewFactory().makeContainerView({});
  host->addSubview(background);

  EXPECT_FALSE(host->addConstraints("H:|-0-[lightbox]-0-|", {{"background", background}}));
  EXPECT_FALSE(host->addConstraints("", {{"background", background}}));

  EXPECT_TRUE(driver().appliedConstraints(*host).empty());
}

TEST_P(ViewFactoryContractTest, RemovingAViewDropsTheConstraintsThatNameIt) {
  auto host = driver().makeContainer();
  auto background = driver().viewFactory().makeContainerView({});
  auto web = driver().viewFactory().makeWebView();
  host->addSubview(background);
  host->addSubview(web);
  host->addConstraints("H:|-0-[background]-0-|", {{"background", background}});
  host->addConstraints("H:|-8-[lightbox]-8-|", {{"lightbox", web}});

  background->removeFromSuperview();

  EXPECT_EQ(driver().appliedConstraints(*host), (std::vector<std::string>{"H:|-8-[lightbox]-8-|"}));
}

TEST_P(ViewFactoryContractTest, AButtonInsideAWebViewIsLaidOutOnTheWebView) {
  auto host = driver().makeContainer();
  auto web = driver().viewFactory().makeWebView();
  auto close = driver().viewFactory().makeImageButton(std::nullopt);
  host->addSubview(web);
  web->addSubview(close);

  EXPECT_TRUE(web->addConstraints("H:[closeButton]-10-|", {{"closeButton", close}}));

  EXPECT_EQ(close->superview(), web);
  EXPECT_EQ(driver().appliedConstraints(*web), (std::vector<std::string>{"H:[closeButton]-10-|"}));
}

// A toolkit may run these suites in a program of their own (toolkit_driver.h).
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(WebViewContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewFactoryContractTest);

}  // namespace
}  // namespace pelorin::contract
