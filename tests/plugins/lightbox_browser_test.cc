// Renders the lightbox's page template in headless Chromium and checks the screenshot's
// pixels: image-only content fills the lightbox keeping its proportions, text content is
// padded. Skipped when no Chromium is installed.
#include <png.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plugins/pl_lightbox.h"
#include "support/chromium.h"

namespace pelorin {
namespace {

namespace fs = std::filesystem;

constexpr int kWindowWidth = 390;  // a phone, in CSS pixels at scale 1
constexpr int kWindowHeight = 844;

struct Bitmap {
  int width = 0;
  int height = 0;
  std::vector<png_byte> rgba;

  const png_byte* pixel(int x, int y) const {
    return &rgba[(static_cast<std::size_t>(y) * width + x) * 4];
  }
};

struct Box {
  int left = 0;
  int top = 0;
  int right = 0;  // inclusive
  int bottom = 0;
  int width() const { return right - left + 1; }
  int height() const { return bottom - top + 1; }
};

// A fresh folder, removed with everything in it at the end of the test.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "pelorin-lightbox-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) _path = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!_path.empty()) fs::remove_all(_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const fs::path& path() const { return _path; }

 private:
  fs::path _path;
};

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

std::optional<Bitmap> readPng(const fs::path& file) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, file.c_str()) == 0) return std::nullopt;
  image.format = PNG_FORMAT_RGBA;
  Bitmap bitmap;
  bitmap.width = static_cast<int>(image.width);
  bitmap.height = static_cast<int>(image.height);
  bitmap.rgba.resize(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, bitmap.rgba.data(), 0, nullptr) == 0) {
    png_image_free(&image);
    return std::nullopt;
  }
  return bitmap;
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

// The smallest box holding every pixel for which `matches` is true.
std::optional<Box> boundingBox(const Bitmap& bitmap,
                               const std::function<bool(const png_byte*)>& matches) {
  std::optional<Box> box;
  for (int y = 0; y < bitmap.height; ++y) {
    for (int x = 0; x < bitmap.width; ++x) {
      if (!matches(bitmap.pixel(x, y))) continue;
      if (!box) {
        box = Box{x, y, x, y};
      } else {
        box->left = std::min(box->left, x);
        box->right = std::max(box->right, x);
        box->top = std::min(box->top, y);
        box->bottom = std::max(box->bottom, y);
      }
    }
  }
  return box;
}

bool isRed(const png_byte* p) { return p[0] > 200 && p[1] < 60 && p[2] < 60; }
bool isBlue(const png_byte* p) { return p[0] < 60 && p[1] < 60 && p[2] > 200; }

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
    const fs::path page = _folder.path() / "page.html";
    std::ofstream(page) << *html;
    return screenshot(*_chromium, _folder.path(), page);
  }

  std::optional<fs::path> _chromium;
  TempFolder _folder;
};

TEST_F(LightboxBrowserTest, WideImageFillsTheLightboxWidthKeepingItsProportions) {
  ASSERT_TRUE(writeSolidPng(_folder.path() / "wide.png", 200, 100, 255, 0, 0));

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
  ASSERT_TRUE(writeSolidPng(_folder.path() / "tall.png", 100, 400, 255, 0, 0));

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
