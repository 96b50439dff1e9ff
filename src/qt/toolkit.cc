#include "pelorin/qt/toolkit.h"

#include "pelorin/pelorin_client.h"
#include "pelorin/qt/main_thread.h"
#include "pelorin/qt/ui.h"
#include "qt/kinds.h"
#include "qt/view_controller.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

void install(Platform& platform) {
  platform.setMainThread(std::make_unique<QtMainThread>());
  platform.setUi(std::make_unique<QtUi>());
}

std::shared_ptr<platform::View> viewFor(QWidget* widget) {
  return ViewRegistry::instance().viewFor(widget);
}

void markPicker(QWidget* container) {
  if (container != nullptr) container->setProperty(kPickerProperty, true);
}

std::shared_ptr<platform::ViewController> markScreen(QWidget* screen) {
  return ViewRegistry::instance().markScreen(screen);
}

std::shared_ptr<platform::ViewController> screenFor(const QWidget* screen) {
  return ViewRegistry::instance().screenFor(screen);
}

void setCurrentScreen(QWidget* screen) {
  auto controller = markScreen(screen);
  if (controller) PelorinClient::getInstance(controller);
}

}  // namespace pelorin::qt
