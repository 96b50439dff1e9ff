// Controls over Qt widgets: a kind, targets, and the widget's signals and input events
// mapped onto the control events a user action sends (docs/qt.md has the table).
#ifndef PELORIN_QT_CONTROL_H_
#define PELORIN_QT_CONTROL_H_

#include <functional>

#include <QEvent>
#include <QObject>
#include <QWidget>

#include "pelorin/platform/control.h"
#include "qt/view.h"

namespace pelorin::qt {

class QtControl : public QtView, public platform::Control {
 public:
  // A control is a leaf unless its children are the app's own widgets (`leaf` false).
  QtControl(QWidget& widget, platform::ControlKind kind, bool leaf = true)
      : QtView(widget, leaf), _kind(kind) {}

  platform::View& asView() override { return *this; }
  platform::Control* asControl() override { return this; }
  platform::ControlKind kind() const override { return _kind; }
  bool isContinuous() const override { return false; }
  void addTargetAction(platform::TargetAction entry) override { _targets.add(std::move(entry)); }
  void removeTarget(const void* target, platform::ControlEvents events) override {
    _targets.remove(target, events);
  }

 protected:
  // Runs the actions registered for `events`; the control stays alive meanwhile, even when
  // an action destroys the widget.
  void send(platform::ControlEvents events);

 private:
  platform::ControlKind _kind;
  platform::ControlTargets _targets;
};

// Tells the value changes the user causes from the app's own setter calls: watches a widget
// and its descendants (the editor inside a spin box, a date edit's calendar popup) for
// input events. From a mouse press to the release, and while a key, wheel or input-method
// event and the release are delivered (until the event loop's next turn), the user acts.
class UserInput final : public QObject {
 public:
  // `ownEvent` sees the events of `widget` itself before the widget handles them, but none
  // while the widget is being destroyed (a focused field loses the focus then).
  UserInput(QWidget& widget, std::function<void(QEvent&)> ownEvent = {});

  bool active() const { return _held || _instant; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void watch(QWidget& widget);
  void markInstant();

  QWidget* _widget;
  // The widget's class: while it is being destroyed, its metaObject() is a base class's.
  const QMetaObject* _class;
  std::function<void(QEvent&)> _ownEvent;
  bool _held = false;
  bool _instant = false;
  bool _clearPosted = false;
};

}  // namespace pelorin::qt

#endif  // PELORIN_QT_CONTROL_H_
