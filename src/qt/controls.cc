// Every control kind: buttons, switches (checkable buttons), sliders, steppers (spin
// boxes), segmented controls (tab bars, exclusive button groups), date pickers (date-time
// edits) and text fields (line edits).
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <QAbstractButton>
#include <QButtonGroup>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QFocusEvent>
#include <QLineEdit>
#include <QMetaObject>
#include <QMouseEvent>
#include <QSlider>
#include <QSpinBox>
#include <QTabBar>

#include "qt/control.h"
#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

using platform::ControlEvents;
using platform::ControlKind;

void QtControl::send(ControlEvents events) {
  auto self = shared_from_this();
  _targets.send(*this, events);
}

UserInput::UserInput(QWidget& widget, std::function<void(QEvent&)> ownEvent)
    : _widget(&widget), _class(widget.metaObject()), _ownEvent(std::move(ownEvent)) {
  watch(widget);
}

void UserInput::watch(QWidget& widget) {
  widget.installEventFilter(this);
  for (QObject* child : widget.children()) {
    if (child->isWidgetType()) watch(*static_cast<QWidget*>(child));
  }
}

void UserInput::markInstant() {
  _instant = true;
  if (_clearPosted) return;
  _clearPosted = true;
  QMetaObject::invokeMethod(
      this,
      [this] {
        _clearPosted = false;
        _instant = false;
      },
      Qt::QueuedConnection);
}

bool UserInput::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::ChildAdded: {
      QObject* child = static_cast<QChildEvent*>(event)->child();
      if (child->isWidgetType()) watch(*static_cast<QWidget*>(child));
      break;
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
      _held = true;
      break;
    case QEvent::MouseButtonRelease:
      _held = false;
      markInstant();
      break;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Wheel:
    case QEvent::InputMethod:
      markInstant();
      break;
    default:
      break;
  }
  if (watched != _widget || !_ownEvent || _widget->metaObject() != _class) return false;
  // The call may destroy the widget (an action closing its screen), and with it this
  // filter: touch nothing of ours afterwards, and stop the event's delivery to a widget
  // that is gone.
  QPointer<QObject> alive(watched);
  _ownEvent(*event);
  return alive.isNull();
}

namespace {

bool isLeftButton(const QEvent& event, QEvent::Type type) {
  return event.type() == type && static_cast<const QMouseEvent&>(event).button() == Qt::LeftButton;
}

// A release over the widget ends a touch inside it.
bool isReleaseInside(const QEvent& event, const QWidget& widget) {
  return isLeftButton(event, QEvent::MouseButtonRelease) &&
         widget.rect().contains(static_cast<const QMouseEvent&>(event).position().toPoint());
}

// A push or tool button (touch-down on pressed, touch-up-inside on clicked), or, when it
// is checkable (a check box, a radio button, a toggle button), a switch that also sends
// value-changed when the click changed its state.
class QtButton final : public QtControl {
 public:
  explicit QtButton(QAbstractButton& button)
      : QtControl(button, button.isCheckable() ? ControlKind::kSwitch : ControlKind::kButton) {
    QObject::connect(&button, &QAbstractButton::pressed, &button, [this, &button] {
      _checkedAtPress = button.isChecked();
      send(ControlEvents::kTouchDown);
    });
    QObject::connect(&button, &QAbstractButton::clicked, &button, [this](bool checked) {
      auto self = shared_from_this();  // an action may destroy the widget, and with it us
      if (checked != _checkedAtPress) send(ControlEvents::kValueChanged);
      if (!isGone()) send(ControlEvents::kTouchUpInside);
    });
  }

