// The lightbox: a web view over a dimmed full-screen background, with a close button in its
// top right corner, laid over a host view controller's view. It shows itself once both its
// content has started loading and its owner has finished configuring it (`showIfReady`),
// whichever comes last, and hides on the close button, a tap on the background, or its hide
// timer. Links the visitor follows inside it open outside the app. Its three views come
// from the toolkit's `ViewFactory` and are placed with visual-format constraints.
//
//   auto lightbox = PLLightbox::makeURLString(host, "example.com/offer", std::nullopt);
//   if (lightbox) {
//     lightbox->margin = 10;  // percent of the host's width and height
//     lightbox->hideTimer = 5;
//     lightbox->showIfReady();
//   }
//
// Thread safety: main thread only, like the toolkit objects it owns. Always owned through
// `std::shared_ptr` (the static helpers create it so); its owner keeps it for as long as it
// should be on screen: a lightbox that is destroyed takes its views off screen.
#ifndef PELORIN_SRC_PLUGINS_PL_LIGHTBOX_H_
#define PELORIN_SRC_PLUGINS_PL_LIGHTBOX_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/ui_types.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"
#include "pelorin/platform/web_view.h"

namespace pelorin {

class PLLightbox : public platform::NavigationDelegate,
                   public std::enable_shared_from_this<PLLightbox> {
 public:
  static constexpr std::string_view LOG_TAG = "PL_INTERACTION";
  // The longest hide timer a lightbox accepts (a year); longer ones are ignored.
  static constexpr std::int64_t kMaxHideTimerSeconds = 365LL * 24 * 60 * 60;

  // A lightbox for `viewController`'s view (held weakly: a host that is gone shows
  // nothing). `iconUrl` names the close button's image; without one the button shows the
  // library's image "close.png". Call `create()` next.
  PLLightbox(const std::shared_ptr<platform::ViewController>& viewController,
             std::optional<std::string> iconUrl);
  ~PLLightbox() override;
  PLLightbox(const PLLightbox&) = delete;
  PLLightbox& operator=(const PLLightbox&) = delete;

  // Margin on each side in percent of the host view's width (left, right) and height (top,
  // bottom).
  float margin = 0;
  // Seconds after showing at which the lightbox hides itself; nothing: never. A value
  // below 0 hides it at once; one above kMaxHideTimerSeconds is logged and ignored.
  std::optional<std::int64_t> hideTimer;
  platform::Color lightBoxBackgroundColor{0, 0, 0, 0.6};

  // Builds, through the platform's view factory, the background (tap closes), the web view
  // (this lightbox is its navigation delegate) and the close button (touch-up-inside
  // closes).
  void create();
  // Puts the lightbox on the host's view, filling it with the background, the web view
  // inset by the margins below the top layout guide, the close button 10 points from the
  // web view's top right corner; starts the hide timer. Does nothing while shown, before
  // `create()`, or when the host is gone.
  void show();
  // The owner has finished configuring the lightbox: show it once its content loads.
  void showIfReady();
  // Takes the three views off screen. The lightbox can be shown again.
  void hide();
  // The background's tap action: hides.
  void handleLightBox();

  bool isLoaded() const { return _isLoaded; }
  bool isReadyForShowing() const { return _isReadyForShowing; }
  bool isShown() const { return _isShown; }

  // The views, null before `create()`: the background, the web view and the close button.
  const std::shared_ptr<platform::View>& backgroundView() const { return _backgroundView; }
  const std::shared_ptr<platform::View>& lightboxView() const { return _lightboxView; }
  const std::shared_ptr<platform::View>& closeButton() const { return _closeButton; }
  std::shared_ptr<platform::ViewController> viewController() const {
    return _viewController.lock();
  }

  // Link activations with an address open outside the app and are cancelled; every other
  // navigation (the initial load included) is allowed.
  void decidePolicyFor(platform::WebView& webView, const platform::NavigationAction& action,
                       DecisionHandler decisionHandler) override;
  // The first navigation that starts marks the content loaded, and shows the lightbox when
  // its owner is ready.
  void didStartProvisionalNavigation(platform::WebView& webView,
                                     const platform::Navigation& navigation) override;

  // --- One-call helpers: build a lightbox and start loading its content. Each answers
  // nullptr (nothing shown) when there is no content or the address is unusable.

  // The page of `content` (see constructHtml) in a new lightbox.
  static std::shared_ptr<PLLightbox> makeContentFromHtml(
      const std::shared_ptr<platform::ViewController>& viewController,
      const std::optional<std::string>& content, const std::optional<std::string>& cssUrl,
      const std::optional<std::string>& inlineCss, const std::optional<std::string>& iconUrl);
  // `html` loaded as it stands, relative to `baseURL` (none: "about:blank").
  static std::shared_ptr<PLLightbox> makeContent(
      const std::shared_ptr<platform::ViewController>& viewController, std::string html,
      std::optional<std::string> baseURL, const std::optional<std::string>& iconUrl);
  // The address `url` when it is one (no white space or characters that an address cannot
  // hold); otherwise logs and answers nullptr.
  static std::shared_ptr<PLLightbox> makeURLString(
      const std::shared_ptr<platform::ViewController>& viewController, std::string_view url,
      const std::optional<std::string>& iconUrl);
  // Loads `url`; an address typed without scheme and host ("example.com/offer") is loaded
  // as "http://" followed by its path.
  static std::shared_ptr<PLLightbox> makeURL(
      const std::shared_ptr<platform::ViewController>& viewController, std::string_view url,
      const std::optional<std::string>& iconUrl);
  // A request with the default cache policy and a time-out of 60 seconds.
  static platform::UrlRequest makeURLRequest(std::string url);

  // --- The page template (pl_lightbox_html.cc).

  // The page for an HTML fragment or document: "<!DOCTYPE html><html><head>", the style
  // block, a stylesheet link for `cssUrl`, then the content's body inside the wrapper
  // divisions "plFullScreenLightboxWrapper" and "plFullScreenLightboxMain". Nothing for
  // missing or empty content.
  static std::optional<std::string> constructHtml(const std::optional<std::string>& content,
                                                  const std::optional<std::string>& cssUrl,
                                                  const std::optional<std::string>& inlineCss);
  // The inside of the body element of a complete document; other content unchanged.
  static std::string extractContentFromHtml(std::string_view content);
  // True for content that is one image element and nothing else (white space aside).
  static bool isImageOnly(std::string_view content);
  // The style block: for image-only content, rules that make the image fill the lightbox
  // keeping its proportions; then a 5-point padding around the content; then `inlineCss`
  // in a block of its own.
  static std::string setHtmlStyle(bool imageOnly, const std::optional<std::string>& inlineCss);

 private:
  std::weak_ptr<platform::ViewController> _viewController;
  // The web view's face of _lightboxView; null when there is none.
  platform::WebView* webView() const {
    return _lightboxView ? _lightboxView->asWebView() : nullptr;
  }

  std::shared_ptr<platform::View> _backgroundView;
  std::shared_ptr<platform::View> _lightboxView;
  std::shared_ptr<platform::View> _closeButton;
  std::optional<std::string> _iconUrl;
  bool _isLoaded = false;
  bool _isReadyForShowing = false;
  bool _isShown = false;
  platform::TimerId _hideTimerId;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_PL_LIGHTBOX_H_
