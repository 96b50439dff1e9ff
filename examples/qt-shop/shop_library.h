// Where the Qt shop meets the library's Qt adapter: installing the Qt toolkit, marking the
// shop's screens, and the screen a page view is sent from.
//
// Thread safety: Qt's GUI thread only.
#ifndef PELORIN_EXAMPLES_QT_SHOP_SHOP_LIBRARY_H_
#define PELORIN_EXAMPLES_QT_SHOP_SHOP_LIBRARY_H_

#include <memory>

#include "pelorin/platform/platform.h"
#include "pelorin/platform/view_controller.h"
#include "shop_screens.h"

namespace qtshop {

// Gives `platform` Qt's event loop as its main thread and the Qt toolkit as its UI. Call
// on the GUI thread once the QApplication exists, before the platform is installed.
void installToolkit(pelorin::Platform& platform);

// Makes `screen` a screen the library sees: a view controller with the screen's children
// as outlets.
void markScreen(ShopScreen& screen);

// The view controller of a marked screen.
std::shared_ptr<pelorin::platform::ViewController> screenController(ShopScreen& screen);

}  // namespace qtshop

#endif  // PELORIN_EXAMPLES_QT_SHOP_SHOP_LIBRARY_H_
