#include "pelorin/headless/headless_ui.h"

#include <algorithm>

#include "pelorin/headless/controls.h"
#include "pelorin/headless/web_view.h"

namespace pelorin::headless {

std::shared_ptr<platform::View> HeadlessViewFactory::makeContainerView(
    std::function<void()> onTap) {
  auto view = std::make_shared<View>();
  view->setTranslatesAutoresizingMaskIntoConstraints(false);
  if (onTap) {
    // The recogniser's target is the action itself: it lives as long as the recogniser.
    auto action = std::make_shared<std::function<void()>>(std::move(onTap));
    view->addGestureRecognizer(std::make_shared<TapGestureRecognizer>(
        action, [action](TapGestureRecognizer& /*recognizer*/) { (*action)(); }));
  }
  return view;
}

std::shared_ptr<platform::View> HeadlessViewFactory::makeWebView() {
  auto view = std::make_shared<WebView>();
  view->setTranslatesAutoresizingMaskIntoConstraints(false);
  return view;
}

std::shared_ptr<platform::View> HeadlessViewFactory::makeImageButton(std::optional<Image> image) {
  auto button = std::make_shared<Button>();
  button->setTranslatesAutoresizingMaskIntoConstraints(false);
  button->setImage(std::move(image));
  return button;
}

std::shared_ptr<platform::ViewController> HeadlessUi::keyWindowRootViewController() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _root;
}

bool HeadlessUi::presentAlert(Alert alert) {
  std::lock_guard<std::mutex> lock(_mutex);
  if (!_root) return false;
  _alerts.push_back(PresentedAlert{std::move(alert), _root, false});
  return true;
}

void HeadlessUi::openURL(std::string_view url) {
  std::lock_guard<std::mutex> lock(_mutex);
  _openedUrls.emplace_back(url);
}

Size HeadlessUi::screenSize() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _screenSize;
}

double HeadlessUi::screenScale() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _screenScale;
}

void HeadlessUi::setKeyWindowRootViewController(const std::shared_ptr<ViewController>& controller) {
  Size screen;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _root = controller;
    screen = _screenSize;
  }
  // Outside the lock: loading runs app code, which may ask this service for the screen.
  if (controller) controller->view()->setFrame(Rect{{0, 0}, screen});
}

void HeadlessUi::setScreen(Size size, double scale) {
  std::lock_guard<std::mutex> lock(_mutex);
  _screenSize = size;
  _screenScale = scale;
}

std::vector<HeadlessUi::PresentedAlert> HeadlessUi::alerts() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _alerts;
}

std::optional<Alert> HeadlessUi::visibleAlert() const {
  std::lock_guard<std::mutex> lock(_mutex);
  auto visible = std::find_if(_alerts.rbegin(), _alerts.rend(),
                              [](const PresentedAlert& shown) { return !shown.dismissed; });
  if (visible == _alerts.rend()) return std::nullopt;
  return visible->alert;
}

bool HeadlessUi::tapAlertButton(std::string_view title) {
  std::function<void()> handler;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    auto visible = std::find_if(_alerts.rbegin(), _alerts.rend(),
                                [](const PresentedAlert& shown) { return !shown.dismissed; });
    if (visible == _alerts.rend()) return false;
    const auto& actions = visible->alert.actions;
    auto button = std::find_if(actions.begin(), actions.end(), [title](const AlertAction& action) {
      return action.title == title;
    });
    if (button == actions.end()) return false;
    handler = button->handler;
    visible->dismissed = true;
  }
  if (handler) handler();
  return true;
}

std::vector<std::string> HeadlessUi::openedUrls() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _openedUrls;
}

}  // namespace pelorin::headless
