#include "pelorin/platform/headless_ui.h"

#include <algorithm>

#include "pelorin/platform/view_controller.h"

namespace pelorin::platform {

std::shared_ptr<ViewController> HeadlessUi::keyWindowRootViewController() const {
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

}  // namespace pelorin::platform
