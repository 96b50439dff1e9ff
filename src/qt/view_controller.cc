#include "qt/view_controller.h"

#include <QMetaProperty>
#include <QVariant>

#include "qt/view.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

QtViewController::QtViewController(QWidget& widget) : _widget(&widget) {}

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
