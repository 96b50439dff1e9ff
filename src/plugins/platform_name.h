// Marketing names of device models, e.g. "iPhone X" for the model identifier "iPhone10,3".
//
// Thread safety: a constant table; safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_PLATFORM_NAME_H_
#define PELORIN_SRC_PLUGINS_PLATFORM_NAME_H_

#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace pelorin::plugins {

// The marketing name of a model identifier; an identifier the table does not know is
// returned unchanged. Both simulator architectures ("i386", "x86_64") give "Simulator".
std::string getPlatformName(std::string_view identifier);

// The table behind it: 68 pairs of model identifier and name, in lookup order.
std::span<const std::pair<std::string_view, std::string_view>> platformNames();

}  // namespace pelorin::plugins

#endif  // PELORIN_SRC_PLUGINS_PLATFORM_NAME_H_
