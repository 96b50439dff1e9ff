#include "qt/web_engine_navigation.h"

#include <QMetaObject>
#include <QString>
#include <QWebEngineProfile>

namespace pelorin::qt {
namespace {

constexpr const char* kBlankPage = "about:blank";

QUrl toQUrl(const std::string& url) { return QUrl(QString::fromStdString(url)); }

// True when the engine's `url` is the navigation `own` that this object started.
bool isOwn(const QUrl& own, const QUrl& url) {
  if (own.scheme() == QLatin1String("data")) return url.scheme() == QLatin1String("data");
  constexpr auto kLoose = QUrl::NormalizePathSegments | QUrl::StripTrailingSlash;
  return own.adjusted(kLoose) == url.adjusted(kLoose);
}

}  // namespace

std::shared_ptr<WebEngineNavigation> WebEngineNavigation::create(platform::WebView& owner,
                                                                 QWebEngineView& view) {
  auto navigation = std::make_shared<WebEngineNavigation>(owner, view);
  // The engine asks the page; the page asks this object while it lives.
  auto* page = qobject_cast<NavigationPage*>(view.page());
  if (page == nullptr) {
    page = new NavigationPage(QWebEngineProfile::defaultProfile(), &view);
    view.setPage(page);
  }
  navigation->_page = page;
  std::weak_ptr<WebEngineNavigation> weak = navigation;
  page->setDecider([weak](const QUrl& url, platform::NavigationType type, bool isMainFrame) {
    auto self = weak.lock();
    return self ? self->decide(url, type, isMainFrame) : true;
  });
  return navigation;
}

WebEngineNavigation::WebEngineNavigation(platform::WebView& owner, QWebEngineView& view)
    : _owner(owner), _view(&view) {}

WebEngineNavigation::~WebEngineNavigation() = default;

void WebEngineNavigation::load(platform::UrlRequest request) {
  schedule(Load{std::move(request), std::nullopt});
}

void WebEngineNavigation::loadHTMLString(std::string html,
                                         const std::optional<std::string>& baseUrl) {
  platform::UrlRequest request;
  request.url = baseUrl.value_or(kBlankPage);
  schedule(Load{std::move(request), std::move(html)});
}

void WebEngineNavigation::schedule(Load load) {
  // A newer load replaces one not yet started.
  _pending = std::move(load);
  const std::uint64_t generation = ++_generation;
  if (_page.isNull()) return;
  std::weak_ptr<WebEngineNavigation> weak = weak_from_this();
  QMetaObject::invokeMethod(
      _page.data(),
      [weak, generation] {
        if (auto self = weak.lock()) self->startPending(generation);
      },
      Qt::QueuedConnection);
}

void WebEngineNavigation::startPending(std::uint64_t generation) {
  if (generation != _generation || !_pending) return;
  Load load = std::move(*_pending);
  _pending.reset();
  auto delegate = _delegate.lock();
  if (!delegate) {
    begin(load);
    return;
  }
  const platform::NavigationAction action{load.request, platform::NavigationType::kOther};
  auto answered = std::make_shared<bool>(false);
  std::weak_ptr<WebEngineNavigation> weak = weak_from_this();
  delegate->decidePolicyFor(_owner, action,
                            [answered, weak, load](platform::NavigationActionPolicy policy) {
                              if (*answered) return;
                              *answered = true;
                              auto self = weak.lock();
                              if (self && policy == platform::NavigationActionPolicy::kAllow)
                                self->begin(load);
                            });
}

void WebEngineNavigation::begin(const Load& load) {
  if (_page.isNull()) return;
  if (load.html) {
    _ownNavigation = QUrl(QStringLiteral("data:"));
    // A page given as text gets its base address only when one was given.
    const bool hasBase = load.request.url != kBlankPage;
    _page->setHtml(QString::fromStdString(*load.html), hasBase ? toQUrl(load.request.url) : QUrl());
  } else {
    _ownNavigation = toQUrl(load.request.url);
    _page->load(*_ownNavigation);
  }
  started(load.request.url);
}

void WebEngineNavigation::started(const std::string& url) {
  _url = url;
  const platform::Navigation navigation{++_lastNavigationId, url};
  if (auto delegate = _delegate.lock()) delegate->didStartProvisionalNavigation(_owner, navigation);
}

bool WebEngineNavigation::decide(const QUrl& url, platform::NavigationType type, bool isMainFrame) {
  if (isMainFrame && _ownNavigation && isOwn(*_ownNavigation, url)) {
    _ownNavigation.reset();
    return true;
  }
  auto delegate = _delegate.lock();
  if (!delegate) {
    if (isMainFrame) started(url.toString().toStdString());
    return true;
  }
  struct Answer {
    bool inCall = true;
    std::optional<platform::NavigationActionPolicy> policy;
  };
  auto answer = std::make_shared<Answer>();
  std::weak_ptr<WebEngineNavigation> weak = weak_from_this();
  const platform::NavigationAction action{platform::UrlRequest{url.toString().toStdString()}, type};
  delegate->decidePolicyFor(
      _owner, action,
      [answer, weak, isMainFrame,
       url = action.request.url](platform::NavigationActionPolicy policy) {
        if (answer->policy) return;
        answer->policy = policy;
        if (answer->inCall || policy != platform::NavigationActionPolicy::kAllow || !isMainFrame) {
          return;
        }
        // Allowed after the engine moved on without it: load the address again.
        if (auto self = weak.lock()) self->begin(Load{platform::UrlRequest{url}, std::nullopt});
      });
  answer->inCall = false;
  const bool allowed = answer->policy == platform::NavigationActionPolicy::kAllow;
  if (allowed && isMainFrame) started(action.request.url);
  return allowed;
}

}  // namespace pelorin::qt
