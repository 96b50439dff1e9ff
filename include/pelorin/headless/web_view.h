// A web view for the headless toolkit (a `platform::WebView`): it renders nothing, but records what
// it was asked to load and runs navigations through its delegate as a real web view does.
//
// A load starts asynchronously, like a real one: `load`/`loadHTMLString` post its start to
// the main thread. Starting asks the delegate for a policy (navigation type "other") and,
// when allowed, tells it that a provisional navigation started. Tests and hosts can start
// the pending load at once with `startLoading()` and simulate the user following a link
// with `tapLink()`.
//
// Thread safety: none; main thread only, like every toolkit object.
#ifndef PELORIN_HEADLESS_WEB_VIEW_H_
#define PELORIN_HEADLESS_WEB_VIEW_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/headless/view.h"
#include "pelorin/platform/web_view.h"

namespace pelorin::headless {

using platform::Navigation;
using platform::NavigationAction;
using platform::NavigationActionPolicy;
using platform::NavigationDelegate;
using platform::NavigationType;
using platform::UrlRequest;
using platform::UrlRequestCachePolicy;

class PELORIN_EXPORT WebView : public View, public platform::WebView {
 public:
  // One call of `load` or `loadHTMLString`.
  struct Load {
    enum class Kind { kRequest, kHtmlString };
    Kind kind = Kind::kRequest;
    UrlRequest request;                  // kRequest
    std::string html;                    // kHtmlString
    std::optional<std::string> baseUrl;  // kHtmlString
  };
  // A navigation the delegate was asked about, and its decision (nothing while pending).
  struct NavigationRecord {
    NavigationAction action;
    std::optional<NavigationActionPolicy> policy;
  };

  WebView() = default;
  explicit WebView(Rect frame) : View(frame) {}

  std::string_view className() const override { return "WebView"; }
  platform::WebView* asWebView() override { return this; }
  platform::View& asView() override { return *this; }

  // Records the load and schedules its start. A newer load replaces one not yet started.
  void load(UrlRequest request) override;
  // The page's address is `baseUrl`, or "about:blank" without one.
  void loadHTMLString(std::string html, std::optional<std::string> baseUrl) override;
  // Every load, in order.
  const std::vector<Load>& loads() const { return _loads; }
  bool hasPendingLoad() const { return _pendingLoad.has_value(); }

  // Held weakly. Without a live delegate every navigation is allowed.
  void setNavigationDelegate(std::weak_ptr<NavigationDelegate> delegate) override {
    _delegate = std::move(delegate);
  }
  std::shared_ptr<NavigationDelegate> navigationDelegate() const { return _delegate.lock(); }

  // The address of the page shown: that of the last navigation that started.
  const std::optional<std::string>& url() const { return _url; }
  // Every navigation the delegate was asked about, in order.
  const std::vector<NavigationRecord>& navigations() const { return _navigations; }

  // Starts the pending load now. False when none is pending, or when the delegate cancelled
  // it or has not decided yet.
  bool startLoading();
  // The user follows a link on the page. Answers the decision, or nothing while the
  // delegate has not decided. A cancelled link leaves the page as it was.
  std::optional<NavigationActionPolicy> tapLink(std::string url);

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::optional<NavigationActionPolicy> navigate(const NavigationAction& action);
  void decided(std::size_t record, NavigationActionPolicy policy);
  void schedulePendingStart();

  std::vector<Load> _loads;
  std::optional<std::size_t> _pendingLoad;  // index into _loads
  std::vector<NavigationRecord> _navigations;
  std::optional<std::string> _url;
  std::uint64_t _lastNavigationId = 0;
  std::weak_ptr<NavigationDelegate> _delegate;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_WEB_VIEW_H_
