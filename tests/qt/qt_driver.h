// The contract suites' driver for the Qt toolkit: builds Qt widgets, hands them out through
// the library's handles (pelorin::qt::viewFor), and acts as the user with QTest input.
// Widget-only: a program with a browser engine derives from it for the web suites.
#ifndef PELORIN_TESTS_QT_QT_DRIVER_H_
#define PELORIN_TESTS_QT_QT_DRIVER_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QPointer>
#include <QWidget>

#include "contract/toolkit_driver.h"
#include "pelorin/qt/ui.h"

namespace pelorin::testing {

class QtDriver : public contract::ToolkitDriver {
 public:
  QtDriver();
  // Deletes every window it made (with the widgets in it).
  ~QtDriver() override;
  QtDriver(const QtDriver&) = delete;
  QtDriver& operator=(const QtDriver&) = delete;

  std::shared_ptr<platform::View> makeContainer() override;
  std::shared_ptr<platform::View> makeLabel(std::optional<std::string> text) override;
  std::shared_ptr<platform::View> makeTextField(std::string text) override;
  std::shared_ptr<platform::View> makeButton(std::string title) override;
  std::shared_ptr<platform::View> makeSwitch() override;
  std::shared_ptr<platform::View> makeSlider(bool continuous) override;
  std::shared_ptr<platform::View> makeStepper() override;
  std::shared_ptr<platform::View> makeSegmentedControl() override;
  std::shared_ptr<platform::View> makeDatePicker() override;
  std::shared_ptr<platform::View> makePicker(
      std::vector<std::vector<std::string>> components) override;
  void destroy(std::shared_ptr<platform::View>& view) override;

  std::shared_ptr<platform::ViewController> makeScreen(std::optional<std::string> title) override;
  void addOutlet(platform::ViewController& screen, const std::string& name,
                 const std::shared_ptr<platform::View>& view) override;
  void addStringProperty(platform::ViewController& screen, const std::string& name,
                         const std::string& value) override;
  void addChildScreen(platform::ViewController& parent,
                      const std::shared_ptr<platform::ViewController>& child) override;

  void tap(platform::View& view) override;
  void typeText(platform::View& field, std::string_view text) override;
  void endEditing(platform::View& field) override;
  void pressReturn(platform::View& field) override;
  void drag(platform::View& slider, const std::vector<double>& positions) override;
  void increment(platform::View& stepper) override;
  void selectSegment(platform::View& segmentedControl, std::size_t index) override;
  void pickDate(platform::View& datePicker) override;
  void pickRow(platform::View& picker, std::size_t row, std::size_t component) override;
  // No browser engine here: throws.
  void followLink(platform::View& webView, const std::string& url) override;
  void runUntilIdle() override;

  std::vector<std::string> appliedConstraints(platform::View& view) override;
  platform::ViewFactory& viewFactory() override { return _ui.viewFactory(); }

  // The widget behind a handle (throws for a gone view or another toolkit's).
  static QWidget& widgetOf(platform::View& view);
  static QWidget& widgetOf(platform::ViewController& screen);

 protected:
  // Keeps `widget` (a new window) to delete it with the driver, and answers its handle.
  std::shared_ptr<platform::View> adopt(QWidget* widget);
  // Shows `widget`'s window and makes it the active one, as it is when the user acts.
  static void showActive(QWidget& widget);

 private:
  qt::QtUi _ui;
  std::vector<QPointer<QWidget>> _made;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_QT_QT_DRIVER_H_
