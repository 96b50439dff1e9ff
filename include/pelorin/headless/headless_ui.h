// The headless user interface: a key window whose root view controller the host sets, and
// recordings of the alerts shown and the addresses opened, which hosts and tests read and
// act on (`tapAlertButton`), and the factory of the library's own views.
//
// Thread safety: as every `Ui`, used from the main thread; the recordings (`alerts()`,
// `openedUrls()`) may also be read from other threads.
#ifndef PELORIN_HEADLESS_HEADLESS_UI_H_
#define PELORIN_HEADLESS_HEADLESS_UI_H_

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/headless/view_controller.h"
#include "pelorin/platform/ui.h"
#include "pelorin/platform/view_factory.h"

namespace pelorin::headless {

using platform::Alert;
using platform::AlertAction;
using platform::AlertActionStyle;

// Makes the library's own views as headless views placed by constraints: a plain view with
// a tap recogniser, a `WebView`, a `Button` with the image.
class PELORIN_EXPORT HeadlessViewFactory final : public platform::ViewFactory {
 public:
  std::shared_ptr<platform::View> makeContainerView(std::function<void()> onTap) override;
  std::shared_ptr<platform::View> makeWebView() override;
  std::shared_ptr<platform::View> makeImageButton(std::optional<Image> image) override;
};

class PELORIN_EXPORT HeadlessUi final : public platform::Ui {
 public:
  // An alert as it was presented.
  struct PresentedAlert {
    Alert alert;
    std::weak_ptr<ViewController> presenter;
    bool dismissed = false;
  };

  // A screen of 390 x 844 points at scale 3.
  HeadlessUi() = default;

  std::shared_ptr<platform::ViewController> keyWindowRootViewController() const override;
  bool presentAlert(Alert alert) override;
  void openURL(std::string_view url) override;
  Size screenSize() const override;
  double screenScale() const override;
  platform::ViewFactory& viewFactory() override { return _viewFactory; }

  // Makes `controller` the key window's root (the window keeps it alive). Its root view is
  // loaded and sized to the screen, as a window does.
  void setKeyWindowRootViewController(const std::shared_ptr<ViewController>& controller);
  void setScreen(Size size, double scale);

  // Every alert presented, in order.
  std::vector<PresentedAlert> alerts() const;
  // The latest alert that is still shown.
  std::optional<Alert> visibleAlert() const;
  // The user taps the button titled `title` of the visible alert: the alert is dismissed
  // and the button's handler runs. False when no alert is shown or it has no such button.
  bool tapAlertButton(std::string_view title);

  // Every address opened outside the app, in order.
  std::vector<std::string> openedUrls() const;

 private:
  mutable std::mutex _mutex;  // guards everything below
  std::shared_ptr<ViewController> _root;
  std::vector<PresentedAlert> _alerts;
  std::vector<std::string> _openedUrls;
  Size _screenSize{390, 844};
  HeadlessViewFactory _viewFactory;
  double _screenScale = 3;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_HEADLESS_UI_H_
