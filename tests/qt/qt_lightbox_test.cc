// The lightbox plug-in on a real Qt window: the server's page in a QWebEngineView inset by
// the margins over a dimmed screen, the close button in its top right corner, checked on
// the window's pixels (the screenshot is saved next to this program), kept right when the
// window is resized; links open outside the app.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QDesktopServices>
#include <QImage>
#include <QObject>
#include <QPalette>
#include <QPointer>
#include <QTest>
#include <QUrl>
#include <QWebEngineView>
#include <QWidget>

#include "pelorin/platform/platform.h"
#include "pelorin/qt/toolkit.h"
#include "plugins/fullscreen_lightbox.h"
#include "qt/navigation_page.h"
#include "qt/view.h"
#include "qt/web_application.h"
#include "support/bitmap.h"

namespace pelorin::qt {
namespace {

using testing::Box;

constexpr int kWidth = 400;
constexpr int kHeight = 700;

bool isGreen(testing::Pixel p) { return p.red < 40 && p.green > 160 && p.blue < 40; }
bool isGreenRgb(QRgb pixel) {
  return isGreen(testing::Pixel{static_cast<std::uint8_t>(qRed(pixel)),
                                static_cast<std::uint8_t>(qGreen(pixel)),
                                static_cast<std::uint8_t>(qBlue(pixel))});
}

// The image's pixels, to be searched like a screenshot read from a file.
testing::Bitmap toBitmap(const QImage& image) {
  const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
  testing::Bitmap bitmap;
  bitmap.width = rgba.width();
  bitmap.height = rgba.height();
  const auto row = static_cast<std::size_t>(rgba.width()) * 4;
  bitmap.rgba.resize(row * static_cast<std::size_t>(rgba.height()));
  for (int y = 0; y < rgba.height(); ++y) {
    const uchar* line = rgba.constScanLine(y);
    std::copy(line, line + row, bitmap.rgba.begin() + static_cast<std::ptrdiff_t>(row) * y);
  }
  return bitmap;
}

// Receives the addresses that QDesktopServices::openUrl is asked to open.
class OpenedUrls : public QObject {
  Q_OBJECT

 public:
  OpenedUrls() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open"); }
  ~OpenedUrls() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }
  OpenedUrls(const OpenedUrls&) = delete;
  OpenedUrls& operator=(const OpenedUrls&) = delete;

  std::vector<std::string> urls;

 public Q_SLOTS:
  void open(const QUrl& url) { urls.push_back(url.toString().toStdString()); }
};

class QtLightboxTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto platform = std::make_unique<Platform>();
    install(*platform);
    Platform::install(std::move(platform));
    _window = new QWidget();
    _window->setWindowTitle(QStringLiteral("Checkout"));
    QPalette palette = _window->palette();
    palette.setColor(QPalette::Window, Qt::white);
    _window->setPalette(palette);
    _window->setAutoFillBackground(true);
    _window->resize(kWidth, kHeight);
    _window->show();
    ASSERT_TRUE(testing::waitUntil([&] { return _window->isVisible(); }));
    _screen = markScreen(_window);
  }
  void TearDown() override {
    _lightbox.reset();
    delete _window.data();
    testing::deliverPostedQtEvents();
  }

  // Shows the lightbox as the plug-in does with these interaction parameters, and waits
  // until it is on screen.
  void present(const Parameters& parameters) {
    _lightbox = FullscreenLightbox::presentLightbox(_screen, parameters);
    ASSERT_NE(_lightbox, nullptr);
    ASSERT_TRUE(testing::waitUntil([&] { return _lightbox->isShown(); }));
  }

  QWebEngineView& webView() {
    return dynamic_cast<QWebEngineView&>(
        *dynamic_cast<QtView&>(*_lightbox->lightboxView()).widget());
  }

  // The window's pixels once the page's colour shows at `probe` (none: the window's
  // centre).
  QImage grabOncePainted(std::optional<QPoint> probe = std::nullopt) {
    QImage image;
    const bool painted = testing::waitUntil([&] {
      image = _window->grab().toImage();
      const QPoint at = probe.value_or(QPoint(image.width() / 2, image.height() / 2));
      return image.rect().contains(at) && isGreenRgb(image.pixel(at));
    });
    EXPECT_TRUE(painted) << "the page never showed in the lightbox";
    return image;
  }

  QPointer<QWidget> _window;
  std::shared_ptr<platform::ViewController> _screen;
  std::shared_ptr<PLLightbox> _lightbox;
};

const Parameters kGreenPage = {
    {"html",
     {"<!DOCTYPE html><html><body style=\"margin:0;background:#00c000\">"
      "<a href=\"https://shop.example/sale\" style=\"display:block;height:100vh\">"
      "</a></body></html>"}},
    {"margins", {"10"}}};

