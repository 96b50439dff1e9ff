// What makes a QWebEngineView a library web view: loads that start on a later turn of Qt's
// event loop, and every navigation run through the (weakly held) navigation delegate.
//
// The delegate may answer later than the engine can wait: the engine's question
// (`acceptNavigationRequest`) needs its answer inside the call. A main-frame navigation
// whose answer comes later is cancelled, and loaded again by address once it is allowed;
// one in a frame or a new window is cancelled for good.
//
// Thread safety: none; Qt's GUI thread only.
#ifndef PELORIN_SRC_QT_WEB_ENGINE_NAVIGATION_H_
#define PELORIN_SRC_QT_WEB_ENGINE_NAVIGATION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <QPointer>
#include <QUrl>
#include <QWebEngineView>

#include "pelorin/platform/web_view.h"
#include "qt/navigation_page.h"

namespace pelorin::qt {

class WebEngineNavigation final : public std::enable_shared_from_this<WebEngineNavigation> {
 public:
  // Navigation for `view`, which `owner` stands for in the delegate's calls; gives the view
  // a NavigationPage of its own.
  static std::shared_ptr<WebEngineNavigation> create(platform::WebView& owner,
                                                     QWebEngineView& view);
  WebEngineNavigation(platform::WebView& owner, QWebEngineView& view);
  ~WebEngineNavigation();
  WebEngineNavigation(const WebEngineNavigation&) = delete;
  WebEngineNavigation& operator=(const WebEngineNavigation&) = delete;

  void load(platform::UrlRequest request);
  void loadHTMLString(std::string html, const std::optional<std::string>& baseUrl);
  void setNavigationDelegate(std::weak_ptr<platform::NavigationDelegate> delegate) {
    _delegate = std::move(delegate);
  }

  // The address of the last navigation that started; empty before any.
  const std::string& url() const { return _url; }

 private:
  struct Load {
    platform::UrlRequest request;
    std::optional<std::string> html;  // a page given as text, at request.url
  };

  void schedule(Load load);
  void startPending(std::uint64_t generation);
  // The engine asks whether it may go on.
  bool decide(const QUrl& url, platform::NavigationType type, bool isMainFrame);
  // Starts `load` in the engine, letting its own navigation through, and tells the delegate.
  void begin(const Load& load);
  void started(const std::string& url);

  platform::WebView& _owner;
  QPointer<QWebEngineView> _view;
  QPointer<NavigationPage> _page;
  std::weak_ptr<platform::NavigationDelegate> _delegate;
  std::optional<Load> _pending;
  std::uint64_t _generation = 0;
  std::uint64_t _lastNavigationId = 0;
  // The address of a navigation this object started, which the engine is about to ask
  // about: let through once. A page given as text comes as a "data:" address.
  std::optional<QUrl> _ownNavigation;
  std::string _url;
};

}  // namespace pelorin::qt

#endif  // PELORIN_SRC_QT_WEB_ENGINE_NAVIGATION_H_
