#include "pelorin/qt/ui.h"

#include <utility>

#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QUrl>

#include "qt/view.h"
#include "qt/view_controller.h"
#include "qt/view_factory.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

struct QtUi::RootGuard {
  QPointer<QWidget> screen;
};

QtUi::QtUi() : _root(std::make_unique<RootGuard>()), _viewFactory(makeViewFactory()) {}

QtUi::~QtUi() = default;

void QtUi::setRootScreen(QWidget* screen) {
  if (screen != nullptr) ViewRegistry::instance().markScreen(screen);
  _root->screen = screen;
}

std::shared_ptr<platform::ViewController> QtUi::keyWindowRootViewController() const {
  if (_root->screen) return ViewRegistry::instance().screenFor(_root->screen.data());
  if (QWidget* window = QApplication::activeWindow()) {
    if (auto screen = shownScreen(*window)) return screen;
  }
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || qobject_cast<QMessageBox*>(window) != nullptr) continue;
    if (auto screen = shownScreen(*window)) return screen;
  }
  return nullptr;
}

bool QtUi::presentAlert(platform::Alert alert) {
  auto root = std::dynamic_pointer_cast<QtViewController>(keyWindowRootViewController());
  if (!root || root->widget() == nullptr) return false;
  auto* box = new QMessageBox(root->widget()->window());
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowModality(Qt::WindowModal);
  box->setWindowTitle(QString::fromStdString(alert.title));
  box->setText(QString::fromStdString(alert.title));
  box->setInformativeText(QString::fromStdString(alert.message));
  std::vector<std::pair<QAbstractButton*, std::function<void()>>> handlers;
  for (auto& action : alert.actions) {
    QMessageBox::ButtonRole role = QMessageBox::AcceptRole;
    if (action.style == platform::AlertActionStyle::kCancel) role = QMessageBox::RejectRole;
    if (action.style == platform::AlertActionStyle::kDestructive) {
      role = QMessageBox::DestructiveRole;
    }
    QPushButton* button = box->addButton(QString::fromStdString(action.title), role);
    handlers.emplace_back(button, std::move(action.handler));
  }
  // The tapped button's handler runs once the alert is closed, on the next turn of the
  // event loop: it may close the screen under the alert.
  QObject::connect(box, &QDialog::finished, box, [box, handlers = std::move(handlers)] {
    QAbstractButton* clicked = box->clickedButton();
    for (const auto& [button, handler] : handlers) {
      if (button == clicked && handler) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), handler, Qt::QueuedConnection);
      }
    }
  });
  box->open();
  return true;
}

void QtUi::openURL(std::string_view url) {
  QDesktopServices::openUrl(
      QUrl(QString::fromUtf8(url.data(), static_cast<qsizetype>(url.size()))));
}

platform::Size QtUi::screenSize() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return {};
  return platform::Size{static_cast<double>(screen->size().width()),
                        static_cast<double>(screen->size().height())};
}

double QtUi::screenScale() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen == nullptr ? 1.0 : screen->devicePixelRatio();
}

}  // namespace pelorin::qt