 private:
  bool _checkedAtPress = false;
};

// QLineEdit. Editing begins when the field takes the focus or, without it, at the first
// edit; it ends when the field loses the focus or on Return. Switching windows and opening
// a popup (the context menu) move the focus without ending the editing.
class QtTextField final : public QtControl {
 public:
  explicit QtTextField(QLineEdit& field)
      : QtControl(field, ControlKind::kTextField), _field(&field) {
    _input = std::make_unique<UserInput>(field, [this](QEvent& event) { onEvent(event); });
    QObject::connect(&field, &QLineEdit::textEdited, &field, [this] {
      auto self = shared_from_this();
      beginEditing();
      if (!isGone()) send(ControlEvents::kEditingChanged);
    });
    QObject::connect(&field, &QLineEdit::returnPressed, &field, [this] {
      auto self = shared_from_this();
      _editing = false;
      send(ControlEvents::kEditingDidEndOnExit);
      if (!isGone()) send(ControlEvents::kEditingDidEnd);
    });
  }

  bool hasTextProperty() const override { return true; }
  std::optional<std::string> text() const override {
    if (!_field) return std::nullopt;
    return toUtf8(_field->text());
  }

 protected:
  // A password field's text stays out of the logs.
  void describeDetails(std::string& out) const override {
    if (!_field) return;
    if (_field->echoMode() == QLineEdit::Normal) {
      out += "; text = '" + toUtf8(_field->text()) + "'";
    } else {
      out += "; secure = YES";
    }
  }

 private:
  static bool movesTheUsersFocus(const QEvent& event) {
    const auto reason = static_cast<const QFocusEvent&>(event).reason();
    return reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason;
  }

  void onEvent(QEvent& event) {
    if (event.type() == QEvent::FocusIn && movesTheUsersFocus(event)) beginEditing();
    if (event.type() == QEvent::FocusOut && movesTheUsersFocus(event) && _editing) {
      _editing = false;
      send(ControlEvents::kEditingDidEnd);
    }
  }

  void beginEditing() {
    if (_editing) return;
    _editing = true;
    send(ControlEvents::kEditingDidBegin);
  }

  QPointer<QLineEdit> _field;
  std::unique_ptr<UserInput> _input;
  bool _editing = false;
};

// QSlider: touch-down when the user grabs the handle, value-changed for the user's changes
// (at each step of a drag while tracking, else once on release), touch-up-inside when the
// handle is let go.
class QtSlider final : public QtControl {
 public:
  explicit QtSlider(QSlider& slider) : QtControl(slider, ControlKind::kSlider), _slider(&slider) {
    _input = std::make_unique<UserInput>(slider);
    QObject::connect(&slider, &QSlider::sliderPressed, &slider,
                     [this] { send(ControlEvents::kTouchDown); });
    QObject::connect(&slider, &QSlider::valueChanged, &slider, [this] {
      if (_input->active()) send(ControlEvents::kValueChanged);
    });
    QObject::connect(&slider, &QSlider::sliderReleased, &slider, [this, &slider] {
      auto self = shared_from_this();
      // Without tracking, Qt takes the new value only after announcing the release; take
      // it now, so that value-changed comes before touch-up-inside.
      if (!slider.hasTracking() && slider.sliderPosition() != slider.value()) {
        slider.setValue(slider.sliderPosition());
      }
      if (!isGone()) send(ControlEvents::kTouchUpInside);
    });
  }

  bool isContinuous() const override { return _slider && _slider->hasTracking(); }

 private:
  QPointer<QSlider> _slider;
  std::unique_ptr<UserInput> _input;
};

// A control whose user changes come as a value signal, with touches from the mouse on the
// widget itself: spin boxes as steppers (touch-down, value-changed, touch-up-inside per
// click on an arrow), tab bars as segmented controls (the same per click on a tab), and
// date-time edits as date pickers (value-changed only).
class QtValueControl final : public QtControl {
 public:
  template <typename Widget, typename Signal>
  QtValueControl(Widget& widget, ControlKind kind, Signal valueSignal, bool touches)
      : QtControl(widget, kind) {
    _input = std::make_unique<UserInput>(widget, [this, &widget, touches](QEvent& event) {
      if (!touches) return;
      if (isLeftButton(event, QEvent::MouseButtonPress)) {
        send(ControlEvents::kTouchDown);
      } else if (isReleaseInside(event, widget)) {
        send(ControlEvents::kTouchUpInside);
      }
    });
    QObject::connect(&widget, valueSignal, &widget, [this] {
      if (_input->active()) send(ControlEvents::kValueChanged);
    });
  }

