// The Qt web view beyond the contract: a decision that comes after the engine asked, links
// that open a new window, the library's widgets above the page, and the description.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QPushButton>
#include <QUrl>
#include <QVariant>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <QWidget>

#include "pelorin/platform/web_view.h"
#include "pelorin/qt/toolkit.h"
#include "qt/navigation_page.h"
#include "qt/view.h"
#include "qt/view_factory.h"
#include "qt/web_application.h"
#include "support/temp_folder.h"

namespace pelorin::qt {
namespace {

using platform::NavigationActionPolicy;
using platform::NavigationType;

// Keeps each decision handler to answer later, and records what it is told.
class LateDelegate : public platform::NavigationDelegate {
 public:
  void decidePolicyFor(platform::WebView& /*webView*/, const platform::NavigationAction& action,
                       DecisionHandler decisionHandler) override {
    asked.push_back(action);
    if (action.navigationType == NavigationType::kOther) {
      decisionHandler(NavigationActionPolicy::kAllow);
    } else {
      handlers.push_back(std::move(decisionHandler));
    }
  }
  void didStartProvisionalNavigation(platform::WebView& /*webView*/,
                                     const platform::Navigation& navigation) override {
    started.push_back(navigation.url);
  }

  std::vector<platform::NavigationAction> asked;
  std::vector<DecisionHandler> handlers;
  std::vector<std::string> started;
};

class QtWebViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    _handle = _factory->makeWebView();
    _view = dynamic_cast<QWebEngineView*>(dynamic_cast<QtView&>(*_handle).widget());
    ASSERT_NE(_view, nullptr);
    _view->resize(320, 480);
    _view->show();
    _page = qobject_cast<NavigationPage*>(_view->page());
    ASSERT_NE(_page, nullptr);
    _handle->asWebView()->setNavigationDelegate(_delegate);
  }
  void TearDown() override {
    _handle.reset();
    testing::deliverPostedQtEvents();
  }

  // Loads `html` at `baseUrl` and waits until the page shows the element `selector`.
  void showPage(const std::string& html, const std::string& baseUrl, const QString& selector) {
    _handle->asWebView()->loadHTMLString(html, baseUrl);
    ASSERT_TRUE(
        waitForScript(QStringLiteral("document.querySelector('%1') !== null").arg(selector)))
        << "the page never showed " << selector.toStdString();
  }

  // Asks the page `script` until it answers true.
  bool waitForScript(const QString& script) {
    auto answered = std::make_shared<bool>(false);
    auto asking = std::make_shared<bool>(false);
    return testing::waitUntil([&] {
      if (!*asking) {
        *asking = true;
        _page->runJavaScript(script, [answered, asking](const QVariant& value) {
          *answered = value.toBool();
          *asking = false;
        });
      }
      return *answered;
    });
  }

  // Clicks the element `selector` and waits until the engine asked about `url`.
  bool click(const QString& selector, const QUrl& url) {
    auto asked = std::make_shared<bool>(false);
    auto connection = QObject::connect(_page, &NavigationPage::navigationDecided,
                                       [asked, url](const QUrl& decided, bool /*accepted*/) {
                                         if (decided == url) *asked = true;
                                       });
    _page->runJavaScript(QStringLiteral("document.querySelector('%1').click()").arg(selector));
    const bool done = testing::waitUntil([&] { return *asked; });
    QObject::disconnect(connection);
    return done;
  }

  std::unique_ptr<platform::ViewFactory> _factory = makeViewFactory();
  std::shared_ptr<platform::View> _handle;
  QWebEngineView* _view = nullptr;
  NavigationPage* _page = nullptr;
  std::shared_ptr<LateDelegate> _delegate = std::make_shared<LateDelegate>();
};

TEST_F(QtWebViewTest, ANewerLoadReplacesOneNotYetStarted) {
  _handle->asWebView()->load(platform::UrlRequest{"https://shop.example/first"});
  _handle->asWebView()->loadHTMLString("<p>Second</p>", "https://shop.example/second");
  testing::deliverPostedQtEvents();

  ASSERT_EQ(_delegate->asked.size(), 1U);
  EXPECT_EQ(_delegate->asked[0].request.url, "https://shop.example/second");
  EXPECT_EQ(_delegate->started, (std::vector<std::string>{"https://shop.example/second"}));
}

