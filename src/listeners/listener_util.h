// Helpers shared by the listener plug-ins and their rule services: a rule's selector and
// words, the content test, the visible text under a selector, plug-in parameters, JSON
// text and time stamps.
//
// Thread safety: every operation is static and keeps no state. The operations that read
// the view tree (`getContent`, `applyToSubViews`) belong on the main thread, like the
// views they read.
#ifndef PELORIN_SRC_LISTENERS_LISTENER_UTIL_H_
#define PELORIN_SRC_LISTENERS_LISTENER_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/json_value.h"
#include "pelorin/pelorin_types.h"

namespace pelorin {

class Content;
class InteractionContext;
class ScreenReading;

namespace platform {
class View;
}  // namespace platform

// Where `getContent` finds the views of a screen. The client's current screen is the usual
// source (`getContent` without one); tests may give their own screens.
class ContentViews {
 public:
  virtual ~ContentViews() = default;
  // The root view of the current screen's view controller, for the selectors "any" and
  // "pre_header"; null when there is none.
  virtual std::shared_ptr<platform::View> rootView() const = 0;
  // The view that a selector such as "#price" names; null when it names none.
  virtual std::shared_ptr<platform::View> view(const std::string& selector) const = 0;
};

class ListenerUtil {
 public:
  static constexpr std::string_view LOG_TAG = "PL_LISTENER_UTIL";

  ListenerUtil() = delete;

  // The rule's "selector" member: "any" for the page-level selectors "pre_any", "pre_body"
  // and "pre_mobile" (exact spelling), any other string as it stands. Nothing when the rule
  // is missing or its selector is not a string.
  //
  //   getSelector(rule["clickarea"])  // {"selector": "pre_body"} gives "any"
  static std::optional<std::string> getSelector(JsonRef rule);

  // The rule's "words" when it is a non-empty array of strings, else ["pre_any"].
  static std::vector<std::string> getWords(JsonRef rule);
  // `words` when given and not empty, else ["pre_any"].
  static std::vector<std::string> getWords(const std::optional<std::vector<std::string>>& words);

  // Whether `content` satisfies the rule with the words `interests`, by the rule's
  // "containsmatches" mode ("contains" when missing): "empty" asks for no content at all;
  // "contains" for a word inside the joined, lower-cased content; "matches" for a word equal
  // to one content string (on a URL rule: to the whole joined content). Words and content
  // are compared trimmed and lower-cased; the words "pre_any" and "pre_header" match
  // anything.
  static bool contentContainsWord(JsonRef rule, const std::vector<std::string>& content,
                                  const std::vector<std::string>& interests);
  // The same on content read for a pass; `reading`, when given, lower-cases each word once
  // for the whole pass.
  static bool contentContainsWord(JsonRef rule, const Content& content,
                                  const std::vector<std::string>& interests,
                                  ScreenReading* reading);

  // The visible text under `selector` on the client's current screen: its view
  // controller's root view, or the view that `PelorinClient::getView` finds for the
  // selector, both read under the global lock. As the overload below.
  static std::vector<std::string> getContent(
      std::string_view selector, const std::optional<std::vector<std::string>>& context);
  // The visible text under `selector` on the screen that `views` shows: `context` itself
  // for "pre_context"; nothing for "jQuery(" selectors; the texts of the root view's tree
  // for "any" and "pre_header"; the texts under the view that `views` finds for the
  // selector otherwise. Duplicates collapse; the order is unspecified.
  static std::vector<std::string> getContent(std::string_view selector,
                                             const std::optional<std::vector<std::string>>& context,
                                             const ContentViews& views);

  // The texts of `root` and of every view under it, sorted byte-wise with duplicates
  // dropped (what `getContent` gives for a selector that names `root`).
  static std::vector<std::string> textsUnder(const platform::View& root);
  // The rank of each of `texts` among the distinct texts sorted byte-wise (equal texts
  // share one); `firsts` gets, for each rank, the position of one text of that rank.
  static std::vector<std::size_t> sortedRanks(const std::vector<std::string>& texts,
                                              std::vector<std::size_t>& firsts);
  // The client's current screen, as `getContent` without views reads it.
  static const ContentViews& clientViews();

  // Applies `operation` to `view` and to every view under it, and collects the strings it
  // gives. A null view gives an empty set.
  static std::set<std::string> applyToSubViews(
      const std::shared_ptr<platform::View>& view,
      const std::function<std::optional<std::string>(const platform::View&)>& operation);
  // The text of a view that has a text property, else nothing.
  static std::optional<std::string> textOf(const platform::View& view);

  // The first value of the parameter `key`; "" when the context is missing, the parameter
  // is missing or it has no values.
  static std::string getValueFromParameters(const InteractionContext* context,
                                            std::string_view key);
  static std::string getValueFromDictionary(const Parameters& dictionary, std::string_view key);

  // The parameter's first value decoded as JSON text, when it is an object (an array).
  static std::optional<JsonValue> getDictionaryFromParameters(std::string_view key,
                                                              const InteractionContext* context);
  static std::optional<JsonValue> getArrayFromParameters(std::string_view key,
                                                         const InteractionContext* context);

  // "profileproperty" of the first object of the JSON list in the parameter "property";
  // nothing when the parameter is missing, is not a list of objects whose members are all
  // strings, or the member is missing or "".
  static std::optional<std::string> getProfilePropertyFromParameters(const Parameters& parameters);

  // Parses JSON text whose top level is an array or an object. Any other text logs
  // "JSON error occurred: " + the reason (level "ERROR") and gives nothing.
  static std::optional<JsonValue> stringToJson(std::string_view text);

  // `value` as JSON text, indented or compact. A value whose top level is not an array or
  // an object, or that holds a number that is not finite, logs "Not a valid JSON object"
  // (level "WARNING") and gives "".
  static std::string JSONStringify(  // NOLINT(readability-identifier-naming): public name
      JsonRef value, bool prettyPrinted);

  // The platform clock's current time in whole milliseconds since 1970 (truncated).
  static std::int64_t currentTimeMillis();
  // The same as decimal text, e.g. "1714568531000".
  static std::string getCurrentTime();
  // Today's local date, stamped as midnight UTC of that date, in milliseconds since 1970.
  static std::string getCurrentDate();
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_LISTENER_UTIL_H_
