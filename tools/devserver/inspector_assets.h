// The inspector page's files (index.html, inspector.css, inspector.js), built into the
// program from tools/devserver/inspector/.
//
// Thread safety: immutable data.
#ifndef PELORIN_TOOLS_DEVSERVER_INSPECTOR_ASSETS_H_
#define PELORIN_TOOLS_DEVSERVER_INSPECTOR_ASSETS_H_

#include <optional>
#include <string_view>

namespace pelorin::devserver {

// The file named `name` ("index.html", ...); nothing for any other name.
std::optional<std::string_view> inspectorAsset(std::string_view name);

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_INSPECTOR_ASSETS_H_
