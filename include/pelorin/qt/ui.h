// Qt widgets as the library's user interface: the current screen, alerts as QMessageBox,
// addresses opened with QDesktopServices, the primary QScreen, and the factory of the
// library's own views.
//
// The key window's root view controller is the screen the app set with `setRootScreen`
// (while it lives); else the screen the active window shows (without an active window: a
// visible top-level window's): the deepest visible widget marked as a screen, where a
// QStackedWidget (and so a QTabWidget) leads only to its current page.
//
// Thread safety: main (GUI) thread only, like every `Ui`.
#ifndef PELORIN_QT_UI_H_
#define PELORIN_QT_UI_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/platform/ui.h"
#include "pelorin/platform/view_factory.h"

class QWidget;

namespace pelorin::qt {

class QtUi final : public platform::Ui {
 public:
  QtUi();
  ~QtUi() override;
  QtUi(const QtUi&) = delete;
  QtUi& operator=(const QtUi&) = delete;

  std::shared_ptr<platform::ViewController> keyWindowRootViewController() const override;
  // Opens a window-modal QMessageBox over the root screen's window and returns at once;
  // the tapped button's handler runs on the event loop's next turn after the box closed.
  bool presentAlert(platform::Alert alert) override;
  void openURL(std::string_view url) override;
  // The primary screen's size in device-independent pixels (points), and its device pixel
  // ratio; 0 x 0 at scale 1 without a screen.
  platform::Size screenSize() const override;
  double screenScale() const override;
  platform::ViewFactory& viewFactory() override { return *_viewFactory; }

  // Makes `screen` (marked as a screen on the way) the key window's root, ahead of what
  // the windows show; null goes back to finding it in the windows.
  void setRootScreen(QWidget* screen);

 private:
  struct RootGuard;
  std::unique_ptr<RootGuard> _root;
  std::unique_ptr<platform::ViewFactory> _viewFactory;
};

}  // namespace pelorin::qt

#endif  // PELORIN_QT_UI_H_
