#include "shop_library.h"

namespace qtshop {

void installToolkit(pelorin::Platform& /*platform*/) {}

void markScreen(ShopScreen& /*screen*/) {}

std::shared_ptr<pelorin::platform::ViewController> screenController(ShopScreen& /*screen*/) {
  return nullptr;
}

}  // namespace qtshop
