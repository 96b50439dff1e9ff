#include "qt/view_factory.h"

#include <utility>

#include <QIcon>
#include <QMouseEvent>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPixmap>
#include <QPointer>
#include <QPushButton>
#include <QUrl>
#include <QWebEngineView>
#include <QWidget>

#include "pelorin/platform/web_view.h"
#include "qt/view.h"
#include "qt/view_registry.h"

namespace pelorin::qt {
namespace {

// A plain widget that runs its action when the user clicks it: pressed and released
// inside it with the left button.
class TapArea final : public QWidget {
 public:
  explicit TapArea(std::function<void()> onTap) : _onTap(std::move(onTap)) {
    setObjectName(QStringLiteral("pelorinTapArea"));
  }

 protected:
  void mousePressEvent(QMouseEvent* event) override {
    _pressed = _onTap && event->button() == Qt::LeftButton;
    event->setAccepted(_pressed);
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    const bool tapped = _pressed && event->button() == Qt::LeftButton &&
                        rect().contains(event->position().toPoint());
    _pressed = false;
    event->setAccepted(tapped);
    if (tapped) _onTap();  // may take this widget off screen
  }

 private:
  std::function<void()> _onTap;
  bool _pressed = false;
};

// What the library's handles of a widget it made keep alive: when the last one is
// dropped, a widget that is in no window's tree any more is deleted; one in a tree
// belongs to its parent.
struct MadeWidget {
  std::shared_ptr<QtView> view;
  ~MadeWidget() {
    QWidget* widget = view ? view->widget() : nullptr;
    if (widget != nullptr && widget->parentWidget() == nullptr) widget->deleteLater();
  }
};

// The library's handle of `widget`, which it made: the registry's wrapper, whose last
// handle out of the factory deletes the widget once it is out of every tree.
std::shared_ptr<platform::View> madeView(QWidget* widget) {
  auto owner = std::make_shared<MadeWidget>();
  owner->view = ViewRegistry::instance().viewFor(widget);
  platform::View* view = owner->view.get();
  return std::shared_ptr<platform::View>(std::move(owner), view);
}

void showImage(QPushButton& button, const QPixmap& pixmap) {
  button.setIcon(QIcon(pixmap));
  button.setIconSize(pixmap.size());
  // As big as its image, as a button showing only an image is.
  button.setFixedSize(pixmap.size());
}

// Fetches the image at `url` and shows it on `button` once it arrives; the main thread
// never waits for it.
void fetchImage(QPushButton& button, const QUrl& url) {
  auto* network = new QNetworkAccessManager(&button);  // NOLINT: owned by the button
  QNetworkReply* reply = network->get(QNetworkRequest(url));
  QPointer<QPushButton> target(&button);
  QObject::connect(reply, &QNetworkReply::finished, network, [reply, target, network] {
    reply->deleteLater();
    network->deleteLater();
    QPixmap pixmap;
    if (target && reply->error() == QNetworkReply::NoError &&
        pixmap.loadFromData(reply->readAll())) {
      showImage(*target, pixmap);
    }
  });
}

class QtViewFactory final : public platform::ViewFactory {
 public:
  std::shared_ptr<platform::View> makeContainerView(std::function<void()> onTap) override {
    return madeView(new TapArea(std::move(onTap)));  // NOLINT: owned as madeView says
  }

  std::shared_ptr<platform::View> makeWebView() override {
    auto view = madeView(new QWebEngineView());  // NOLINT: owned as madeView says
    // Its page asks the navigation delegate from the start.
    view->asWebView()->setNavigationDelegate({});
    return view;
  }

  std::shared_ptr<platform::View> makeImageButton(std::optional<platform::Image> image) override {
    auto* button = new QPushButton();  // NOLINT: owned as madeView says
    button->setObjectName(QStringLiteral("pelorinImageButton"));
    button->setFlat(true);
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(
        QStringLiteral("QPushButton { border: none; padding: 0; background: transparent; }"));
    if (image) {
      QPixmap pixmap;
      const auto size = static_cast<int>(image->data.size());
      if (!image->data.empty() && pixmap.loadFromData(image->data.data(), size)) {
        showImage(*button, pixmap);
      } else if (image->data.empty()) {
        const QUrl url(QString::fromStdString(image->source));
        if (url.isValid() && !url.isRelative()) fetchImage(*button, url);
      }
    }
    return madeView(button);
  }
};

}  // namespace

std::unique_ptr<platform::ViewFactory> makeViewFactory() {
  return std::make_unique<QtViewFactory>();
}

}  // namespace pelorin::qt
