// The contract suites of the toolkit interfaces (pelorin/platform/), for every toolkit:
// one value-parameterised suite per interface, whose parameter is a factory of the
// toolkit's `ToolkitDriver`. A toolkit's test program links the suites
// (pelorin_contract_suites) and instantiates them with its own driver:
//
//   std::unique_ptr<pelorin::contract::ToolkitDriver> makeQtDriver();
//   PELORIN_INSTANTIATE_TOOLKIT_CONTRACT(Qt, &makeQtDriver);
//
// A toolkit whose browser engine needs a display may run the widget suites and the web
// suites in two programs (PELORIN_INSTANTIATE_WIDGET_CONTRACT, PELORIN_INSTANTIATE_WEB_CONTRACT).
//
// The driver builds widgets of its toolkit and hands them out through the interfaces, and
// acts as the user on them (tap, type, drag...) the way the toolkit's own events come.
#ifndef PELORIN_TESTS_CONTRACT_TOOLKIT_DRIVER_H_
#define PELORIN_TESTS_CONTRACT_TOOLKIT_DRIVER_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/platform/control.h"
#include "pelorin/platform/picker_view.h"
#include "pelorin/platform/ui.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"
#include "pelorin/platform/view_factory.h"
#include "pelorin/platform/web_view.h"

namespace pelorin::contract {

class ToolkitDriver {
 public:
  virtual ~ToolkitDriver() = default;

  // --- Building views of the toolkit. Each answers the library's handle of a new view.
  // A plain view (no text property).
  virtual std::shared_ptr<platform::View> makeContainer() = 0;
  // A label showing `text` (none: a label with no text yet).
  virtual std::shared_ptr<platform::View> makeLabel(std::optional<std::string> text) = 0;
  // A one-line text field holding `text`.
  virtual std::shared_ptr<platform::View> makeTextField(std::string text) = 0;
  // A push button titled `title`; its title is not text content.
  virtual std::shared_ptr<platform::View> makeButton(std::string title) = 0;
  // An on/off switch, off.
  virtual std::shared_ptr<platform::View> makeSwitch() = 0;
  // A slider from 0 to 1 at 0, sending value-changed during drags when `continuous`.
  virtual std::shared_ptr<platform::View> makeSlider(bool continuous) = 0;
  // A stepper from 0 to 10 by 1 at 0.
  virtual std::shared_ptr<platform::View> makeStepper() = 0;
  // A segmented control with the segments "A" and "B", none selected.
  virtual std::shared_ptr<platform::View> makeSegmentedControl() = 0;
  // A date picker.
  virtual std::shared_ptr<platform::View> makeDatePicker() = 0;
  // A picker with one component per list of row titles, the first row of each selected.
  virtual std::shared_ptr<platform::View> makePicker(
      std::vector<std::vector<std::string>> components) = 0;
  // Destroys the toolkit object behind `view` and drops the caller's handle.
  virtual void destroy(std::shared_ptr<platform::View>& view) = 0;

  // --- Screens.
  // A screen titled `title` (none: untitled) whose root view is a plain view.
  virtual std::shared_ptr<platform::ViewController> makeScreen(
      std::optional<std::string> title) = 0;
  // Puts `view` in the screen's root view and makes it the screen's outlet `name`.
  virtual void addOutlet(platform::ViewController& screen, const std::string& name,
                         const std::shared_ptr<platform::View>& view) = 0;
  // Gives the screen a property `name` holding a string.
  virtual void addStringProperty(platform::ViewController& screen, const std::string& name,
                                 const std::string& value) = 0;
  // Makes `child` a child screen of `parent` (a navigation stack, a tab...).
  virtual void addChildScreen(platform::ViewController& parent,
                              const std::shared_ptr<platform::ViewController>& child) = 0;

  // --- Acting as the user.
  virtual void tap(platform::View& view) = 0;
  virtual void typeText(platform::View& field, std::string_view text) = 0;
  // The field loses the focus.
  virtual void endEditing(platform::View& field) = 0;
  virtual void pressReturn(platform::View& field) = 0;
  // Moves the slider's thumb through `positions` and lifts it at the last one.
  virtual void drag(platform::View& slider, const std::vector<double>& positions) = 0;
  virtual void increment(platform::View& stepper) = 0;
  virtual void selectSegment(platform::View& segmentedControl, std::size_t index) = 0;
  // Spins the date picker to another date.
  virtual void pickDate(platform::View& datePicker) = 0;
  virtual void pickRow(platform::View& picker, std::size_t row, std::size_t component) = 0;
  // The user follows a link to `url` on the page the web view shows.
  virtual void followLink(platform::View& webView, const std::string& url) = 0;
  // Runs the main thread's pending work (posted tasks, loads that start later) until
  // nothing is left.
  virtual void runUntilIdle() = 0;

  // --- Looking at what the toolkit did.
  // The visual formats of the constraints applied on `view`, in order.
  virtual std::vector<std::string> appliedConstraints(platform::View& view) = 0;
  // The toolkit's factory of the library's own views.
  virtual platform::ViewFactory& viewFactory() = 0;
};

using ToolkitFactory = std::unique_ptr<ToolkitDriver> (*)();

// The fixture of every contract suite: a fresh driver per test.
class ToolkitContractTest : public ::testing::TestWithParam<ToolkitFactory> {
 protected:
  void SetUp() override { _driver = GetParam()(); }
  void TearDown() override { _driver.reset(); }

  ToolkitDriver& driver() { return *_driver; }

 private:
  std::unique_ptr<ToolkitDriver> _driver;
};

// The suites, one per interface.
class ViewContractTest : public ToolkitContractTest {};
class ControlContractTest : public ToolkitContractTest {};
class ViewControllerContractTest : public ToolkitContractTest {};
class PickerViewContractTest : public ToolkitContractTest {};
class WebViewContractTest : public ToolkitContractTest {};
class ViewFactoryContractTest : public ToolkitContractTest {};

}  // namespace pelorin::contract

// Runs every contract suite against the toolkit whose driver `factory` makes.
#define PELORIN_INSTANTIATE_TOOLKIT_CONTRACT(toolkit, factory) \
  PELORIN_INSTANTIATE_WIDGET_CONTRACT(toolkit, factory);       \
  PELORIN_INSTANTIATE_WEB_CONTRACT(toolkit, factory)

// The suites of views, controls, view controllers and pickers, for a test program whose
// toolkit runs without a display (e.g. Qt on its offscreen platform).
#define PELORIN_INSTANTIATE_WIDGET_CONTRACT(toolkit, factory)                                \
  INSTANTIATE_TEST_SUITE_P(toolkit, ViewContractTest, ::testing::Values(factory));           \
  INSTANTIATE_TEST_SUITE_P(toolkit, ControlContractTest, ::testing::Values(factory));        \
  INSTANTIATE_TEST_SUITE_P(toolkit, ViewControllerContractTest, ::testing::Values(factory)); \
  INSTANTIATE_TEST_SUITE_P(toolkit, PickerViewContractTest, ::testing::Values(factory))

// The suites of web views and the view factory, for a test program whose toolkit's browser
// engine needs a display.
#define PELORIN_INSTANTIATE_WEB_CONTRACT(toolkit, factory)                            \
  INSTANTIATE_TEST_SUITE_P(toolkit, WebViewContractTest, ::testing::Values(factory)); \
  INSTANTIATE_TEST_SUITE_P(toolkit, ViewFactoryContractTest, ::testing::Values(factory))

#endif  // PELORIN_TESTS_CONTRACT_TOOLKIT_DRIVER_H_
