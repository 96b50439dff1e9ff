// Views of the headless user-interface toolkit: the view tree, labels, tap recognisers and
// layout constraints in visual format.
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
#ifndef PELORIN_PLATFORM_VIEW_H_
#define PELORIN_PLATFORM_VIEW_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/platform/ui_types.h"

namespace pelorin::platform {

class View;

// One set of constraints written in the visual format language, e.g. "H:|-10-[button]",
// with the views its names stand for. The headless toolkit records constraints; it does
// not solve them. The views are held weakly.
class PELORIN_EXPORT LayoutConstraint {
 public:
  LayoutConstraint(std::string visualFormat,
                   const std::map<std::string, std::shared_ptr<View>>& views);

  const std::string& visualFormat() const { return _visualFormat; }
  // The view given for `name`; nothing when no view has that name or it is gone.
  std::shared_ptr<View> view(std::string_view name) const;
  // The names given, sorted.
  std::vector<std::string> viewNames() const;
  // The names that the format refers to in brackets, in order of appearance: "[button]" and
  // "[button(44)]" both name "button".
  std::vector<std::string> namesInFormat() const;
  // True when the format is not empty and every name in it was given a view. A real toolkit
  // rejects anything else.
  bool isValid() const;
  bool references(const View& view) const;

 private:
  std::string _visualFormat;
  std::map<std::string, std::weak_ptr<View>, std::less<>> _views;
};

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

class PELORIN_EXPORT View : public std::enable_shared_from_this<View> {
 public:
  View() = default;
  explicit View(Rect frame) : _frame(frame) {}
  virtual ~View();
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // The toolkit's class name ("View", "Label", "Button", ...).
  virtual std::string_view className() const { return "View"; }
  // For log lines, e.g. "<Label; frame = (0 0; 200 21); identifier = 'price'; text = 'Sale'>".
  // Deterministic: no addresses.
  std::string description() const;
  const std::string& accessibilityIdentifier() const { return _accessibilityIdentifier; }
  void setAccessibilityIdentifier(std::string identifier);

  // --- The view tree.
  const std::vector<std::shared_ptr<View>>& subviews() const { return _subviews; }
  std::shared_ptr<View> superview() const { return _superview.lock(); }
  // Appends `view` on top of the subviews, taking it from its former superview first.
  // Adding a view to itself or to one of its own subviews (which would make a cycle) is
  // ignored, as is a null view.
  void addSubview(const std::shared_ptr<View>& view);
  // Detaches the view from its superview. Constraints that its former ancestors hold and
  // that refer to this view or one of its subviews are removed with it.
  void removeFromSuperview();
  // True when `ancestor` is this view or one of its superviews.
  bool isDescendantOf(const View& ancestor) const;

  // --- The text property. Only some views have one (a label, a text field); for the
  // others `hasTextProperty()` is false and `text()` gives nothing. A view with a text
  // property may still hold no text (a label whose text was never set).
  virtual bool hasTextProperty() const { return false; }
  virtual std::optional<std::string> text() const { return std::nullopt; }

  // --- Geometry, in points. Bounds are the frame's size at the origin.
  Rect frame() const { return _frame; }
  void setFrame(Rect frame) { _frame = frame; }
  Rect bounds() const { return Rect{{0, 0}, _frame.size}; }
  Color backgroundColor() const { return _backgroundColor; }
  void setBackgroundColor(Color color) { _backgroundColor = color; }
  bool isHidden() const { return _hidden; }
  void setHidden(bool hidden) { _hidden = hidden; }

  // --- Layout constraints. True by default, as in the toolkit: a view placed with
  // constraints sets it to false.
  bool translatesAutoresizingMaskIntoConstraints() const { return _translatesAutoresizing; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
    _translatesAutoresizing = translates;
  }
  // Records a constraint; false (and nothing recorded) when it is not valid.
  bool addConstraint(LayoutConstraint constraint);
  // Shorthand for addConstraint(LayoutConstraint(visualFormat, views)).
  bool addConstraints(std::string visualFormat,
                      const std::map<std::string, std::shared_ptr<View>>& views);
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

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_VIEW_H_
