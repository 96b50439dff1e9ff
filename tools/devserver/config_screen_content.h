// Screen content from a configuration: the interactions each screen (and each other event)
// starts, segments as rules over the visitor's properties, and the site's connections.
//
//   {
//     "screens": {"home": [{"pluginClass": "MyApp.Banner", "id": "i-1", ...}]},
//     "events": {"PAGEVIEW": [...], "newsletter": [...]},
//     "segments": [{"id": "s-utrecht", "name": "Utrecht",
//                   "when": {"property": "city", "equals": "Utrecht"}}],
//     "connections": [{"id": "crm", "parameters": [{"parameter": [{"id": "k", "value": ["v"]}]}]}]
//   }
//
// Interactions and connections are handed to the client exactly as written. The format is
// described in tools/devserver/README.md.
//
// Thread safety: immutable after construction; `resultFor` may be called from any thread.
#ifndef PELORIN_TOOLS_DEVSERVER_CONFIG_SCREEN_CONTENT_H_
#define PELORIN_TOOLS_DEVSERVER_CONFIG_SCREEN_CONTENT_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "devserver/rpc_service.h"
#include "pelorin/json_value.h"

namespace pelorin::devserver {

class ConfigScreenContent : public ScreenContent {
 public:
  // Reads a configuration object. An error names the first member that is not as the
  // format wants it, e.g. "screens.home[1]: an interaction must be an object".
  static Result<std::unique_ptr<ConfigScreenContent>> fromJson(JsonRef config);
  // Reads the configuration from a JSON file.
  static Result<std::unique_ptr<ConfigScreenContent>> fromFile(const std::string& path);

  // For an event of type T on screen S: the interactions of S when T is "PAGEVIEW",
  // followed by those of T; the segments whose rules the profile's properties meet; all
  // connections.
  JsonValue resultFor(const PageView& pageView) const override;

 private:
  // One condition over a property's values.
  struct Rule {
    enum class Kind { kEquals, kContains, kExists };
    std::string property;
    Kind kind = Kind::kEquals;
    std::string text;  // for kEquals and kContains
    bool exists = true;
    bool holds(const Parameters& properties) const;
  };
  struct Segment {
    std::string id;
    std::string name;
    std::vector<Rule> rules;  // all must hold; none: every visitor
  };

  ConfigScreenContent() = default;

  static std::optional<Error> readInteractions(JsonRef lists, const std::string& path,
                                               std::map<std::string, JsonValue, std::less<>>& out);
  static Result<Segment> readSegment(JsonRef segment, const std::string& path);
  static Result<Rule> readRule(JsonRef rule, const std::string& path);

  std::map<std::string, JsonValue, std::less<>> _screens;  // each an array of interactions
  std::map<std::string, JsonValue, std::less<>> _events;   // each an array of interactions
  std::vector<Segment> _segments;
  JsonValue _connections = JsonValue::array();
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_CONFIG_SCREEN_CONTENT_H_
