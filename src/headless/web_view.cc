#include "pelorin/headless/web_view.h"

#include <fmt/format.h>

#include "pelorin/platform/platform.h"

namespace pelorin::headless {
namespace {

constexpr const char* kBlankPage = "about:blank";

}  // namespace

void WebView::load(UrlRequest request) {
  Load load;
  load.kind = Load::Kind::kRequest;
  load.request = std::move(request);
  _loads.push_back(std::move(load));
  schedulePendingStart();
}

void WebView::loadHTMLString(std::string html, std::optional<std::string> baseUrl) {
  Load load;
  load.kind = Load::Kind::kHtmlString;
  load.request.url = baseUrl.value_or(kBlankPage);
  load.html = std::move(html);
  load.baseUrl = std::move(baseUrl);
  _loads.push_back(std::move(load));
  schedulePendingStart();
}

void WebView::schedulePendingStart() {
  const std::size_t index = _loads.size() - 1;
  _pendingLoad = index;
  std::weak_ptr<View> weak = weak_from_this();
  Platform::current().mainThread().post([weak, index] {
    auto view = std::static_pointer_cast<WebView>(weak.lock());
    if (view && view->_pendingLoad == index) view->startLoading();
  });
}

bool WebView::startLoading() {
  if (!_pendingLoad) return false;
  const Load& load = _loads[*_pendingLoad];
  _pendingLoad.reset();
  NavigationAction action{load.request, NavigationType::kOther};
  return navigate(action) == NavigationActionPolicy::kAllow;
}

std::optional<NavigationActionPolicy> WebView::tapLink(std::string url) {
  if (isHidden()) return std::nullopt;
  NavigationAction action;
  action.request.url = std::move(url);
  action.navigationType = NavigationType::kLinkActivated;
  return navigate(action);
}

std::optional<NavigationActionPolicy> WebView::navigate(const NavigationAction& action) {
  const std::size_t record = _navigations.size();
  _navigations.push_back(NavigationRecord{action, std::nullopt});
  auto delegate = _delegate.lock();
  if (!delegate) {
    decided(record, NavigationActionPolicy::kAllow);
    return NavigationActionPolicy::kAllow;
  }
  auto answered = std::make_shared<bool>(false);
  auto inCall = std::make_shared<bool>(true);
  std::weak_ptr<View> weak = weak_from_this();
  // A view that is not owned by a shared_ptr cannot be watched for its end: its decision
  // counts only while the delegate call is still running.
  WebView* unowned = weak.expired() ? this : nullptr;
  delegate->decidePolicyFor(
      *this, action,  // the caller's copy: the delegate may start other navigations
      [answered, inCall, weak, unowned, record](NavigationActionPolicy policy) {
        if (*answered) return;
        *answered = true;
        if (auto view = weak.lock()) {
          static_cast<WebView&>(*view).decided(record, policy);
        } else if (unowned != nullptr && *inCall) {
          unowned->decided(record, policy);
        }
      });
  *inCall = false;
  return _navigations[record].policy;
}

void WebView::decided(std::size_t record, NavigationActionPolicy policy) {
  _navigations[record].policy = policy;
  if (policy != NavigationActionPolicy::kAllow) return;
  _url = _navigations[record].action.request.url;
  const Navigation navigation{++_lastNavigationId, *_url};
  if (auto delegate = _delegate.lock()) delegate->didStartProvisionalNavigation(*this, navigation);
}

void WebView::describeDetails(std::string& out) const {
  out += fmt::format("; url = '{}'", _url.value_or(""));
}

}  // namespace pelorin::headless
