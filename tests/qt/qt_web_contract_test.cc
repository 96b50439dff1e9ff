// The web view and view factory contract suites against the Qt toolkit: QWebEngineView
// pages on a display (run through with-display.sh), the lightbox's views as widgets.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QTest>
#include <QVariant>
#include <QWebEngineView>

#include "contract/toolkit_driver.h"
#include "qt/navigation_page.h"
#include "qt/qt_driver.h"
#include "qt/web_application.h"

namespace pelorin::contract {
namespace {

// The Qt driver with a browser engine: follows links on real pages. Posted events are
// delivered without waiting for the engine, which is never idle.
class QtWebDriver : public testing::QtDriver {
 public:
  // Clicks the link (the page's own click, as a tap on it would) once the page shows it,
  // and waits until the engine asked about the navigation.
  void followLink(platform::View& webView, const std::string& url) override {
    auto& view = dynamic_cast<QWebEngineView&>(QtDriver::widgetOf(webView));
    auto* page = qobject_cast<qt::NavigationPage*>(view.page());
    ASSERT_NE(page, nullptr);
    const QUrl target(QString::fromStdString(url));
    const QString link =
        QStringLiteral("document.querySelector('a[href=\"%1\"]')").arg(target.toString());
    // Asks the page whether the link is there, one question at a time, until it is.
    auto shown = std::make_shared<bool>(false);
    auto asking = std::make_shared<bool>(false);
    ASSERT_TRUE(testing::waitUntil([&] {
      if (!*asking) {
        *asking = true;
        page->runJavaScript(link + QStringLiteral(" !== null"), [shown, asking](const QVariant& v) {
          *shown = v.toBool();
          *asking = false;
        });
      }
      return *shown;
    })) << "the page never showed the link";
    auto asked = std::make_shared<bool>(false);
    QObject::connect(page, &qt::NavigationPage::navigationDecided, &view,
                     [asked, target](const QUrl& decided, bool /*accepted*/) {
                       if (decided == target) *asked = true;
                     });
    page->runJavaScript(link + QStringLiteral(".click()"));
    EXPECT_TRUE(testing::waitUntil([&] { return *asked; })) << "the link was never followed";
  }
  void runUntilIdle() override { testing::deliverPostedQtEvents(); }
};

std::unique_ptr<ToolkitDriver> makeQtWebDriver() { return std::make_unique<QtWebDriver>(); }

}  // namespace

// The widget suites run in qt_contract_test, on the offscreen platform.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ControlContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewControllerContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PickerViewContractTest);

PELORIN_INSTANTIATE_WEB_CONTRACT(Qt, &makeQtWebDriver);

}  // namespace pelorin::contract
