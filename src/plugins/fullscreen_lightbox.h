// The built-in plug-in that shows server content in a lightbox over the current screen:
// a web address ("url"), a complete page ("html") or a fragment wrapped in the lightbox's
// page template ("content" with "cssUrl" and "inlineCss"), with optional "margins" (percent),
// "hideTimer" (seconds) and "iconUrl" (the close button's image).
//
// Thread safety: main thread only; the static operations too, as they build views. Its
// client call takes the client's global lock.
#ifndef PELORIN_SRC_PLUGINS_FULLSCREEN_LIGHTBOX_H_
#define PELORIN_SRC_PLUGINS_FULLSCREEN_LIGHTBOX_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "pelorin/interaction_context.h"
#include "pelorin/pelorin_plugin.h"
#include "pelorin/pelorin_types.h"
#include "pelorin/platform/view_controller.h"
#include "plugins/pl_lightbox.h"

namespace pelorin {

class PelorinClient;

class FullscreenLightbox : public PelorinPlugin {
 public:
  static constexpr std::string_view LOG_TAG = "PL_INTERACTION";

  FullscreenLightbox(PelorinClient& client, InteractionContext context);

  // Shows the lightbox over the outermost parent of the client's current view controller;
  // nothing without a current view controller.
  void onLoad() override;

  // The first string of an interaction parameter ("" included); nothing when it is missing
  // or has no values.
  std::optional<std::string> getValueFromParameters(std::string_view key) const;
  // The outermost parent of the client's current view controller, or nothing.
  std::shared_ptr<platform::ViewController> selectTopViewController() const;
  // The lightbox it shows, once loaded (null when nothing is shown).
  const std::shared_ptr<PLLightbox>& lightbox() const { return _lightbox; }

  // Builds the lightbox that `parameters` describe on `host` and shows it once its content
  // has started loading. The first of "url", "html" and "content" present chooses the
  // content; nullptr (nothing shown) without any of them, for an unusable address, or
  // without a host. Bad "margins" and "hideTimer" values are logged and ignored.
  static std::shared_ptr<PLLightbox> presentLightbox(
      const std::shared_ptr<platform::ViewController>& host, const Parameters& parameters);

  // The outermost ancestor of `controller` (itself when it has no parent).
  static std::shared_ptr<platform::ViewController> outermostParent(
      std::shared_ptr<platform::ViewController> controller);

  // A margin in percent: any finite number from 0 up. A negative or non-finite value, which
  // a layout cannot take, or a text that is not a number is logged and gives nothing.
  static std::optional<float> parseMargin(std::string_view text);
  // Seconds: a decimal integer up to PLLightbox::kMaxHideTimerSeconds (a negative one fires
  // at once). Anything else is logged and gives nothing.
  static std::optional<std::int64_t> parseHideTimer(std::string_view text);

 private:
  PelorinClient& _client;
  InteractionContext _context;
  std::shared_ptr<PLLightbox> _lightbox;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_FULLSCREEN_LIGHTBOX_H_
