// The web page behind the library's web views: every navigation the engine is about to
// make goes through `acceptNavigationRequest` to a decider (the web view, which asks its
// navigation delegate). A link that opens a new window ("target=_blank") is asked about
// as a link activation of this page and never opens a window of its own.
//
// Thread safety: none; Qt's GUI thread only.
#ifndef PELORIN_SRC_QT_NAVIGATION_PAGE_H_
#define PELORIN_SRC_QT_NAVIGATION_PAGE_H_

#include <functional>

#include <QUrl>
#include <QWebEnginePage>

#include "pelorin/platform/web_view.h"

namespace pelorin::qt {

class NavigationPage final : public QWebEnginePage {
  Q_OBJECT

 public:
  // Answers whether the engine may go on with a navigation to `url`.
  using Decider =
      std::function<bool(const QUrl& url, platform::NavigationType type, bool isMainFrame)>;

  NavigationPage(QWebEngineProfile* profile, QObject* parent);

  void setDecider(Decider decider) { _decider = std::move(decider); }
  // A link asked for a new window to show `url`: asked about as a link activation outside
  // the main frame, so that an allowed one is not replayed here; no window ever opens.
  void askAboutNewWindow(const QUrl& url);

  // The library's name for the engine's kind of navigation.
  static platform::NavigationType navigationType(QWebEnginePage::NavigationType type);

 Q_SIGNALS:
  // The engine asked about a navigation to `url` and was answered `accepted`.
  void navigationDecided(const QUrl& url, bool accepted);

 protected:
  bool acceptNavigationRequest(const QUrl& url, QWebEnginePage::NavigationType type,
                               bool isMainFrame) override;
  QWebEnginePage* createWindow(QWebEnginePage::WebWindowType type) override;

 private:
  Decider _decider;
};

}  // namespace pelorin::qt

#endif  // PELORIN_SRC_QT_NAVIGATION_PAGE_H_
