// The app's user interface as a service: the key window's root view controller, alerts,
// opening addresses outside the app, the screen, and the factory of the views the library
// creates. With the toolkit interfaces (view.h, control.h, picker_view.h, web_view.h,
// view_controller.h, view_factory.h) it is all the library knows of a UI toolkit.
//
// Thread safety: call from the main thread, like the toolkit objects it hands out.
#ifndef PELORIN_PLATFORM_UI_H_
#define PELORIN_PLATFORM_UI_H_

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/platform/ui_types.h"

namespace pelorin::platform {

class ViewController;
class ViewFactory;

enum class AlertActionStyle { kDefault, kCancel, kDestructive };

// One button of an alert; `handler` (may be empty) runs when the user taps it.
struct PELORIN_EXPORT AlertAction {
  // NOLINTNEXTLINE(google-explicit-constructor): {"OK"} reads as a button titled OK
  AlertAction(std::string title, AlertActionStyle style = AlertActionStyle::kDefault,
              std::function<void()> handler = {})
      : title(std::move(title)), style(style), handler(std::move(handler)) {}

  std::string title;
  AlertActionStyle style = AlertActionStyle::kDefault;
  std::function<void()> handler;
};

struct PELORIN_EXPORT Alert {
  std::string title;
  std::string message;
  std::vector<AlertAction> actions;
};

class PELORIN_EXPORT Ui {
 public:
  virtual ~Ui() = default;

  // The root view controller of the key window; nothing while the app shows none.
  virtual std::shared_ptr<ViewController> keyWindowRootViewController() const = 0;

  // Presents `alert` over the key window's root view controller. False (nothing shown)
  // when there is none.
  //
  //   ui.presentAlert({"Connected", "Username: ann", {{"OK"}}});
  //   ui.presentAlert({"Delete?", "", {{"Cancel", AlertActionStyle::kCancel},
  //                                    {"Delete", AlertActionStyle::kDestructive, onDelete}}});
  virtual bool presentAlert(Alert alert) = 0;

  // Opens `url` outside the app (the system browser or the app that handles it).
  virtual void openURL(std::string_view url) = 0;

  // The main screen in points, and its points-to-pixels scale.
  virtual Size screenSize() const = 0;
  virtual double screenScale() const = 0;

  // Makes the views the library shows itself (the lightbox's).
  virtual ViewFactory& viewFactory() = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_UI_H_
