#include "qt/web_view.h"

#include <fmt/format.h>

#include <QEvent>
#include <QLayout>
#include <QObject>
#include <QPointer>

#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {
namespace {

// Keeps the engine's own widgets below the ones the library adds: the engine may make
// the widget it renders into after the lightbox put its close button on the view.
class EngineWidgetsBelow final : public QObject {
 public:
  explicit EngineWidgetsBelow(QWebEngineView& view) : QObject(&view), _view(&view) {
    view.installEventFilter(this);
    lowerEngineWidgets();
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::ChildPolished || event->type() == QEvent::LayoutRequest) {
      lowerEngineWidgets();
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  void lowerEngineWidgets() {
    if (_view.isNull()) return;
    for (QObject* child : _view->children()) {
      if (child->isWidgetType() && QtWebView::isEngineWidget(*_view, *child)) {
        static_cast<QWidget*>(child)->lower();
      }
    }
  }

  QPointer<QWebEngineView> _view;
};

}  // namespace

QtWebView::QtWebView(QWebEngineView& view) : QtView(view) {
  new EngineWidgetsBelow(view);  // NOLINT(cppcoreguidelines-owning-memory): the view's child
}

bool QtWebView::isEngineWidget(const QWebEngineView& view, const QObject& child) {
  if (!child.isWidgetType()) return false;
  const auto& widget = static_cast<const QWidget&>(child);
  if (view.focusProxy() == &widget) return true;
  const QLayout* layout = view.layout();
  return layout != nullptr && layout->indexOf(&widget) >= 0;
}

void QtWebView::forEachSubview(SubviewVisitor visit) const {
  auto* view = static_cast<QWebEngineView*>(widget());
  if (view == nullptr) return;
  for (QObject* child : view->children()) {
    if (!child->isWidgetType() || isEngineWidget(*view, *child)) continue;
    auto* subview = static_cast<QWidget*>(child);
    if (subview->isWindow()) continue;
    visit(*ViewRegistry::instance().viewFor(subview));
  }
}

WebEngineNavigation* QtWebView::navigation() {
  if (!_navigation) {
    auto* view = static_cast<QWebEngineView*>(widget());
    if (view == nullptr) return nullptr;  // gone: loads are ignored
    _navigation = WebEngineNavigation::create(*this, *view);
  }
  return _navigation.get();
}

void QtWebView::load(platform::UrlRequest request) {
  if (WebEngineNavigation* active = navigation()) active->load(std::move(request));
}

void QtWebView::loadHTMLString(std::string html, std::optional<std::string> baseUrl) {
  if (WebEngineNavigation* active = navigation()) {
    active->loadHTMLString(std::move(html), baseUrl);
  }
}

void QtWebView::setNavigationDelegate(std::weak_ptr<platform::NavigationDelegate> delegate) {
  if (WebEngineNavigation* active = navigation()) {
    active->setNavigationDelegate(std::move(delegate));
  }
}

void QtWebView::describeDetails(std::string& out) const {
  out += fmt::format("; url = '{}'", _navigation ? _navigation->url() : std::string());
}

void addWebViewKind(ViewRegistry& registry) {
  registry.addKind([](QWidget& widget) -> std::shared_ptr<QtView> {
    auto* view = qobject_cast<QWebEngineView*>(&widget);
    if (view == nullptr) return nullptr;
    return std::make_shared<QtWebView>(*view);
  });
}

}  // namespace pelorin::qt
