#include "qt/view.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include <QPalette>

#include "qt/layout.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

std::string toUtf8(const QString& text) {
  const QByteArray bytes = text.toUtf8();
  return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

QtView::QtView(QWidget& widget, bool leaf)
    : _widget(&widget), _className(widget.metaObject()->className()), _leaf(leaf) {}

std::string QtView::description() const {
  const QRect frame = _widget ? _widget->geometry() : QRect();
  std::string out = fmt::format("<{}; frame = ({} {}; {} {})", _className, frame.x(), frame.y(),
                                frame.width(), frame.height());
  if (_widget && !_widget->objectName().isEmpty()) {
    out += fmt::format("; name = '{}'", toUtf8(_widget->objectName()));
  }
  if (_widget && _widget->isHidden()) out += "; hidden = YES";
  if (isGone()) out += "; gone = YES";
  describeDetails(out);
  out += '>';
  return out;
}

void QtView::describeDetails(std::string& /*out*/) const {}

std::shared_ptr<platform::View> QtView::superview() const {
  if (!_widget || _widget->isWindow()) return nullptr;
  return ViewRegistry::instance().viewFor(_widget->parentWidget());
}

void QtView::forEachSubview(SubviewVisitor visit) const {
  if (!_widget || _leaf) return;
  for (QObject* child : _widget->children()) {
    if (!child->isWidgetType()) continue;
    auto* widget = static_cast<QWidget*>(child);
    if (widget->isWindow()) continue;  // a dialog parented here is not in the tree
    visit(*ViewRegistry::instance().viewFor(widget));
  }
}

platform::Rect QtView::bounds() const {
  if (!_widget) return {};
  return platform::Rect{
      {0, 0}, {static_cast<double>(_widget->width()), static_cast<double>(_widget->height())}};
}

void QtView::addSubview(const std::shared_ptr<platform::View>& view) {
  QtView* subview = asQtView(view.get());
  if (!_widget || subview == nullptr || subview->widget() == nullptr) return;
  QWidget* child = subview->widget();
  for (QWidget* ancestor = _widget; ancestor != nullptr; ancestor = ancestor->parentWidget()) {
    if (ancestor == child) return;  // would make a cycle
  }
  if (child->parentWidget() != _widget) child->setParent(_widget);
  child->raise();
  child->show();
}

void QtView::removeFromSuperview() {
  if (!_widget || _widget->isWindow()) return;
  auto& registry = ViewRegistry::instance();
  for (QWidget* ancestor = _widget->parentWidget(); ancestor != nullptr;
       ancestor = ancestor->parentWidget()) {
    auto owner = registry.existingView(ancestor);
    if (!owner) continue;
    auto& kept = owner->_constraints;
    const auto before = kept.size();
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [this](const platform::LayoutConstraint& constraint) {
                                return constraint.references(*this);
                              }),
               kept.end());
    if (kept.size() != before) layOut(*owner);
  }
  _widget->hide();
  _widget->setParent(nullptr);
}

bool QtView::addConstraint(platform::LayoutConstraint constraint) {
  if (!_widget || !constraint.isValid() || !canLayOut(constraint)) return false;
  _constraints.push_back(std::move(constraint));
  layOut(*this);
  return true;
}

void QtView::setBackgroundColor(platform::Color color) {
  if (!_widget) return;
  QPalette palette = _widget->palette();
  palette.setColor(
      QPalette::Window,
      QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                       static_cast<float>(color.blue), static_cast<float>(color.alpha)));
  _widget->setPalette(palette);
  _widget->setAutoFillBackground(true);
}

}  // namespace pelorin::qt
