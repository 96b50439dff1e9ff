#include "qt/view_registry.h"

#include <utility>

#include <QObject>

#include "qt/kinds.h"
#include "qt/view_controller.h"

namespace pelorin::qt {

ViewRegistry& ViewRegistry::instance() {
  // Never destroyed: widgets may outlive static destruction, and their `destroyed`
  // connections call back into the registry.
  static auto* registry = new ViewRegistry();
  return *registry;
}

ViewRegistry::ViewRegistry() {
  addTextKinds(*this);
  addControlKinds(*this);
  addPickerKinds(*this);
  addWebViewKind(*this);
}

void ViewRegistry::addKind(Kind kind) {
  if (kind) _kinds.push_back(std::move(kind));
}

std::shared_ptr<QtView> ViewRegistry::viewFor(QWidget* widget) {
  if (widget == nullptr) return nullptr;
  if (auto found = _views.find(widget); found != _views.end()) return found->second;
  std::shared_ptr<QtView> view;
  for (auto kind = _kinds.rbegin(); kind != _kinds.rend() && !view; ++kind) view = (*kind)(*widget);
  if (!view) view = std::make_shared<QtView>(*widget);
  watch(*widget);
  _views.emplace(widget, view);
  return view;
}

std::shared_ptr<QtView> ViewRegistry::existingView(const QWidget* widget) const {
  auto found = _views.find(widget);
  return found == _views.end() ? nullptr : found->second;
}

std::shared_ptr<QtViewController> ViewRegistry::markScreen(QWidget* widget) {
  if (widget == nullptr) return nullptr;
  if (auto found = _screens.find(widget); found != _screens.end()) return found->second;
  auto screen = std::make_shared<QtViewController>(*widget);
  watch(*widget);
  _screens.emplace(widget, screen);
  return screen;
}

std::shared_ptr<QtViewController> ViewRegistry::screenFor(const QWidget* widget) const {
  auto found = _screens.find(widget);
  return found == _screens.end() ? nullptr : found->second;
}

void ViewRegistry::watch(QWidget& widget) {
  if (_views.count(&widget) != 0 || _screens.count(&widget) != 0) return;  // watched already
  QObject::connect(&widget, &QObject::destroyed, [this](QObject* object) { forget(object); });
}

void ViewRegistry::forget(const QObject* object) {
  _views.erase(object);
  _screens.erase(object);
}

QtView* asQtView(platform::View* view) { return dynamic_cast<QtView*>(view); }

}  // namespace pelorin::qt
