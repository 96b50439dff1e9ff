// A QWebEngineView as the library's web view: loads start on a later turn of Qt's event
// loop, and every navigation goes through the navigation delegate
// (web_engine_navigation.h). The view gets the page that asks the delegate when the library
// first uses it as a web view (a load or a delegate): an app's own web view that the
// library only walks past keeps its page. Widgets the library adds on it (the lightbox's close
// button) stay above the page; the engine's own child widgets are not subviews.
//
// Thread safety: none; Qt's GUI thread only.
#ifndef PELORIN_QT_WEB_VIEW_H_
#define PELORIN_QT_WEB_VIEW_H_

#include <memory>
#include <optional>
#include <string>

#include <QWebEngineView>

#include "pelorin/platform/web_view.h"
#include "qt/view.h"
#include "qt/web_engine_navigation.h"

namespace pelorin::qt {

class QtWebView final : public QtView, public platform::WebView {
 public:
  explicit QtWebView(QWebEngineView& view);

  platform::WebView* asWebView() override { return this; }
  platform::View& asView() override { return *this; }

  // The subviews the library added, back to front, without the engine's own widgets.
  void forEachSubview(SubviewVisitor visit) const override;

  void load(platform::UrlRequest request) override;
  void loadHTMLString(std::string html, std::optional<std::string> baseUrl) override;
  void setNavigationDelegate(std::weak_ptr<platform::NavigationDelegate> delegate) override;

  // The engine's own child widgets of `view`: the one the page renders into, which the
  // view lays out itself and gives its focus to.
  static bool isEngineWidget(const QWebEngineView& view, const QObject& child);

 protected:
  void describeDetails(std::string& out) const override;

 private:
  // Made on first use; null for a gone view.
  WebEngineNavigation* navigation();

  std::shared_ptr<WebEngineNavigation> _navigation;
};

}  // namespace pelorin::qt

#endif  // PELORIN_QT_WEB_VIEW_H_
