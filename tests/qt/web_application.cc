#include "qt/web_application.h"

#include "qt/qt_application.h"

#include <memory>

#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QTest>

namespace pelorin::testing {
namespace {

class WebApplicationEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override {
    // The web engine shares its rendering contexts with the application's.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    _app = std::make_unique<QApplication>(_argc, _argv);
  }
  void TearDown() override {
    deliverPostedQtEvents();
    _app.reset();
  }

 private:
  int _argc = 1;
  char _name[20] = "pelorin-qt-web-test";
  char* _argv[2] = {_name, nullptr};
  std::unique_ptr<QApplication> _app;
};

// NOLINTNEXTLINE(cppcoreguidelines-owning-memory): GoogleTest owns registered environments
[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new WebApplicationEnvironment());

}  // namespace

void deliverPostedQtEvents() {
  QCoreApplication::sendPostedEvents();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QCoreApplication::sendPostedEvents();
}

// The web engine keeps posting work of its own: "until none is left" would never end, so
// only what was posted so far is delivered.
void processQtEvents() { deliverPostedQtEvents(); }

bool waitUntil(const std::function<bool()>& condition, int timeoutMs) {
  return QTest::qWaitFor(condition, timeoutMs);
}

}  // namespace pelorin::testing
