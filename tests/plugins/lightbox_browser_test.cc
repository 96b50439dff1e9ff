// Renders the lightbox's page template in headless Chromium and checks the screenshot's
// pixels: image-only content fills the lightbox keeping its proportions, text content is
// padded. Skipped when no Chromium is installed.
#include <png.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plugins/pl_lightbox.h"
#include "support/bitmap.h"
#include "support/chromium.h"
#include "support/temp_folder.h"

namespace pelorin {
namespace {

namespace fs = std::filesystem;
using testing::Bitmap;
using testing::Pixel;
using testing::readPng;
using testing::TempFolder;

constexpr int kWindowWidth = 390;  // a phone, in CSS pixels at scale 1
constexpr int kWindowHeight = 844;

bool writeSolidPng(const fs::path& file, int width, int height, png_byte red, png_byte green,
                   png_byte blue) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = PNG_FORMAT_RGB;
  std::vector<png_byte> pixels;
  for (int i = 0; i < width * height; ++i) pixels.insert(pixels.end(), {red, green, blue});
  return png_image_write_to_file(&image, file.c_str(), 0, pixels.data(), 0, nullptr) != 0;
}

// Runs Chromium on `page` and answers its screenshot.
std::optional<Bitmap> screenshot(const fs::path& chromium, const fs::path& folder,
                                 const fs::path& page) {
  const fs::path shot = folder / "screenshot.png";
  if (!testing::runChromium(
          chromium, folder,
          {"--window-size=" + std::to_string(kWindowWidth) + "," + std::to_string(kWindowHeight),
           "--screenshot=" + shot.string(), "file://" + page.string()})) {
    return std::nullopt;
  }
  if (!fs::exists(shot)) {
    ADD_FAILURE() << "chromium wrote no screenshot";
    return std::nullopt;
  }
  return readPng(shot);
}

bool isRed(Pixel p) { return p.red > 200 && p.green < 60 && p.blue < 60; }
bool isBlue(Pixel p) { return p.red < 60 && p.green < 60 && p.blue > 200; }

class LightboxBrowserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    _chromium = testing::findChromium();
    if (!_chromium) GTEST_SKIP() << testing::kChromiumSkipMessage;
    ASSERT_FALSE(_folder.path().empty());
  }

  // Renders the page that the lightbox builds for `content`.
  std::optional<Bitmap> render(const std::string& content) {
    const auto html = PLLightbox::constructHtml(content, std::nullopt, std::nullopt);
    if (!html) return std::nullopt;
    const fs::path page = fs::path(_folder.path()) / "page.html";
    std::ofstream(page) << *html;
    return screenshot(*_chromium, _folder.path(), page);
  }

  std::optional<fs::path> _chromium;
  TempFolder _folder;
};

TEST_F(LightboxBrowserTest, WideImageFillsTheLightboxWidthKeepingItsProportions) {
  ASSERT_TRUE(writeSolidPng(fs::path(_folder.path()) / "wide.png", 200, 100, 255, 0, 0));

  const auto bitmap = render("<img src=\"wide.png\">");

  ASSERT_TRUE(bitmap);
  const auto image = boundingBox(*bitmap, isRed);
  ASSERT_TRUE(image) << "the image is not on the page";
  // The page pads its content by 5 pixels: the image spans the width between the paddings.
  EXPECT_NEAR(image->left, 5, 1);
  EXPECT_NEAR(image->right, bitmap->width - 6, 1);
  // Proportions kept (2:1), and centred in the lightbox's height.
  EXPECT_NEAR(image->height(), image->width() / 2.0, 2);
  EXPECT_NEAR((image->top + image->bottom) / 2.0, 5 + bitmap->height / 2.0, 2);
}

TEST_F(LightboxBrowserTest, TallImageFillsTheLightboxHeightKeepingItsProportions) {
  ASSERT_TRUE(writeSolidPng(fs::path(_folder.path()) / "tall.png", 100, 400, 255, 0, 0));

  const auto bitmap = render("\n  <img src=\"tall.png\" alt=\"Spring sale\">\n");

  ASSERT_TRUE(bitmap);
  const auto image = boundingBox(*bitmap, isRed);
  ASSERT_TRUE(image) << "the image is not on the page";
  // As high as the lightbox (its last 5 pixels below the window), a quarter of that wide,
  // centred horizontally.
  EXPECT_NEAR(image->top, 5, 1);
  EXPECT_EQ(image->bottom, bitmap->height - 1);
  EXPECT_NEAR(image->width(), bitmap->height / 4.0, 2);
  EXPECT_NEAR((image->left + image->right) / 2.0, (bitmap->width - 1) / 2.0, 2);
}

TEST_F(LightboxBrowserTest, TextContentIsPaddedAndStaysAtTheTop) {
  const auto bitmap =
      render("<p style=\"background:#0000ff;color:#ffffff\">Spring sale: 20% off</p>");

  ASSERT_TRUE(bitmap);
  const auto paragraph = boundingBox(*bitmap, isBlue);
  ASSERT_TRUE(paragraph) << "the paragraph is not on the page";
  EXPECT_EQ(paragraph->left, 5);
  EXPECT_EQ(paragraph->top, 5);
  EXPECT_EQ(paragraph->right, bitmap->width - 6);
  EXPECT_LT(paragraph->height(), 100);
}

}  // namespace
}  // namespace pelorin
