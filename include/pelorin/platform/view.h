// The library's view of a toolkit's views: the tree, the text property, what kind of view
// it is, and the few changes the library makes when it lays its own views over a screen.
// A toolkit (the headless one, an adapter over Qt widgets...) implements `View` for its
// views; the library never sees the toolkit's own classes.
//
// Thread safety: none. Like every toolkit object, views belong to the main thread: read and
// change them only there.
//
// Identity. A toolkit hands out views as `std::shared_ptr<View>`. While a toolkit object
// lives, the toolkit answers for it with the same `View` object every time, so the library
// can keep state per view (rules per control) by address. An adapter that wraps widgets it
// does not own keeps one wrapper per widget for as long as the widget lives (e.g. dropped
// when Qt's `destroyed` fires) and holds the widget through a guard (`QPointer`): once the
// widget is destroyed, the wrapper `isGone()`, answers nothing and ignores changes.
#ifndef PELORIN_PLATFORM_VIEW_H_
#define PELORIN_PLATFORM_VIEW_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/platform/ui_types.h"

namespace pelorin::platform {

class Control;
class PickerView;
class View;
class WebView;

// A non-owning reference to a callable, valid for the duration of one call: lets a toolkit
// visit views without allocating.
template <typename Signature>
class FunctionRef;

template <typename R, typename... Args>
class FunctionRef<R(Args...)> {
 public:
  template <typename F,
            typename = std::enable_if_t<!std::is_same_v<std::remove_cvref_t<F>, FunctionRef> &&
                                        std::is_invocable_r_v<R, F&, Args...>>>
  // NOLINTNEXTLINE(google-explicit-constructor,bugprone-forwarding-reference-overload)
  FunctionRef(F&& function) noexcept
      : _object(const_cast<void*>(static_cast<const void*>(std::addressof(function)))),
        _call([](void* object, Args... args) -> R {
          return std::invoke(*static_cast<std::remove_reference_t<F>*>(object),
                             std::forward<Args>(args)...);
        }) {}

  R operator()(Args... args) const { return _call(_object, std::forward<Args>(args)...); }

 private:
  void* _object;
  R (*_call)(void*, Args...);
};

// One set of layout constraints written in the visual format language, e.g.
// "H:|-10-[button]-10-|", with the views its names stand for (held weakly). The toolkit
// applies it: a real one lays the views out by it, the headless one records it.
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
  // True when the format is not empty and every name in it was given a live view. A
  // toolkit rejects anything else.
  bool isValid() const;
  bool references(const View& view) const;

 private:
  std::string _visualFormat;
  std::map<std::string, std::weak_ptr<View>, std::less<>> _views;
};

class PELORIN_EXPORT View {
 public:
  using SubviewVisitor = FunctionRef<void(View&)>;

  View() = default;
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // --- Identity.
  // True once the toolkit object behind this view was destroyed: a gone view has no
  // superview, no subviews and no text, and ignores changes.
  virtual bool isGone() const = 0;
  // The toolkit's class name ("Label", "QPushButton", ...), for logs.
  virtual std::string_view className() const = 0;
  // One line for logs, e.g. "<Label; frame = (0 0; 200 21); text = 'Sale'>". No addresses:
  // log lines stay the same from run to run.
  virtual std::string description() const = 0;

  // --- The tree.
  virtual std::shared_ptr<View> superview() const = 0;
  // Calls `visit` with each subview, back to front. The tree must not change meanwhile.
  virtual void forEachSubview(SubviewVisitor visit) const = 0;

  // --- The text property. Only some views have one (a label, a text field); for the
  // others `hasTextProperty()` is false and `text()` gives nothing. A view with a text
  // property may still hold no text.
  virtual bool hasTextProperty() const = 0;
  virtual std::optional<std::string> text() const = 0;

  // --- What kind of view this is: the same object seen as a control, a picker view or a
  // web view; null when it is not one.
  virtual Control* asControl() { return nullptr; }
  virtual PickerView* asPickerView() { return nullptr; }
  virtual WebView* asWebView() { return nullptr; }

  // --- What the library does to a screen's view when it lays its own views over it.
  // The size in points, at the origin.
  virtual Rect bounds() const = 0;
  // Puts `view` on top of the subviews, taking it from its former superview. A view of
  // another toolkit, a null view, or one that would make a cycle is ignored.
  virtual void addSubview(const std::shared_ptr<View>& view) = 0;
  // Detaches the view; constraints that mention it are dropped with it.
  virtual void removeFromSuperview() = 0;
  // Applies `constraint` to the views it names, which are this view or its subviews.
  // False (nothing applied) when it is not valid.
  virtual bool addConstraint(LayoutConstraint constraint) = 0;
  // Shorthand for addConstraint(LayoutConstraint(visualFormat, views)).
  bool addConstraints(std::string visualFormat,
                      const std::map<std::string, std::shared_ptr<View>>& views) {
    return addConstraint(LayoutConstraint(std::move(visualFormat), views));
  }
  virtual void setBackgroundColor(Color color) = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_VIEW_H_
