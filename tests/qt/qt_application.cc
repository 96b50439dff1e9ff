#include "qt/qt_application.h"

#include <memory>

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QCoreApplication>
#include <QEvent>

namespace pelorin::testing {

namespace {

class QtApplicationEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    _app = std::make_unique<QApplication>(_argc, _argv);
  }
  void TearDown() override {
    processQtEvents();
    _app.reset();
  }

 private:
  int _argc = 1;
  char _name[16] = "pelorin-qt-test";
  char* _argv[2] = {_name, nullptr};
  std::unique_ptr<QApplication> _app;
};

// GoogleTest owns the environments registered with it.
[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new QtApplicationEnvironment());

}  // namespace

void processQtEvents() {
  QAbstractEventDispatcher* dispatcher = QCoreApplication::instance()->eventDispatcher();
  bool busy = true;
  while (busy) {
    // Deferred deletes wait for the event loop's own level; send them explicitly.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    busy = dispatcher->processEvents(QEventLoop::AllEvents);
  }
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // namespace pelorin::testing