TEST_F(QtWebViewTest, ALinkAllowedAfterTheEngineAskedIsLoadedThen) {
  testing::TempFolder folder;
  const auto second = std::filesystem::path(folder.path()) / "second.html";
  std::ofstream(second) << R"(<p id="second">Second</p>)";
  const std::string secondUrl = "file://" + second.string();
  const std::string base = "file://" + std::string(folder.path()) + "/";
  showPage(R"(<a id="next" href="second.html">Next</a>)", base, QStringLiteral("#next"));

  ASSERT_TRUE(click(QStringLiteral("#next"), QUrl(QString::fromStdString(secondUrl))));
  ASSERT_EQ(_delegate->handlers.size(), 1U);
  EXPECT_EQ(_delegate->asked.back().navigationType, NavigationType::kLinkActivated);
  EXPECT_EQ(_delegate->asked.back().request.url, secondUrl);
  EXPECT_EQ(_delegate->started, (std::vector<std::string>{base}));

  _delegate->handlers[0](NavigationActionPolicy::kAllow);

  EXPECT_EQ(_delegate->started, (std::vector<std::string>{base, secondUrl}));
  EXPECT_TRUE(waitForScript(QStringLiteral("document.querySelector('#second') !== null")));
  EXPECT_EQ(_page->url().toString().toStdString(), secondUrl);
}

TEST_F(QtWebViewTest, ALinkCancelledAfterTheEngineAskedLeavesThePage) {
  showPage(R"(<a id="sale" href="https://shop.example/sale">Sale</a>)", "https://shop.example/",
           QStringLiteral("#sale"));

  ASSERT_TRUE(click(QStringLiteral("#sale"), QUrl(QStringLiteral("https://shop.example/sale"))));
  ASSERT_EQ(_delegate->handlers.size(), 1U);
  _delegate->handlers[0](NavigationActionPolicy::kCancel);
  _delegate->handlers[0](NavigationActionPolicy::kAllow);  // only the first answer counts
  testing::deliverPostedQtEvents();

  EXPECT_EQ(_delegate->started, (std::vector<std::string>{"https://shop.example/"}));
  EXPECT_TRUE(waitForScript(QStringLiteral("document.querySelector('#sale') !== null")));
}

TEST_F(QtWebViewTest, ALinkToANewWindowIsALinkActivationAndOpensNoWindow) {
  showPage(R"(<a id="blank" target="_blank" href="https://shop.example/new">New</a>)",
           "https://shop.example/", QStringLiteral("#blank"));

  ASSERT_TRUE(click(QStringLiteral("#blank"), QUrl(QStringLiteral("https://shop.example/new"))));

  ASSERT_EQ(_delegate->asked.size(), 2U);
  EXPECT_EQ(_delegate->asked[1].request.url, "https://shop.example/new");
  EXPECT_EQ(_delegate->asked[1].navigationType, NavigationType::kLinkActivated);
  // Allowing it later opens nothing here either.
  ASSERT_EQ(_delegate->handlers.size(), 1U);
  _delegate->handlers[0](NavigationActionPolicy::kAllow);
  testing::deliverPostedQtEvents();
  EXPECT_EQ(_delegate->started, (std::vector<std::string>{"https://shop.example/"}));
}

TEST_F(QtWebViewTest, AddedWidgetsStayAboveThePageAndTheEnginesWidgetsAreNoSubviews) {
  auto button = _factory->makeImageButton(std::nullopt);
  _handle->addSubview(button);
  showPage(R"(<p id="text">Text</p>)", "https://shop.example/", QStringLiteral("#text"));

  std::vector<platform::View*> subviews;
  _handle->forEachSubview([&](platform::View& subview) { subviews.push_back(&subview); });

  EXPECT_EQ(subviews, (std::vector<platform::View*>{button.get()}));
  QWidget* buttonWidget = dynamic_cast<QtView&>(*button).widget();
  QWidget* top = nullptr;  // the last child widget is drawn on top
  for (QObject* child : _view->children()) {
    if (child->isWidgetType()) top = static_cast<QWidget*>(child);
  }
  EXPECT_EQ(top, buttonWidget);
  EXPECT_NE(_handle->description().find("; url = 'https://shop.example/'"), std::string::npos)
      << _handle->description();
}

TEST(QtAppWebViewTest, AnAppsWebViewKeepsItsPageUntilTheLibraryLoadsIntoIt) {
  QWebEngineView view;
  auto* page = new QWebEnginePage(&view);  // NOLINT(cppcoreguidelines-owning-memory)
  view.setPage(page);

  auto handle = viewFor(&view);

  ASSERT_NE(handle->asWebView(), nullptr);
  EXPECT_EQ(view.page(), page);
}

}  // namespace
}  // namespace pelorin::qt
