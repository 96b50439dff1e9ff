#include "qt/constraint_layout.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include <QEvent>
#include <QRect>

namespace pelorin::qt {
namespace {

bool isInside(const QWidget* widget, const QWidget& ancestor) {
  for (; widget != nullptr; widget = widget->parentWidget()) {
    if (widget == &ancestor) return true;
  }
  return false;
}

// The widget's own length on the axis: a fixed size, else a valid size hint, else its
// current length.
double naturalLength(const QWidget& widget, Orientation orientation) {
  const bool horizontal = orientation == Orientation::kHorizontal;
  const int minimum = horizontal ? widget.minimumWidth() : widget.minimumHeight();
  const int maximum = horizontal ? widget.maximumWidth() : widget.maximumHeight();
  if (minimum == maximum) return minimum;
  const QSize hint = widget.sizeHint();
  const int hinted = horizontal ? hint.width() : hint.height();
  if (hinted > 0) return hinted;
  return horizontal ? widget.width() : widget.height();
}

int rounded(double value) { return static_cast<int>(std::lround(value)); }

}  // namespace

ConstraintLayout::ConstraintLayout(QWidget& host) : QObject(&host), _host(&host) {
  setObjectName(QStringLiteral("pelorinConstraintLayout"));
  host.installEventFilter(this);
}

ConstraintLayout& ConstraintLayout::of(QWidget& host) {
  if (ConstraintLayout* layout = find(host)) return *layout;
  return *new ConstraintLayout(host);  // owned by the host as its child
}

ConstraintLayout* ConstraintLayout::find(const QWidget& host) {
  return host.findChild<ConstraintLayout*>(QString(), Qt::FindDirectChildrenOnly);
}

bool ConstraintLayout::add(const std::string& format,
                           const std::map<std::string, QPointer<QWidget>>& views) {
  auto parsed = parseVisualFormat(format);
  if (!parsed) return false;
  for (const auto& view : parsed->views) {
    auto given = views.find(view.name);
    if (given == views.end() || given->second.isNull()) return false;
  }
  _constraints.push_back(Constraint{format, std::move(*parsed), views});
  apply(_constraints.back());
  return true;
}

std::vector<std::string> ConstraintLayout::formats() const {
  std::vector<std::string> texts;
  texts.reserve(_constraints.size());
  for (const auto& constraint : _constraints) texts.push_back(constraint.text);
  return texts;
}

void ConstraintLayout::dropConstraintsReferencing(const QWidget& removed) {
  std::erase_if(_constraints, [&removed](const Constraint& constraint) {
    return std::any_of(constraint.views.begin(), constraint.views.end(), [&](const auto& entry) {
      return isInside(entry.second.data(), removed);
    });
  });
}

void ConstraintLayout::dropFromAncestors(QWidget* formerParent, const QWidget& removed) {
  for (QWidget* ancestor = formerParent; ancestor != nullptr;
       ancestor = ancestor->parentWidget()) {
    if (ConstraintLayout* layout = find(*ancestor)) layout->dropConstraintsReferencing(removed);
  }
}

void ConstraintLayout::apply() {
  for (const auto& constraint : _constraints) apply(constraint);
}

void ConstraintLayout::apply(const Constraint& constraint) {
  if (_host.isNull()) return;
  const Orientation orientation = constraint.format.orientation;
  const bool horizontal = orientation == Orientation::kHorizontal;
  std::vector<QWidget*> widgets;
  std::vector<AxisItem> items;
  for (const auto& view : constraint.format.views) {
    auto found = constraint.views.find(view.name);
    QWidget* widget = found == constraint.views.end() ? nullptr : found->second.data();
    if (widget == nullptr) return;  // destroyed since: nothing left to place by it
    AxisItem item;
    // A widget outside the host's tree (a screen's top layout guide) is a guide of no
    // length at the edge: a Qt window has no status bar above its contents.
    item.isGuide = widget == _host || !isInside(widget->parentWidget(), *_host);
    if (!item.isGuide) {
      const QPoint topLeft = widget->parentWidget()->mapTo(_host, widget->pos());
      item.currentStart = horizontal ? topLeft.x() : topLeft.y();
      item.naturalLength = naturalLength(*widget, orientation);
    }
    widgets.push_back(widget);
    items.push_back(item);
  }
  const double length = horizontal ? _host->width() : _host->height();
  const auto placed = solveAxis(constraint.format, length, items);
  if (!placed) return;
  for (std::size_t i = 0; i < widgets.size(); ++i) {
    if (items[i].isGuide) continue;
    QWidget* widget = widgets[i];
    // In the host's coordinates; a widget deeper inside is moved relative to its parent.
    const QPoint origin = widget->parentWidget()->mapTo(_host, QPoint(0, 0));
    QRect geometry = widget->geometry();
    const int start = rounded((*placed)[i].start);
    const int end = rounded((*placed)[i].start + (*placed)[i].length);
    if (horizontal) {
      geometry.setX(start - origin.x());
      geometry.setWidth(end - start);
    } else {
      geometry.setY(start - origin.y());
      geometry.setHeight(end - start);
    }
    widget->setGeometry(geometry);
  }
}

bool ConstraintLayout::eventFilter(QObject* watched, QEvent* event) {
  if (watched == _host && (event->type() == QEvent::Resize || event->type() == QEvent::Show)) {
    apply();
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace pelorin::qt
