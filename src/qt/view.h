// The library's handle of a QWidget: the tree of child widgets, the text of the widgets
// that have one, and the changes the library makes when it lays its own views over a
// screen. Subclasses add the control, picker and web view kinds.
//
// The wrapper does not own its widget: it holds it through a QPointer and, once the widget
// is destroyed, is gone (no superview, subviews or text; changes ignored). Wrappers are
// made and kept by the `ViewRegistry`, one per widget.
#ifndef PELORIN_QT_VIEW_H_
#define PELORIN_QT_VIEW_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QPointer>
#include <QWidget>

#include "pelorin/platform/view.h"

namespace pelorin::qt {

class QtView : public platform::View, public std::enable_shared_from_this<QtView> {
 public:
  // A leaf shows none of its child widgets as subviews: a control, picker or editor is one
  // view, without its inner parts (a spin box's editor, a line edit's clear button).
  explicit QtView(QWidget& widget, bool leaf = false);

  // The widget; null once it is destroyed.
  QWidget* widget() const { return _widget.data(); }

  bool isGone() const override { return _widget.isNull(); }
  // The widget's Qt class name ("QPushButton"), kept after the widget is gone.
  std::string_view className() const override { return _className; }
  std::string description() const override;

  // The parent widget's handle; none for a window or a gone view.
  std::shared_ptr<platform::View> superview() const override;
  // The child widgets, in their stacking order (back to front); none for a leaf.
  void forEachSubview(SubviewVisitor visit) const override;

  bool hasTextProperty() const override { return false; }
  std::optional<std::string> text() const override { return std::nullopt; }

  platform::Rect bounds() const override;
  // Reparents `view`'s widget into this one, on top of its siblings, and shows it.
  void addSubview(const std::shared_ptr<platform::View>& view) override;
  // Takes the widget out of its parent (hidden, without a parent) and drops the
  // constraints of its former ancestors that name it.
  void removeFromSuperview() override;
  // Keeps `constraint` and lays the subviews out by every constraint kept (layout.h).
  bool addConstraint(platform::LayoutConstraint constraint) override;
  void setBackgroundColor(platform::Color color) override;

  // The constraints applied on this view, in order.
  const std::vector<platform::LayoutConstraint>& constraints() const { return _constraints; }

 protected:
  // Adds details to `description()` before its closing '>', e.g. "; text = 'Sale'".
  virtual void describeDetails(std::string& out) const;

 private:
  QPointer<QWidget> _widget;
  const char* _className;
  bool _leaf;
  std::vector<platform::LayoutConstraint> _constraints;
};

// A widget's UTF-16 text as UTF-8.
std::string toUtf8(const QString& text);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_VIEW_H_
