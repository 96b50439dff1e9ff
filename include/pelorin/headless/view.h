// Views of the headless user-interface toolkit, an in-memory implementation of the toolkit
// interfaces (pelorin/platform/view.h): the view tree, labels, tap recognisers, and layout
// constraints in visual format, which it records without solving them.
//
// Thread safety: none. Like every toolkit object, views belong to the main thread: create,
// change and read them only there (post to `Platform::current().mainThread()` from others).
//
// Views are always owned through `std::shared_ptr`: create them with `std::make_shared`.
// A view owns its subviews; a subview knows its superview weakly.
//
//   auto screen = std::make_shared<View>(Rect{{0, 0}, {390, 844}});
//   auto greeting = std::make_shared<Label>("Hello");
//   screen->addSubview(greeting);
//   greeting->text();  // "Hello"
//   screen->text();    // nothing: a plain view has no text property
#ifndef PELORIN_HEADLESS_VIEW_H_
#define PELORIN_HEADLESS_VIEW_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/platform/ui_types.h"
#include "pelorin/platform/view.h"

namespace pelorin::headless {

using platform::Color;
using platform::Image;
using platform::LayoutConstraint;
using platform::Point;
using platform::Rect;
using platform::Size;

class View;

// Recognises a tap on the view it is attached to and sends its actions. The targets are
// held weakly: an action runs only while its target lives.
class PELORIN_EXPORT TapGestureRecognizer {
 public:
  using Action = std::function<void(TapGestureRecognizer&)>;

  TapGestureRecognizer() = default;
  TapGestureRecognizer(std::weak_ptr<void> target, Action action);
  TapGestureRecognizer(const TapGestureRecognizer&) = delete;
  TapGestureRecognizer& operator=(const TapGestureRecognizer&) = delete;

  void addTarget(std::weak_ptr<void> target, Action action);
  bool isEnabled() const { return _enabled; }
  void setEnabled(bool enabled) { _enabled = enabled; }
  // The view it is attached to, if any.
  std::shared_ptr<View> view() const { return _view.lock(); }

  // What a tap on its view does: when enabled, runs the actions of the live targets in the
  // order they were added. Answers how many ran.
  std::size_t recognize();

 private:
  friend class View;
  struct Entry {
    std::weak_ptr<void> target;
    Action action;
  };
  std::vector<Entry> _entries;
  std::weak_ptr<View> _view;
  bool _enabled = true;
};

// A headless view. Always owned through `std::shared_ptr`; it never `isGone()`.
class PELORIN_EXPORT View : public platform::View, public std::enable_shared_from_this<View> {
 public:
  View() = default;
  explicit View(Rect frame) : _frame(frame) {}
  ~View() override;

  bool isGone() const override { return false; }
  // The toolkit's class name ("View", "Label", "Button", ...).
  std::string_view className() const override { return "View"; }
  // For log lines, e.g. "<Label; frame = (0 0; 200 21); identifier = 'price'; text = 'Sale'>".
  // Deterministic: no addresses.
  std::string description() const override;
  const std::string& accessibilityIdentifier() const { return _accessibilityIdentifier; }
  void setAccessibilityIdentifier(std::string identifier);

  // --- The view tree.
  const std::vector<std::shared_ptr<View>>& subviews() const { return _subviews; }
  std::shared_ptr<platform::View> superview() const override { return _superview.lock(); }
  void forEachSubview(SubviewVisitor visit) const override;
  // Appends `view` on top of the subviews, taking it from its former superview first.
  // Adding a view to itself or to one of its own subviews (which would make a cycle) is
  // ignored, as is a null view or a view of another toolkit.
  void addSubview(const std::shared_ptr<platform::View>& view) override;
  // Detaches the view from its superview. Constraints that its former ancestors hold and
  // that refer to this view or one of its subviews are removed with it.
  void removeFromSuperview() override;
  // True when `ancestor` is this view or one of its superviews.
  bool isDescendantOf(const View& ancestor) const;

  // --- The text property. Only some views have one (a label, a text field); for the
  // others `hasTextProperty()` is false and `text()` gives nothing. A view with a text
  // property may still hold no text (a label whose text was never set).
  bool hasTextProperty() const override { return false; }
  std::optional<std::string> text() const override { return std::nullopt; }

  // --- Geometry, in points. Bounds are the frame's size at the origin.
  Rect frame() const { return _frame; }
  void setFrame(Rect frame) { _frame = frame; }
  Rect bounds() const override { return Rect{{0, 0}, _frame.size}; }
  Color backgroundColor() const { return _backgroundColor; }
  void setBackgroundColor(Color color) override { _backgroundColor = color; }
  bool isHidden() const { return _hidden; }
  void setHidden(bool hidden) { _hidden = hidden; }

  // --- Layout constraints. True by default, as in the toolkit: a view placed with
  // constraints sets it to false.
  bool translatesAutoresizingMaskIntoConstraints() const { return _translatesAutoresizing; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
    _translatesAutoresizing = translates;
  }
  // Records a constraint; false (and nothing recorded) when it is not valid.
  bool addConstraint(LayoutConstraint constraint) override;
  const std::vector<LayoutConstraint>& constraints() const { return _constraints; }
  // The visual formats of the recorded constraints, in the order they were added.
  std::vector<std::string> constraintFormats() const;

  // --- Gestures and user actions.
  // Attaches `recognizer` (taking it from the view it was attached to before).
  void addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer);
  void removeGestureRecognizer(const TapGestureRecognizer& recognizer);
  const std::vector<std::shared_ptr<TapGestureRecognizer>>& gestureRecognizers() const {
    return _gestureRecognizers;
  }
  // The user taps the view: a plain view lets its tap recognisers act; a hidden view
  // ignores the tap. Controls send their touch events instead (see Control::tap).
  virtual void tap();

 protected:
  // Adds "; name = value" parts to the description after the frame.
  virtual void describeDetails(std::string& out) const;

 private:
  void removeConstraintsReferencing(const View& removed);

  Rect _frame;
  Color _backgroundColor = Color::clear();
  bool _hidden = false;
  bool _translatesAutoresizing = true;
  std::string _accessibilityIdentifier;
  std::vector<std::shared_ptr<View>> _subviews;
  std::weak_ptr<View> _superview;
  std::vector<LayoutConstraint> _constraints;
  std::vector<std::shared_ptr<TapGestureRecognizer>> _gestureRecognizers;
};

// Shows one line of text. It has a text property, which holds nothing until it is set.
class PELORIN_EXPORT Label : public View {
 public:
  Label() = default;
  explicit Label(std::optional<std::string> text) : _text(std::move(text)) {}

  std::string_view className() const override { return "Label"; }
  bool hasTextProperty() const override { return true; }
  std::optional<std::string> text() const override { return _text; }
  void setText(std::optional<std::string> text) { _text = std::move(text); }

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::optional<std::string> _text;
};

// Appends "; text = 'value'" (or "; text = nil") to a description.
PELORIN_EXPORT void appendTextDetail(std::string& out, std::string_view name,
                                     const std::optional<std::string>& text);

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_VIEW_H_
