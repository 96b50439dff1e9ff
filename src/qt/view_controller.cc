#include "qt/view_controller.h"

#include <atomic>

#include <QApplication>
#include <QEvent>
#include <QMetaProperty>
#include <QObject>
#include <QStackedWidget>
#include <QVariant>

#include "pelorin/pelorin_client.h"
#include "pelorin/qt/toolkit.h"
#include "qt/view.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

namespace {

std::atomic<bool> following{false};

}  // namespace

void setFollowsShownScreens(bool follow) { following = follow; }

// Makes the screen current when it shows in the active window (or there is none) or its
// window becomes active, provided it is the deepest screen the window shows.
class ScreenWatcher final : public QObject {
 public:
  explicit ScreenWatcher(QWidget& widget) : _widget(&widget) { widget.installEventFilter(this); }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched != _widget || !following) return false;
    if (event->type() != QEvent::Show && event->type() != QEvent::WindowActivate) return false;
    QWidget* window = _widget->window();
    if (QApplication::activeWindow() != nullptr && !window->isActiveWindow()) return false;
    auto screen = shownScreen(*window);
    if (screen && screen->widget() == _widget) PelorinClient::getInstance(screen);
    return false;
  }

 private:
  QWidget* _widget;
};

std::shared_ptr<QtViewController> shownScreen(QWidget& widget) {
  const auto& registry = ViewRegistry::instance();
  if (auto* stack = qobject_cast<QStackedWidget*>(&widget)) {
    QWidget* page = stack->currentWidget();
    auto inner = page == nullptr ? nullptr : shownScreen(*page);
    return inner ? inner : registry.screenFor(&widget);
  }
  for (QObject* child : widget.children()) {
    if (!child->isWidgetType()) continue;
    auto* childWidget = static_cast<QWidget*>(child);
    if (childWidget->isWindow() || childWidget->isHidden()) continue;
    if (auto inner = shownScreen(*childWidget)) return inner;
  }
  return registry.screenFor(&widget);
}

QtViewController::QtViewController(QWidget& widget)
    : _widget(&widget), _watcher(std::make_unique<ScreenWatcher>(widget)) {}

QtViewController::~QtViewController() {
  // The guide has no parent; deleteLater is safe wherever the last handle goes.
  if (_topGuide) _topGuide->deleteLater();
}

std::optional<std::string> QtViewController::title() const {
  if (!_widget || _widget->windowTitle().isEmpty()) return std::nullopt;
  return toUtf8(_widget->windowTitle());
}

std::shared_ptr<platform::View> QtViewController::rootView() {
  return ViewRegistry::instance().viewFor(_widget.data());
}

std::shared_ptr<platform::View> QtViewController::topLayoutGuide() {
  if (!_widget) return nullptr;
  if (!_topGuide) {
    _topGuide = new QWidget();  // deleted with the controller
    _topGuide->setObjectName(QStringLiteral("topLayoutGuide"));
    _topGuide->setFixedSize(0, 0);
  }
  return ViewRegistry::instance().viewFor(_topGuide.data());
}

std::shared_ptr<platform::ViewController> QtViewController::parentViewController() const {
  if (!_widget) return nullptr;
  const auto& registry = ViewRegistry::instance();
  for (QWidget* ancestor = _widget->parentWidget(); ancestor != nullptr;
       ancestor = ancestor->parentWidget()) {
    if (auto screen = registry.screenFor(ancestor)) return screen;
  }
  return nullptr;
}

namespace {

// A property's value as the library sees it.
platform::PropertyValue toPropertyValue(const QVariant& value) {
  if (value.metaType().flags().testFlag(QMetaType::PointerToQObject)) {
    auto* widget = qobject_cast<QWidget*>(value.value<QObject*>());
    if (widget == nullptr) return std::monostate{};
    return std::shared_ptr<platform::View>(ViewRegistry::instance().viewFor(widget));
  }
  if (value.metaType() == QMetaType::fromType<QString>()) return toUtf8(value.toString());
  return std::monostate{};
}

}  // namespace

std::optional<platform::PropertyValue> QtViewController::valueForProperty(std::string_view name) {
  if (!_widget) return std::nullopt;
  if (name == "title") {
    auto text = title();
    if (!text) return platform::PropertyValue{std::monostate{}};
    return platform::PropertyValue{std::move(*text)};
  }
  if (name == "view") return platform::PropertyValue{rootView()};
  const QByteArray key(name.data(), static_cast<qsizetype>(name.size()));
  const QMetaObject* meta = _widget->metaObject();
  const int index = meta->indexOfProperty(key.constData());
  // Only properties the app's classes declare count, not QWidget's own ("enabled",
  // "geometry"...).
  if (index >= QWidget::staticMetaObject.propertyCount()) {
    return toPropertyValue(meta->property(index).read(_widget));
  }
  if (index < 0 && _widget->dynamicPropertyNames().contains(key)) {
    return toPropertyValue(_widget->property(key.constData()));
  }
  if (auto* child = _widget->findChild<QWidget*>(QString::fromUtf8(key))) {
    return platform::PropertyValue{
        std::shared_ptr<platform::View>(ViewRegistry::instance().viewFor(child))};
  }
  return std::nullopt;
}

}  // namespace pelorin::qt