 private:
  std::unique_ptr<UserInput> _input;
};

// A widget whose child buttons are the buttons of one exclusive QButtonGroup: a segmented
// control. touch-down when a button is pressed; value-changed when the click checked
// another button; touch-up-inside on the click.
class QtButtonGroupControl final : public QtControl {
 public:
  QtButtonGroupControl(QWidget& widget, QButtonGroup& group)
      : QtControl(widget, ControlKind::kSegmentedControl, false) {
    QObject::connect(&group, &QButtonGroup::buttonPressed, &widget, [this, &group] {
      _checkedAtPress = group.checkedId();
      send(ControlEvents::kTouchDown);
    });
    QObject::connect(&group, &QButtonGroup::buttonClicked, &widget, [this, &group] {
      auto self = shared_from_this();  // an action may destroy the widget, and with it us
      if (group.checkedId() != _checkedAtPress) send(ControlEvents::kValueChanged);
      if (!isGone()) send(ControlEvents::kTouchUpInside);
    });
  }

  // The group whose buttons are exactly `widget`'s child buttons; null when there is none.
  static QButtonGroup* groupOf(const QWidget& widget) {
    QButtonGroup* group = nullptr;
    int buttons = 0;
    for (QObject* child : widget.children()) {
      auto* button = qobject_cast<QAbstractButton*>(child);
      if (button == nullptr) continue;
      if (button->group() == nullptr || (group != nullptr && button->group() != group)) {
        return nullptr;
      }
      group = button->group();
      ++buttons;
    }
    if (group == nullptr || !group->exclusive() || group->buttons().size() != buttons) {
      return nullptr;
    }
    return group;
  }

 private:
  int _checkedAtPress = -1;
};

}  // namespace

void addControlKinds(ViewRegistry& registry) {
  registry.addKind([](QWidget& widget) -> std::shared_ptr<QtView> {
    if (auto* button = qobject_cast<QAbstractButton*>(&widget)) {
      return std::make_shared<QtButton>(*button);
    }
    if (auto* field = qobject_cast<QLineEdit*>(&widget)) {
      return std::make_shared<QtTextField>(*field);
    }
    if (auto* slider = qobject_cast<QSlider*>(&widget)) {
      return std::make_shared<QtSlider>(*slider);
    }
    if (auto* spinBox = qobject_cast<QSpinBox*>(&widget)) {
      return std::make_shared<QtValueControl>(*spinBox, ControlKind::kStepper,
                                              &QSpinBox::valueChanged, true);
    }
    if (auto* spinBox = qobject_cast<QDoubleSpinBox*>(&widget)) {
      return std::make_shared<QtValueControl>(*spinBox, ControlKind::kStepper,
                                              &QDoubleSpinBox::valueChanged, true);
    }
    if (auto* dateEdit = qobject_cast<QDateTimeEdit*>(&widget)) {
      return std::make_shared<QtValueControl>(*dateEdit, ControlKind::kDatePicker,
                                              &QDateTimeEdit::dateTimeChanged, false);
    }
    if (auto* tabBar = qobject_cast<QTabBar*>(&widget)) {
      return std::make_shared<QtValueControl>(*tabBar, ControlKind::kSegmentedControl,
                                              &QTabBar::currentChanged, true);
    }
    if (QButtonGroup* group = QtButtonGroupControl::groupOf(widget)) {
      return std::make_shared<QtButtonGroupControl>(widget, *group);
    }
    return nullptr;
  });
}

}  // namespace pelorin::qt
