// A screen of the app as the library sees it: a title, a root view, a place among parent
// controllers, and properties looked up by name (the outlets through which the library
// finds a screen's views: "#buyButton" names the controller's property "buyButton").
//
// Thread safety: none; main thread only, like every toolkit object. Controllers are handed
// out as `std::shared_ptr` (the library holds the current one weakly), with the same
// identity rules as views (see view.h).
#ifndef PELORIN_PLATFORM_VIEW_CONTROLLER_H_
#define PELORIN_PLATFORM_VIEW_CONTROLLER_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "pelorin/export.h"
#include "pelorin/platform/view.h"

namespace pelorin::platform {

// The value of a controller property: nil, a string, or a view.
using PropertyValue = std::variant<std::monostate, std::string, std::shared_ptr<View>>;

class PELORIN_EXPORT ViewController {
 public:
  ViewController() = default;
  virtual ~ViewController() = default;
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;

  // True once the toolkit object behind the controller was destroyed; a gone controller
  // has no title, root view, parent or properties.
  virtual bool isGone() const = 0;
  virtual std::optional<std::string> title() const = 0;
  // The root view (loaded on first use when the toolkit loads lazily); null when gone.
  virtual std::shared_ptr<View> rootView() = 0;
  // A view standing for the bottom of the status bar, for constraints
  // ("V:|[topGuide]-..."). Not in the view tree; the same view every time.
  virtual std::shared_ptr<View> topLayoutGuide() = 0;
  virtual std::shared_ptr<ViewController> parentViewController() const = 0;

  // The value of the property `name`, as key-value lookup sees it; nothing when the
  // controller has no such property. Every controller has "title" (a string, or nil) and
  // "view" (the root view).
  virtual std::optional<PropertyValue> valueForProperty(std::string_view name) = 0;

  // Whether the controller has a property `name`.
  bool respondsToProperty(std::string_view name) { return valueForProperty(name).has_value(); }
  // The property's value when it is a view; nothing otherwise ("title", unknown names,
  // nil outlets).
  std::shared_ptr<View> viewForProperty(std::string_view name);
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_VIEW_CONTROLLER_H_
