#include "shop_library.h"

#include "pelorin/qt/toolkit.h"

namespace qtshop {

void installToolkit(pelorin::Platform& platform) { pelorin::qt::install(platform); }

void markScreen(ShopScreen& screen) { pelorin::qt::markScreen(&screen); }

std::shared_ptr<pelorin::platform::ViewController> screenController(ShopScreen& screen) {
  return pelorin::qt::screenFor(&screen);
}

}  // namespace qtshop
