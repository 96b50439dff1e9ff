// The library's own resources (images), embedded into the library when it is built.
//
// Thread safety: constant data; safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_LIBRARY_RESOURCES_H_
#define PELORIN_SRC_PLUGINS_LIBRARY_RESOURCES_H_

#include <optional>
#include <string_view>

#include "pelorin/platform/ui_types.h"

namespace pelorin::plugins {

// The image resource `name` of file type `type`, e.g. ("close", "png"), with the source
// "close.png"; nothing when the library has no such resource.
std::optional<platform::Image> libraryImage(std::string_view name, std::string_view type);

}  // namespace pelorin::plugins

#endif  // PELORIN_SRC_PLUGINS_LIBRARY_RESOURCES_H_
