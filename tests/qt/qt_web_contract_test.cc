// The web view and view factory contract suites against the Qt toolkit: QWebEngineView
// pages on a display (run through with-display.sh), the lightbox's views as widgets.
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QVariant>
#include <QWebEngineView>
#include <QWidget>

#include "contract/toolkit_driver.h"
#include "pelorin/qt/toolkit.h"
#include "qt/navigation_page.h"
#include "qt/view.h"
#include "qt/view_factory.h"
#include "qt/web_application.h"

namespace pelorin::contract {
namespace {

QWidget& widgetOf(platform::View& view) {
  auto* handle = dynamic_cast<qt::QtView*>(&view);
  if (handle == nullptr || handle->widget() == nullptr) {
    throw std::logic_error("not the handle of a live Qt widget");
  }
  return *handle->widget();
}

// Builds widgets and acts on them with Qt's own input. It covers what the web view and view
// factory suites use; the other suites run with the toolkit's main driver.
class QtWebDriver : public ToolkitDriver {
 public:
  ~QtWebDriver() override {
    for (auto& widget : _made) delete widget.data();
    testing::deliverPostedQtEvents();
  }

  std::shared_ptr<platform::View> makeContainer() override { return keep(new QWidget()); }
  std::shared_ptr<platform::View> makeLabel(std::optional<std::string> text) override {
    return keep(new QLabel(QString::fromStdString(text.value_or(""))));
  }
  std::shared_ptr<platform::View> makeTextField(std::string text) override {
    return keep(new QLineEdit(QString::fromStdString(text)));
  }
  std::shared_ptr<platform::View> makeButton(std::string title) override {
    return keep(new QPushButton(QString::fromStdString(title)));
  }
  std::shared_ptr<platform::View> makeSwitch() override { return unused("makeSwitch"); }
  std::shared_ptr<platform::View> makeSlider(bool /*continuous*/) override {
    return unused("makeSlider");
  }
  std::shared_ptr<platform::View> makeStepper() override { return unused("makeStepper"); }
  std::shared_ptr<platform::View> makeSegmentedControl() override {
    return unused("makeSegmentedControl");
  }
  std::shared_ptr<platform::View> makeDatePicker() override { return unused("makeDatePicker"); }
  std::shared_ptr<platform::View> makePicker(
      std::vector<std::vector<std::string>> /*components*/) override {
    return unused("makePicker");
  }
  void destroy(std::shared_ptr<platform::View>& view) override {
    delete &widgetOf(*view);
    view.reset();
  }

  std::shared_ptr<platform::ViewController> makeScreen(
      std::optional<std::string> /*title*/) override {
    unused("makeScreen");
    return nullptr;
  }
  void addOutlet(platform::ViewController& /*screen*/, const std::string& /*name*/,
                 const std::shared_ptr<platform::View>& /*view*/) override {
    unused("addOutlet");
  }
  void addStringProperty(platform::ViewController& /*screen*/, const std::string& /*name*/,
                         const std::string& /*value*/) override {
    unused("addStringProperty");
  }
  void addChildScreen(platform::ViewController& /*parent*/,
                      const std::shared_ptr<platform::ViewController>& /*child*/) override {
    unused("addChildScreen");
  }

  void tap(platform::View& view) override {
    QWidget& widget = widgetOf(view);
    QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, widget.rect().center());
  }
  void typeText(platform::View& field, std::string_view text) override {
    QTest::keyClicks(&widgetOf(field), QString::fromUtf8(text.data(), qsizetype(text.size())));
  }
  void endEditing(platform::View& /*field*/) override { unused("endEditing"); }
  void pressReturn(platform::View& /*field*/) override { unused("pressReturn"); }
  void drag(platform::View& /*slider*/, const std::vector<double>& /*positions*/) override {
    unused("drag");
  }
  void increment(platform::View& /*stepper*/) override { unused("increment"); }
  void selectSegment(platform::View& /*control*/, std::size_t /*index*/) override {
    unused("selectSegment");
  }
  void pickDate(platform::View& /*datePicker*/) override { unused("pickDate"); }
  void pickRow(platform::View& /*picker*/, std::size_t /*row*/, std::size_t /*component*/) override {
    unused("pickRow");
  }

  // Clicks the link (the page's own click, as a tap on it would) once the page shows it,
  // and waits until the engine asked about the navigation.
  void followLink(platform::View& webView, const std::string& url) override {
    auto& view = dynamic_cast<QWebEngineView&>(widgetOf(webView));
    auto* page = qobject_cast<qt::NavigationPage*>(view.page());
    ASSERT_NE(page, nullptr);
    const QUrl target(QString::fromStdString(url));
    const QString link = QStringLiteral("document.querySelector('a[href=\"%1\"]')")
                             .arg(target.toString());
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

  std::vector<std::string> appliedConstraints(platform::View& view) override {
    std::vector<std::string> formats;
    auto* handle = dynamic_cast<qt::QtView*>(&view);
    if (handle == nullptr) return formats;
    for (const auto& constraint : handle->constraints()) {
      formats.push_back(constraint.visualFormat());
    }
    return formats;
  }
  platform::ViewFactory& viewFactory() override { return *_factory; }

 private:
  std::shared_ptr<platform::View> keep(QWidget* widget) {
    _made.emplace_back(widget);
    return qt::viewFor(widget);
  }
  std::shared_ptr<platform::View> unused(const char* what) {
    ADD_FAILURE() << what << " is not used by the web view and view factory suites";
    return nullptr;
  }

  std::unique_ptr<platform::ViewFactory> _factory = qt::makeViewFactory();
  std::vector<QPointer<QWidget>> _made;
};

std::unique_ptr<ToolkitDriver> makeQtWebDriver() { return std::make_unique<QtWebDriver>(); }

}  // namespace

// The other suites run in the toolkit's main contract program.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ControlContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewControllerContractTest);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PickerViewContractTest);

INSTANTIATE_TEST_SUITE_P(Qt, WebViewContractTest, ::testing::Values(&makeQtWebDriver));
INSTANTIATE_TEST_SUITE_P(Qt, ViewFactoryContractTest, ::testing::Values(&makeQtWebDriver));

}  // namespace pelorin::contract
