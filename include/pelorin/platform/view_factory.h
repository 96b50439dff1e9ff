// The views the library creates for itself (the lightbox's), made by the toolkit. Each is
// placed by constraints (see `View::addConstraint`), not by a frame.
//
// Thread safety: none; main thread only, like every toolkit object.
#ifndef PELORIN_PLATFORM_VIEW_FACTORY_H_
#define PELORIN_PLATFORM_VIEW_FACTORY_H_

#include <functional>
#include <memory>
#include <optional>

#include "pelorin/export.h"
#include "pelorin/platform/ui_types.h"
#include "pelorin/platform/view.h"

namespace pelorin::platform {

class PELORIN_EXPORT ViewFactory {
 public:
  ViewFactory() = default;
  virtual ~ViewFactory() = default;
  ViewFactory(const ViewFactory&) = delete;
  ViewFactory& operator=(const ViewFactory&) = delete;

  // A plain view (a background or a container) that runs `onTap` when the user taps it;
  // an empty `onTap` makes it ignore taps.
  virtual std::shared_ptr<View> makeContainerView(std::function<void()> onTap) = 0;
  // A web view: its `asWebView()` is not null.
  virtual std::shared_ptr<View> makeWebView() = 0;
  // A button showing `image` (none: no image): its `asControl()` is not null and of kind
  // button. A toolkit fetches an image given by address without blocking the main thread.
  virtual std::shared_ptr<View> makeImageButton(std::optional<Image> image) = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_VIEW_FACTORY_H_