TEST_F(QtLightboxTest, ThePageFillsTheLightboxInsideTheMarginsWithTheCloseButtonTopRight) {
  present(kGreenPage);

  const QImage image = grabOncePainted();
  const std::string shot = std::string(PELORIN_QT_SCREENSHOT_DIR) + "/qt-lightbox.png";
  ASSERT_TRUE(image.save(QString::fromStdString(shot)));
  std::printf("screenshot: %s\n", shot.c_str());

  ASSERT_EQ(image.width(), kWidth);
  ASSERT_EQ(image.height(), kHeight);
  // Margins of 10%: 40 points left and right, 70 top and bottom (no status bar above).
  const Box lightbox{40, 70, 359, 629};
  const auto page = boundingBox(toBitmap(image), isGreen);
  ASSERT_TRUE(page);
  EXPECT_EQ(page->left, lightbox.left);
  EXPECT_EQ(page->top, lightbox.top);
  EXPECT_EQ(page->right, lightbox.right);
  EXPECT_EQ(page->bottom, lightbox.bottom);
  // Outside it the white screen shows through the background, black at 60%.
  for (const QPoint at : {QPoint(5, 5), QPoint(20, 350), QPoint(200, 690)}) {
    const QRgb pixel = image.pixel(at);
    EXPECT_NEAR(qRed(pixel), 102, 3) << at.x() << "," << at.y();
    EXPECT_NEAR(qGreen(pixel), 102, 3) << at.x() << "," << at.y();
    EXPECT_NEAR(qBlue(pixel), 102, 3) << at.x() << "," << at.y();
  }
  // The close button (its 30-point image) 10 points from the lightbox's top right corner:
  // the only pixels inside the lightbox that are not the page's.
  const auto button =
      boundingBox(toBitmap(image), lightbox, [](testing::Pixel p) { return !isGreen(p); });
  ASSERT_TRUE(button) << "no close button on the page";
  const Box expected{lightbox.right - 10 - 29, lightbox.top + 10, lightbox.right - 10,
                     lightbox.top + 10 + 29};
  EXPECT_GE(button->left, expected.left);
  EXPECT_GE(button->top, expected.top);
  EXPECT_LE(button->right, expected.right);
  EXPECT_LE(button->bottom, expected.bottom);
  EXPECT_GE(button->width(), 20);
  EXPECT_GE(button->height(), 20);
}

TEST_F(QtLightboxTest, TheLightboxKeepsItsMarginsWhenTheWindowIsResized) {
  present(kGreenPage);
  grabOncePainted();

  _window->resize(600, 500);
  // Once the engine painted the page at the new size: its colour at the new right edge.
  const QImage image = grabOncePainted(QPoint(558, 428));

  EXPECT_EQ(webView().geometry(), QRect(40, 70, 520, 360));
  // The margins were computed once, when it was shown: 40 and 70 points.
  const auto page = boundingBox(toBitmap(image), isGreen);
  ASSERT_TRUE(page);
  EXPECT_EQ(page->left, 40);
  EXPECT_EQ(page->top, 70);
  EXPECT_EQ(page->right, 559);
  EXPECT_EQ(page->bottom, 429);
}

TEST_F(QtLightboxTest, AFollowedLinkOpensOutsideTheAppAndThePageStays) {
  OpenedUrls opened;
  present(kGreenPage);
  grabOncePainted();
  auto* page = qobject_cast<NavigationPage*>(webView().page());
  ASSERT_NE(page, nullptr);
  ASSERT_TRUE(testing::waitUntil([&] { return !page->url().isEmpty(); }));
  const std::string urlBefore = page->url().toString().toStdString();
  bool decided = false;
  QObject::connect(page, &NavigationPage::navigationDecided, &opened,
                   [&decided](const QUrl& url, bool accepted) {
                     EXPECT_FALSE(accepted);
                     if (url == QUrl(QStringLiteral("https://shop.example/sale"))) decided = true;
                   });

  page->runJavaScript(QStringLiteral("document.querySelector('a').click()"));
  ASSERT_TRUE(testing::waitUntil([&] { return decided; }));
  testing::deliverPostedQtEvents();

  EXPECT_EQ(opened.urls, (std::vector<std::string>{"https://shop.example/sale"}));
  EXPECT_EQ(page->url().toString().toStdString(), urlBefore);
  EXPECT_TRUE(_lightbox->isShown());
}

TEST_F(QtLightboxTest, TheCloseButtonTakesTheLightboxOffTheScreen) {
  present(kGreenPage);
  grabOncePainted();
  QWidget* button = dynamic_cast<QtView&>(*_lightbox->closeButton()).widget();
  ASSERT_NE(button, nullptr);
  EXPECT_EQ(button->mapTo(_window, QPoint(0, 0)), QPoint(320, 80));

  QTest::mouseClick(button, Qt::LeftButton);

  EXPECT_FALSE(_lightbox->isShown());
  EXPECT_EQ(_lightbox->backgroundView()->superview(), nullptr);
  EXPECT_EQ(_lightbox->lightboxView()->superview(), nullptr);
  const QImage image = _window->grab().toImage();
  EXPECT_EQ(image.pixel(200, 350), qRgb(255, 255, 255));
  EXPECT_EQ(image.pixel(5, 5), qRgb(255, 255, 255));
}

TEST_F(QtLightboxTest, ATapOnTheBackgroundTakesTheLightboxOffTheScreen) {
  present(kGreenPage);
  grabOncePainted();
  QWidget* background = dynamic_cast<QtView&>(*_lightbox->backgroundView()).widget();
  ASSERT_NE(background, nullptr);

  QTest::mouseClick(background, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));

  EXPECT_FALSE(_lightbox->isShown());
  EXPECT_EQ(_window->grab().toImage().pixel(5, 5), qRgb(255, 255, 255));
}

TEST_F(QtLightboxTest, TheHideTimerTakesTheLightboxOffTheScreenOnQtsEventLoop) {
  Parameters parameters = kGreenPage;
  parameters["hideTimer"] = {"1"};
  present(parameters);

  ASSERT_TRUE(testing::waitUntil([&] { return !_lightbox->isShown(); }));

  EXPECT_EQ(_lightbox->lightboxView()->superview(), nullptr);
  EXPECT_EQ(_window->grab().toImage().pixel(5, 5), qRgb(255, 255, 255));
}

}  // namespace
}  // namespace pelorin::qt

#include "qt_lightbox_test.moc"
