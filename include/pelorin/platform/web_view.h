// A web view as the library sees it: it loads a request or an HTML string, and runs every
// navigation through its navigation delegate, which decides whether it may go ahead.
//
// Thread safety: none; main thread only, like every toolkit object. Delegate calls come on
// the main thread.
#ifndef PELORIN_PLATFORM_WEB_VIEW_H_
#define PELORIN_PLATFORM_WEB_VIEW_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "pelorin/export.h"
#include "pelorin/platform/view.h"

namespace pelorin::platform {

enum class UrlRequestCachePolicy {
  kUseProtocolCachePolicy,  // the default
  kReloadIgnoringLocalCacheData,
  kReturnCacheDataElseLoad,
};

struct PELORIN_EXPORT UrlRequest {
  std::string url;
  UrlRequestCachePolicy cachePolicy = UrlRequestCachePolicy::kUseProtocolCachePolicy;
  std::chrono::milliseconds timeoutInterval{60000};
  friend bool operator==(const UrlRequest&, const UrlRequest&) = default;
};

enum class NavigationType {
  kLinkActivated,
  kFormSubmitted,
  kBackForward,
  kReload,
  kFormResubmitted,
  kOther,
};

struct PELORIN_EXPORT NavigationAction {
  UrlRequest request;
  NavigationType navigationType = NavigationType::kOther;
};

enum class NavigationActionPolicy { kCancel, kAllow };

// A navigation that started: its number within the web view and its address.
struct PELORIN_EXPORT Navigation {
  std::uint64_t id = 0;
  std::string url;
};

class WebView;

class PELORIN_EXPORT NavigationDelegate {
 public:
  using DecisionHandler = std::function<void(NavigationActionPolicy)>;

  NavigationDelegate() = default;
  virtual ~NavigationDelegate() = default;
  NavigationDelegate(const NavigationDelegate&) = delete;
  NavigationDelegate& operator=(const NavigationDelegate&) = delete;

  // Decides whether `action` may go ahead by calling `decisionHandler` once, now or later
  // (on the main thread). Calls after the first are ignored. By default: allow.
  virtual void decidePolicyFor(WebView& webView, const NavigationAction& action,
                               DecisionHandler decisionHandler);
  // A navigation that was allowed has started loading.
  virtual void didStartProvisionalNavigation(WebView& webView, const Navigation& navigation);
};

class PELORIN_EXPORT WebView {
 public:
  WebView() = default;
  virtual ~WebView() = default;
  WebView(const WebView&) = delete;
  WebView& operator=(const WebView&) = delete;

  // The same object as a view.
  virtual View& asView() = 0;
  // Starts loading `request` asynchronously (never inside the call): the delegate is
  // asked about the navigation (type "other") on a later turn of the main thread, and
  // told that it started when it allows it. A newer load replaces one not yet started.
  virtual void load(UrlRequest request) = 0;
  // The same with a page given as text; its address is `baseUrl`, or "about:blank".
  virtual void loadHTMLString(std::string html, std::optional<std::string> baseUrl) = 0;
  // Held weakly. Without a live delegate every navigation is allowed.
  virtual void setNavigationDelegate(std::weak_ptr<NavigationDelegate> delegate) = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_WEB_VIEW_H_
