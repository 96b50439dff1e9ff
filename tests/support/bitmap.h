// Screenshots checked by their pixels: a picture in memory, the box that the pixels of one
// colour span, and reading a PNG file (libpng; link PNG::PNG to use `readPng`).
#ifndef PELORIN_TESTS_SUPPORT_BITMAP_H_
#define PELORIN_TESTS_SUPPORT_BITMAP_H_

#include <png.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace pelorin::testing {

struct Pixel {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
};

// A rectangle of pixels, its right and bottom edges included.
struct Box {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  int width() const { return right - left + 1; }
  int height() const { return bottom - top + 1; }
};

// Pixels in rows from the top, four bytes each (red, green, blue, alpha).
struct Bitmap {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgba;

  Pixel pixel(int x, int y) const {
    const std::uint8_t* p = &rgba[(static_cast<std::size_t>(y) * width + x) * 4];
    return Pixel{p[0], p[1], p[2]};
  }
  Box bounds() const { return Box{0, 0, width - 1, height - 1}; }
};

// The smallest box holding every pixel of `area` for which `matches(Pixel)` is true.
template <typename Matches>
std::optional<Box> boundingBox(const Bitmap& bitmap, const Box& area, Matches matches) {
  std::optional<Box> box;
  for (int y = area.top; y <= area.bottom; ++y) {
    for (int x = area.left; x <= area.right; ++x) {
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

template <typename Matches>
std::optional<Box> boundingBox(const Bitmap& bitmap, Matches matches) {
  return boundingBox(bitmap, bitmap.bounds(), matches);
}

// How many pixels of `area` match.
template <typename Matches>
int countMatching(const Bitmap& bitmap, const Box& area, Matches matches) {
  int n = 0;
  for (int y = area.top; y <= area.bottom; ++y) {
    for (int x = area.left; x <= area.right; ++x) n += matches(bitmap.pixel(x, y)) ? 1 : 0;
  }
  return n;
}

inline std::optional<Bitmap> readPng(const std::filesystem::path& file) {
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

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_BITMAP_H_
