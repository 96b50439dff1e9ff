// The library on Qt 6 Widgets: installs Qt's event loop as the library's main thread and
// Qt widgets as its user interface, and tells the library which widgets are the app's
// screens.
//
//   QApplication app(argc, argv);
//   auto platform = std::make_unique<pelorin::Platform>();
//   pelorin::qt::install(*platform);           // QtMainThread and QtUi
//   pelorin::Platform::install(std::move(platform));
//   pelorin::qt::markScreen(checkoutPage);     // a QWidget the app shows as a screen
//   pelorin::qt::setCurrentScreen(checkoutPage);
//
// Thread safety: call on Qt's GUI thread (the thread of the QApplication), like every
// widget call.
#ifndef PELORIN_QT_TOOLKIT_H_
#define PELORIN_QT_TOOLKIT_H_

#include <memory>

#include "pelorin/platform/platform.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"

class QWidget;

namespace pelorin::qt {

// Puts a `QtMainThread` and a `QtUi` into `platform`. A QApplication must exist; call on
// its thread, before the client is first used.
void install(Platform& platform);

// The library's handle of `widget`: the same object for as long as the widget lives
// (null for a null widget). Once the widget is destroyed the handle `isGone()`; a later
// widget at the same address gets a handle of its own.
std::shared_ptr<platform::View> viewFor(QWidget* widget);

// Makes `container` a picker view with one component per child QComboBox or QListView, in
// the children's order (a single QComboBox or QListView is a picker of one component by
// itself). Call before the library first sees the container.
void markPicker(QWidget* container);

// Marks `screen` as one of the app's screens and answers its view controller: its title is
// the window title, its root view the widget, its outlets the child widgets by
// `objectName` and the widget's Qt properties that hold widgets. Marking it again answers
// the same controller. Null for a null widget.
std::shared_ptr<platform::ViewController> markScreen(QWidget* screen);

// The controller of `screen` when it was marked as a screen; null otherwise.
std::shared_ptr<platform::ViewController> screenFor(const QWidget* screen);

// Marks `screen` and makes it the library's current screen, as obtaining the client with
// its controller does (`PelorinClient::getInstance(context)`).
void setCurrentScreen(QWidget* screen);

// Off by default. On, the library follows the app's screens by itself: a marked screen
// becomes the current one when it shows (a window opening, a QStackedWidget or QTabWidget
// turning to its page) in the active window, or when its window becomes active, provided
// it is the deepest marked screen that window shows. Turn it on once the platform is
// installed: it obtains the client.
void setFollowsShownScreens(bool follow);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_TOOLKIT_H_
