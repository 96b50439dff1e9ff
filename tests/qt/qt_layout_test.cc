// Visual-format constraints laid out on Qt widgets: geometry from the constraints, again
// when the host is resized, and none from a constraint that was dropped.
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QPointer>
#include <QPushButton>
#include <QRect>
#include <QSize>
#include <QTest>
#include <QWidget>

#include "pelorin/platform/control.h"
#include "pelorin/qt/toolkit.h"
#include "qt/qt_application.h"
#include "qt/view.h"
#include "qt/view_factory.h"

namespace pelorin::qt {
namespace {

class QtLayoutTest : public ::testing::Test {
 protected:
  // Shown (offscreen): a hidden widget gets its resize events only once shown.
  QtLayoutTest() {
    _host.resize(400, 800);
    _host.show();
  }

  QWidget _host;
  std::unique_ptr<platform::ViewFactory> _factory = makeViewFactory();
};

QWidget* widgetOf(const std::shared_ptr<platform::View>& view) {
  return dynamic_cast<QtView&>(*view).widget();
}

TEST_F(QtLayoutTest, TheLightboxConstraintsPlaceItsViews) {
  auto host = viewFor(&_host);
  auto background = _factory->makeContainerView({});
  auto lightbox = _factory->makeContainerView({});
  auto guide = viewFor(new QWidget(&_host));  // a zero-height guide at the top
  widgetOf(guide)->setFixedSize(400, 0);
  auto button = viewFor(new QPushButton());
  widgetOf(button)->setFixedSize(30, 30);
  host->addSubview(background);
  host->addSubview(lightbox);
  lightbox->addSubview(button);

  EXPECT_TRUE(host->addConstraints("H:|-0-[background]-0-|", {{"background", background}}));
  EXPECT_TRUE(host->addConstraints("V:|-0-[background]-0-|", {{"background", background}}));
  EXPECT_TRUE(host->addConstraints("H:|-40-[lightbox]-40-|", {{"lightbox", lightbox}}));
  EXPECT_TRUE(host->addConstraints("V:|[topGuide]-80-[lightbox]-80-|",
                                   {{"topGuide", guide}, {"lightbox", lightbox}}));
  EXPECT_TRUE(lightbox->addConstraints("H:[closeButton]-10-|", {{"closeButton", button}}));
  EXPECT_TRUE(lightbox->addConstraints("V:|-10-[closeButton]", {{"closeButton", button}}));

  EXPECT_EQ(widgetOf(background)->geometry(), QRect(0, 0, 400, 800));
  EXPECT_EQ(widgetOf(lightbox)->geometry(), QRect(40, 80, 320, 640));
  EXPECT_EQ(widgetOf(button)->geometry(), QRect(280, 10, 30, 30));
  EXPECT_EQ(widgetOf(guide)->geometry().topLeft(), QPoint(0, 0));
}

TEST_F(QtLayoutTest, AResizedHostLaysItsViewsOutAgain) {
  auto host = viewFor(&_host);
  auto lightbox = _factory->makeContainerView({});
  auto button = viewFor(new QPushButton());
  widgetOf(button)->setFixedSize(30, 30);
  host->addSubview(lightbox);
  lightbox->addSubview(button);
  host->addConstraints("H:|-40-[lightbox]-40-|", {{"lightbox", lightbox}});
  host->addConstraints("V:|-80-[lightbox]-80-|", {{"lightbox", lightbox}});
  lightbox->addConstraints("H:[closeButton]-10-|", {{"closeButton", button}});

  _host.resize(600, 500);

  EXPECT_EQ(widgetOf(lightbox)->geometry(), QRect(40, 80, 520, 340));
  // The lightbox's own resize moves its button along.
  EXPECT_EQ(widgetOf(button)->geometry().x(), 520 - 10 - 30);
}

TEST_F(QtLayoutTest, AFormatTheLayoutCannotReadIsRejected) {
  auto host = viewFor(&_host);
  auto lightbox = _factory->makeContainerView({});
  host->addSubview(lightbox);

  EXPECT_FALSE(host->addConstraints("H:|-(>=40)-[lightbox]-40-|", {{"lightbox", lightbox}}));
  EXPECT_FALSE(host->addConstraints("H:|-40-[lightbox(44@750)]", {{"lightbox", lightbox}}));

  EXPECT_TRUE(dynamic_cast<QtView&>(*host).constraints().empty());
}

TEST_F(QtLayoutTest, ARemovedViewIsNoLongerPlaced) {
  auto host = viewFor(&_host);
  auto lightbox = _factory->makeContainerView({});
  host->addSubview(lightbox);
  host->addConstraints("H:|-40-[lightbox]-40-|", {{"lightbox", lightbox}});
  lightbox->removeFromSuperview();
  widgetOf(lightbox)->setGeometry(1, 2, 3, 4);

  host->addSubview(lightbox);
  _host.resize(500, 500);

  EXPECT_EQ(widgetOf(lightbox)->geometry(), QRect(1, 2, 3, 4));
}

TEST_F(QtLayoutTest, AMadeViewOutOfEveryTreeIsDeletedWithItsLastHandle) {
  auto host = viewFor(&_host);
  auto kept = _factory->makeContainerView({});
  auto dropped = _factory->makeContainerView({});
  QPointer<QWidget> keptWidget = widgetOf(kept);
  QPointer<QWidget> droppedWidget = widgetOf(dropped);
  host->addSubview(kept);

  kept.reset();
  dropped.reset();
  testing::processQtEvents();

  EXPECT_FALSE(keptWidget.isNull());  // its parent has it
  EXPECT_TRUE(droppedWidget.isNull());
}

TEST_F(QtLayoutTest, TheImageButtonShowsTheImageItWasGivenAtItsSize) {
  std::ifstream file(PELORIN_CLOSE_PNG_PATH, std::ios::binary);
  const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                        std::istreambuf_iterator<char>());
  ASSERT_FALSE(bytes.empty());

  auto button = _factory->makeImageButton(platform::Image{"close.png", bytes});

  auto* widget = qobject_cast<QPushButton*>(widgetOf(button));
  ASSERT_NE(widget, nullptr);
  EXPECT_FALSE(widget->icon().isNull());
  EXPECT_EQ(widget->iconSize(), QSize(30, 30));
  EXPECT_EQ(widget->minimumSize(), QSize(30, 30));
  EXPECT_EQ(widget->maximumSize(), QSize(30, 30));
}

TEST_F(QtLayoutTest, AnImageGivenByAddressShowsOnceFetched) {
  auto button = _factory->makeImageButton(
      platform::Image{std::string("file://") + PELORIN_CLOSE_PNG_PATH, {}});

  auto* widget = qobject_cast<QPushButton*>(widgetOf(button));
  ASSERT_NE(widget, nullptr);
  EXPECT_TRUE(widget->icon().isNull());  // never waited for
  EXPECT_TRUE(QTest::qWaitFor([&] { return !widget->icon().isNull(); }, 10000));
  EXPECT_EQ(widget->iconSize(), QSize(30, 30));
}

TEST_F(QtLayoutTest, AnImageThatCannotBeReadLeavesTheButtonPlain) {
  auto button = _factory->makeImageButton(platform::Image{"close.png", {1, 2, 3}});

  auto* widget = qobject_cast<QPushButton*>(widgetOf(button));
  ASSERT_NE(widget, nullptr);
  EXPECT_TRUE(widget->icon().isNull());
  ASSERT_NE(button->asControl(), nullptr);
  EXPECT_EQ(button->asControl()->kind(), platform::ControlKind::kButton);
}

}  // namespace
}  // namespace pelorin::qt
