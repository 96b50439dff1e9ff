#include "plugins/library_resources.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace pelorin {
namespace resources {

// Generated from src/plugins/resources/close.png (see cmake/PelorinResources.cmake).
extern const std::uint8_t kClosePng[];
extern const std::size_t kClosePngSize;

}  // namespace resources

namespace plugins {

std::optional<platform::Image> libraryImage(std::string_view name, std::string_view type) {
  if (name != "close" || type != "png") return std::nullopt;
  platform::Image image;
  image.source = std::string(name) + "." + std::string(type);
  image.data.assign(resources::kClosePng, resources::kClosePng + resources::kClosePngSize);
  return image;
}

}  // namespace plugins
}  // namespace pelorin
