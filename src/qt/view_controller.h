// A QWidget that the app marked as a screen, as the library's view controller: its window
// title is the title, the widget is the root view, the closest marked ancestor is the
// parent, and its properties are the widget's Qt properties and named child widgets.
#ifndef PELORIN_QT_VIEW_CONTROLLER_H_
#define PELORIN_QT_VIEW_CONTROLLER_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <QPointer>
#include <QWidget>

#include "pelorin/platform/view_controller.h"

namespace pelorin::qt {

class ScreenWatcher;

class QtViewController final : public platform::ViewController {
 public:
  explicit QtViewController(QWidget& widget);
  ~QtViewController() override;
  QtViewController(const QtViewController&) = delete;
  QtViewController& operator=(const QtViewController&) = delete;

  // The screen's widget; null once it is destroyed.
  QWidget* widget() const { return _widget.data(); }

  bool isGone() const override { return _widget.isNull(); }
  // The window title; nothing when it is empty.
  std::optional<std::string> title() const override;
  std::shared_ptr<platform::View> rootView() override;
  // A widget of no height at the top of the screen (a desktop window has no status bar),
  // outside the widget tree.
  std::shared_ptr<platform::View> topLayoutGuide() override;
  // The controller of the closest ancestor widget marked as a screen.
  std::shared_ptr<platform::ViewController> parentViewController() const override;
  // "title" and "view"; then the widget's properties declared by the app's classes or set
  // at run time (a QObject pointer: the widget's view, nil when null or not a widget; a
  // string: the string; another type: nil); then the first child widget, at any depth,
  // whose objectName is `name`.
  std::optional<platform::PropertyValue> valueForProperty(std::string_view name) override;

 private:
  QPointer<QWidget> _widget;
  QPointer<QWidget> _topGuide;
  std::unique_ptr<ScreenWatcher> _watcher;
};

// The screen `widget`'s tree shows: the deepest marked widget that is not hidden, where a
// QStackedWidget leads only to its current page. Null when none is marked.
std::shared_ptr<QtViewController> shownScreen(QWidget& widget);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_VIEW_CONTROLLER_H_
