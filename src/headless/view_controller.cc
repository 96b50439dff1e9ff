#include "pelorin/headless/view_controller.h"

#include <algorithm>

#include "pelorin/platform/platform.h"
#include "pelorin/platform/ui.h"

namespace pelorin::headless {

std::shared_ptr<View> ViewController::view() {
  if (_view || _loading) return _view;
  _loading = true;
  loadView();
  if (!_view) ViewController::loadView();
  _loading = false;
  viewDidLoad();
  return _view;
}

void ViewController::loadView() {
  _view = std::make_shared<View>(Rect{{0, 0}, Platform::current().ui().screenSize()});
}

std::shared_ptr<platform::View> ViewController::topLayoutGuide() {
  if (!_topLayoutGuide) {
    _topLayoutGuide = std::make_shared<View>();
    _topLayoutGuide->setAccessibilityIdentifier("topLayoutGuide");
  }
  return _topLayoutGuide;
}

void ViewController::addChildViewController(const std::shared_ptr<ViewController>& child) {
  if (!child || child.get() == this) return;
  for (auto ancestor = _parent.lock(); ancestor; ancestor = ancestor->_parent.lock()) {
    if (ancestor == child) return;
  }
  child->removeFromParentViewController();
  child->_parent = weak_from_this();
  _children.push_back(child);
}

void ViewController::removeFromParentViewController() {
  auto parent = _parent.lock();
  _parent.reset();
  if (!parent) return;
  std::erase_if(parent->_children, [this](const auto& child) { return child.get() == this; });
}

std::optional<PropertyValue> ViewController::valueForProperty(std::string_view name) {
  if (name == "title") {
    return _title ? PropertyValue(*_title) : PropertyValue(std::monostate{});
  }
  if (name == "view") return PropertyValue(view());
  auto found = _properties.find(name);
  if (found == _properties.end()) return std::nullopt;
  return found->second;
}

void ViewController::addOutlet(std::string name, std::shared_ptr<platform::View> view) {
  setProperty(std::move(name), PropertyValue(std::move(view)));
}

void ViewController::setProperty(std::string name, PropertyValue value) {
  if (name == "title" || name == "view") return;
  _properties.insert_or_assign(std::move(name), std::move(value));
}

void ViewController::removeProperty(std::string_view name) {
  auto found = _properties.find(name);
  if (found != _properties.end()) _properties.erase(found);
}

}  // namespace pelorin::headless
