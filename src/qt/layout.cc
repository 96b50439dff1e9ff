#include "qt/layout.h"

#include <cmath>
#include <vector>

#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QRect>

#include "qt/view.h"
#include "qt/view_registry.h"
#include "qt/visual_format.h"

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

// Places the widgets `constraint` names inside `host`, on the constraint's axis.
void apply(QWidget& host, const VisualFormat& format,
           const platform::LayoutConstraint& constraint) {
  const bool horizontal = format.orientation == Orientation::kHorizontal;
  std::vector<QWidget*> widgets;
  std::vector<AxisItem> items;
  for (const auto& named : format.views) {
    QtView* view = asQtView(constraint.view(named.name).get());
    QWidget* widget = view != nullptr ? view->widget() : nullptr;
    if (widget == nullptr) return;  // gone since: nothing left to place by it
    AxisItem item;
    // A widget outside the host's tree (a screen's top layout guide) is a guide of no
    // length at the edge: a Qt window has no status bar above its contents.
    item.isGuide = widget == &host || !isInside(widget->parentWidget(), host);
    if (!item.isGuide) {
      const QPoint topLeft = widget->parentWidget()->mapTo(&host, widget->pos());
      item.currentStart = horizontal ? topLeft.x() : topLeft.y();
      item.naturalLength = naturalLength(*widget, format.orientation);
      item.isFixed = horizontal ? widget->minimumWidth() == widget->maximumWidth()
                                : widget->minimumHeight() == widget->maximumHeight();
    }
    widgets.push_back(widget);
    items.push_back(item);
  }
  const auto placed = solveAxis(format, horizontal ? host.width() : host.height(), items);
  if (!placed) return;
  for (std::size_t i = 0; i < widgets.size(); ++i) {
    if (items[i].isGuide) continue;
    QWidget* widget = widgets[i];
    // Placed in the host's coordinates, set relative to the widget's own parent.
    const QPoint origin = widget->parentWidget()->mapTo(&host, QPoint(0, 0));
    const int start = rounded((*placed)[i].start);
    const int end = rounded((*placed)[i].start + (*placed)[i].length);
    QRect geometry = widget->geometry();
    if (horizontal) {
      geometry.moveLeft(start - origin.x());
      geometry.setWidth(end - start);
    } else {
      geometry.moveTop(start - origin.y());
      geometry.setHeight(end - start);
    }
    widget->setGeometry(geometry);
  }
}

// Lays the host out again whenever it is resized or shown. A child object of the host,
// so it lives as long as the host does.
class Relayout final : public QObject {
 public:
  explicit Relayout(QWidget& host) : QObject(&host), _host(&host) {
    setObjectName(QStringLiteral("pelorinRelayout"));
    host.installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == _host && (event->type() == QEvent::Resize || event->type() == QEvent::Show)) {
      if (auto view = ViewRegistry::instance().existingView(_host)) layOut(*view);
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  QPointer<QWidget> _host;
};

}  // namespace

bool canLayOut(const platform::LayoutConstraint& constraint) {
  return parseVisualFormat(constraint.visualFormat()).has_value();
}

void layOut(QtView& view) {
  QWidget* host = view.widget();
  if (host == nullptr) return;
  if (host->findChild<Relayout*>(QStringLiteral("pelorinRelayout"), Qt::FindDirectChildrenOnly) ==
      nullptr) {
    new Relayout(*host);  // NOLINT(cppcoreguidelines-owning-memory): owned by the host
  }
  for (const auto& constraint : view.constraints()) {
    if (auto format = parseVisualFormat(constraint.visualFormat())) {
      apply(*host, *format, constraint);
    }
  }
}

}  // namespace pelorin::qt
