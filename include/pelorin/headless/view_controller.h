// A screen of the headless toolkit (a `platform::ViewController`): a title, a root view loaded on
// first use, a place among parent and child controllers, and properties looked up by name (the
// outlets through which the library finds a screen's views: "#buyButton" names the controller's
// property "buyButton").
//
// Thread safety: none; main thread only, like every toolkit object. Controllers are owned
// through `std::shared_ptr` (the library holds the current one weakly).
//
// Build a screen by registering outlets:
//
//   auto checkout = std::make_shared<ViewController>("Checkout");
//   auto buy = std::make_shared<Button>("Buy");
//   checkout->view()->addSubview(buy);
//   checkout->addOutlet("buyButton", buy);
//
// or by subclassing, building the views in `viewDidLoad` and answering for them in
// `valueForProperty`:
//
//   class CheckoutScreen : public ViewController {
//    public:
//     std::optional<PropertyValue> valueForProperty(std::string_view name) override {
//       if (name == "buyButton") return PropertyValue(_buy);
//       return ViewController::valueForProperty(name);
//     }
//    protected:
//     void viewDidLoad() override { view()->addSubview(_buy); }
//    private:
//     std::shared_ptr<Button> _buy = std::make_shared<Button>("Buy");
//   };
#ifndef PELORIN_HEADLESS_VIEW_CONTROLLER_H_
#define PELORIN_HEADLESS_VIEW_CONTROLLER_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/headless/view.h"
#include "pelorin/platform/view_controller.h"

namespace pelorin::headless {

using platform::PropertyValue;

class PELORIN_EXPORT ViewController : public platform::ViewController,
                                      public std::enable_shared_from_this<ViewController> {
 public:
  ViewController() = default;
  explicit ViewController(std::optional<std::string> title) : _title(std::move(title)) {}

  bool isGone() const override { return false; }
  std::optional<std::string> title() const override { return _title; }
  void setTitle(std::optional<std::string> title) { _title = std::move(title); }

  // --- The root view: loaded on first access (`loadView`, then `viewDidLoad`).
  std::shared_ptr<View> view();
  std::shared_ptr<platform::View> rootView() override { return view(); }
  bool isViewLoaded() const { return _view != nullptr; }
  // Replaces the root view without loading.
  void setView(std::shared_ptr<View> view) { _view = std::move(view); }
  // Marks the bottom of the status bar for constraints ("V:|[topGuide]-..."). A view of
  // its own, not in the view tree; created on first access.
  std::shared_ptr<platform::View> topLayoutGuide() override;

  // --- Containment. A child is owned by its parent and knows it weakly.
  std::shared_ptr<platform::ViewController> parentViewController() const override {
    return _parent.lock();
  }
  const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const {
    return _children;
  }
  // Adds `child`, taking it from its former parent. Adding this controller or one of its
  // ancestors is ignored.
  void addChildViewController(const std::shared_ptr<ViewController>& child);
  void removeFromParentViewController();

  // --- Properties by name, as key-value lookup sees them. Every controller has "title"
  // (a string, or nil when unset) and "view" (the root view, loaded on access); app code
  // adds more with `addOutlet`/`setProperty` or by overriding `valueForProperty`.
  //
  // The value of the property `name`; nothing when the controller has no such property.
  // Overrides answer for their own names and defer to this one for the others.
  std::optional<PropertyValue> valueForProperty(std::string_view name) override;

  // Registers (or replaces) the property `name` holding `view`; the controller keeps the
  // view alive. A null view makes a nil outlet.
  void addOutlet(std::string name, std::shared_ptr<platform::View> view);
  // Registers (or replaces) a property of any kind; "title" and "view" cannot be replaced.
  void setProperty(std::string name, PropertyValue value);
  void removeProperty(std::string_view name);

 protected:
  // Creates the root view; by default a plain view as large as the screen.
  virtual void loadView();
  // Called once, after the root view was loaded: build the screen here.
  virtual void viewDidLoad() {}

 private:
  std::optional<std::string> _title;
  std::shared_ptr<View> _view;
  std::shared_ptr<View> _topLayoutGuide;
  bool _loading = false;
  std::weak_ptr<ViewController> _parent;
  std::vector<std::shared_ptr<ViewController>> _children;
  std::map<std::string, PropertyValue, std::less<>> _properties;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_VIEW_CONTROLLER_H_
