// The toolkit contract suites against the headless toolkit.
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contract/toolkit_driver.h"
#include "pelorin/headless/toolkit.h"
#include "support/test_platform.h"

namespace pelorin::contract {
namespace {

template <typename T>
T& as(platform::View& view) {
  auto* typed = dynamic_cast<T*>(&view);
  if (typed == nullptr) throw std::logic_error("not a view of the expected class");
  return *typed;
}

class HeadlessDriver : public ToolkitDriver {
 public:
  std::shared_ptr<platform::View> makeContainer() override {
    return std::make_shared<headless::View>();
  }
  std::shared_ptr<platform::View> makeLabel(std::optional<std::string> text) override {
    return std::make_shared<headless::Label>(std::move(text));
  }
  std::shared_ptr<platform::View> makeTextField(std::string text) override {
    return std::make_shared<headless::TextField>(std::move(text));
  }
  std::shared_ptr<platform::View> makeButton(std::string title) override {
    return std::make_shared<headless::Button>(std::move(title));
  }
  std::shared_ptr<platform::View> makeSwitch() override {
    return std::make_shared<headless::Switch>(false);
  }
  std::shared_ptr<platform::View> makeSlider(bool continuous) override {
    auto slider = std::make_shared<headless::Slider>(0, 1, 0);
    slider->setContinuous(continuous);
    return slider;
  }
  std::shared_ptr<platform::View> makeStepper() override {
    return std::make_shared<headless::Stepper>(0, 10, 1, 0);
  }
  std::shared_ptr<platform::View> makeSegmentedControl() override {
    return std::make_shared<headless::SegmentedControl>(std::vector<std::string>{"A", "B"});
  }
  std::shared_ptr<platform::View> makeDatePicker() override {
    return std::make_shared<headless::DatePicker>();
  }
  std::shared_ptr<platform::View> makePicker(
      std::vector<std::vector<std::string>> components) override {
    return std::make_shared<headless::PickerView>(std::move(components));
  }
  // A headless view lives as long as it is owned: out of its tree and without the
  // caller's handle, it is destroyed.
  void destroy(std::shared_ptr<platform::View>& view) override {
    view->removeFromSuperview();
    view.reset();
  }

  std::shared_ptr<platform::ViewController> makeScreen(std::optional<std::string> title) override {
    return std::make_shared<headless::ViewController>(std::move(title));
  }
  void addOutlet(platform::ViewController& screen, const std::string& name,
                 const std::shared_ptr<platform::View>& view) override {
    auto& controller = dynamic_cast<headless::ViewController&>(screen);
    controller.view()->addSubview(view);
    controller.addOutlet(name, view);
  }
  void addStringProperty(platform::ViewController& screen, const std::string& name,
                         const std::string& value) override {
    dynamic_cast<headless::ViewController&>(screen).setProperty(name, value);
  }
  void addChildScreen(platform::ViewController& parent,
                      const std::shared_ptr<platform::ViewController>& child) override {
    dynamic_cast<headless::ViewController&>(parent).addChildViewController(
        std::dynamic_pointer_cast<headless::ViewController>(child));
  }

  void tap(platform::View& view) override { as<headless::View>(view).tap(); }
  void typeText(platform::View& field, std::string_view text) override {
    as<headless::TextField>(field).typeText(text);
  }
  void endEditing(platform::View& field) override { as<headless::TextField>(field).endEditing(); }
  void pressReturn(platform::View& field) override { as<headless::TextField>(field).pressReturn(); }
  void drag(platform::View& slider, const std::vector<double>& positions) override {
    as<headless::Slider>(slider).drag(positions);
  }
  void increment(platform::View& stepper) override { as<headless::Stepper>(stepper).increment(); }
  void selectSegment(platform::View& segmentedControl, std::size_t index) override {
    as<headless::SegmentedControl>(segmentedControl).selectSegment(index);
  }
  void pickDate(platform::View& datePicker) override {
    auto& picker = as<headless::DatePicker>(datePicker);
    picker.pickDate(picker.date() + std::chrono::hours(24));
  }
  void pickRow(platform::View& picker, std::size_t row, std::size_t component) override {
    as<headless::PickerView>(picker).pickRow(row, component);
  }
  void followLink(platform::View& webView, const std::string& url) override {
    as<headless::WebView>(webView).tapLink(url);
  }
  void runUntilIdle() override { _platform.mainLoop().runUntilIdle(); }

  std::vector<std::string> appliedConstraints(platform::View& view) override {
    return as<headless::View>(view).constraintFormats();
  }
  platform::ViewFactory& viewFactory() override { return _platform.ui().viewFactory(); }

 private:
  testing::TestPlatform _platform;
};

std::unique_ptr<ToolkitDriver> makeHeadlessDriver() { return std::make_unique<HeadlessDriver>(); }

}  // namespace

PELORIN_INSTANTIATE_TOOLKIT_CONTRACT(Headless, &makeHeadlessDriver);

}  // namespace pelorin::contract
