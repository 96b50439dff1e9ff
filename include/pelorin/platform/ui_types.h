// Small value types of the user-interface toolkit: geometry in points, colours, images.
// Plain values: safe to copy between threads.
#ifndef PELORIN_PLATFORM_UI_TYPES_H_
#define PELORIN_PLATFORM_UI_TYPES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "pelorin/export.h"

namespace pelorin::platform {

struct PELORIN_EXPORT Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct PELORIN_EXPORT Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct PELORIN_EXPORT Rect {
  Point origin;
  Size size;

  double width() const { return size.width; }
  double height() const { return size.height; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

// Components from 0 to 1.
struct PELORIN_EXPORT Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  static Color clear() { return Color{0, 0, 0, 0}; }
  friend bool operator==(const Color&, const Color&) = default;
};

// An image as the toolkit received it: where it came from (a resource name or an address)
// and its encoded bytes. The headless toolkit never decodes it.
struct PELORIN_EXPORT Image {
  std::string source;
  std::vector<std::uint8_t> data;
  friend bool operator==(const Image&, const Image&) = default;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_UI_TYPES_H_
