#include "qt/navigation_page.h"

#include <QPointer>

namespace pelorin::qt {
namespace {

// The page the engine asks for when a link opens a new window: its first navigation is
// the link's, asked about on the page that holds the link; nothing is ever shown in it.
class NewWindowPage final : public QWebEnginePage {
 public:
  NewWindowPage(QWebEngineProfile* profile, NavigationPage* opener)
      : QWebEnginePage(profile, opener), _opener(opener) {}

 protected:
  bool acceptNavigationRequest(const QUrl& url, QWebEnginePage::NavigationType /*type*/,
                               bool isMainFrame) override {
    if (isMainFrame && !_asked && _opener != nullptr) {
      _asked = true;
      _opener->askAboutNewWindow(url);
      deleteLater();
    }
    return false;
  }

 private:
  QPointer<NavigationPage> _opener;
  bool _asked = false;
};

}  // namespace

NavigationPage::NavigationPage(QWebEngineProfile* profile, QObject* parent)
    : QWebEnginePage(profile, parent) {}

platform::NavigationType NavigationPage::navigationType(QWebEnginePage::NavigationType type) {
  switch (type) {
    case QWebEnginePage::NavigationTypeLinkClicked:
      return platform::NavigationType::kLinkActivated;
    case QWebEnginePage::NavigationTypeFormSubmitted:
      return platform::NavigationType::kFormSubmitted;
    case QWebEnginePage::NavigationTypeBackForward:
      return platform::NavigationType::kBackForward;
    case QWebEnginePage::NavigationTypeReload:
      return platform::NavigationType::kReload;
    case QWebEnginePage::NavigationTypeTyped:
    case QWebEnginePage::NavigationTypeRedirect:
    case QWebEnginePage::NavigationTypeOther:
      break;
  }
  return platform::NavigationType::kOther;
}

bool NavigationPage::acceptNavigationRequest(const QUrl& url, QWebEnginePage::NavigationType type,
                                             bool isMainFrame) {
  const bool accepted = !_decider || _decider(url, navigationType(type), isMainFrame);
  Q_EMIT navigationDecided(url, accepted);
  return accepted;
}

QWebEnginePage* NavigationPage::createWindow(QWebEnginePage::WebWindowType /*type*/) {
  return new NewWindowPage(profile(), this);
}

void NavigationPage::askAboutNewWindow(const QUrl& url) {
  if (_decider) _decider(url, platform::NavigationType::kLinkActivated, false);
  Q_EMIT navigationDecided(url, false);
}

}  // namespace pelorin::qt
