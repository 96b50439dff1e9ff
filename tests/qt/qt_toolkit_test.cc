// The Qt toolkit beyond the contract suites: handles' identity across a widget's
// destruction, Qt's event loop as the main thread, screens and their outlets.
#include <memory>
#include <new>

#include <gtest/gtest.h>

#include <QLabel>
#include <QWidget>

#include "pelorin/qt/toolkit.h"
#include "qt/qt_application.h"

namespace pelorin::qt {
namespace {

TEST(QtViewIdentityTest, TheSameWidgetHasTheSameHandle) {
  QWidget widget;
  auto first = viewFor(&widget);
  auto second = viewFor(&widget);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_FALSE(first->isGone());
  EXPECT_EQ(viewFor(nullptr), nullptr);
}

TEST(QtViewIdentityTest, AWidgetAtTheAddressOfADestroyedOneGetsANewHandle) {
  // Both widgets live in the same storage, so the second has the first one's address.
  alignas(QLabel) unsigned char storage[sizeof(QLabel)];
  auto* first = new (storage) QLabel(QStringLiteral("first"));
  auto firstHandle = viewFor(first);
  first->~QLabel();
  EXPECT_TRUE(firstHandle->isGone());
  EXPECT_EQ(firstHandle->superview(), nullptr);

  auto* second = new (storage) QLabel(QStringLiteral("second"));
  auto secondHandle = viewFor(second);
  EXPECT_NE(secondHandle, firstHandle);
  EXPECT_FALSE(secondHandle->isGone());
  EXPECT_TRUE(firstHandle->isGone());
  second->~QLabel();
}

}  // namespace
}  // namespace pelorin::qt
