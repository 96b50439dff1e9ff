#include "listeners/listener_util.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "base/text.h"
#include "config/pelorin_configuration.h"
#include "json/json_value_access.h"
#include "listeners/screen_reading.h"
#include "pelorin/interaction_context.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"

namespace pelorin {
namespace {

constexpr std::string_view kAny = "any";
constexpr std::string_view kPreAny = "pre_any";
constexpr std::string_view kPreHeader = "pre_header";

bool isUrlRule(std::string_view ruleType) {
  return ruleType == "scoreurl" || ruleType == "interesturl";
}

// A literal search: an empty text is found nowhere.
bool containsText(std::string_view text, std::string_view word) {
  // memmem: a screen's joined text runs to hundreds of kilobytes.
  return !word.empty() && ::memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
}

// True when every number in `value` is finite. Walks with an explicit stack, so a deeply
// nested value cannot exhaust the call stack.
bool allNumbersFinite(const boost::json::value& value) {
  std::vector<const boost::json::value*> pending{&value};
  while (!pending.empty()) {
    const boost::json::value* current = pending.back();
    pending.pop_back();
    if (const auto* d = current->if_double()) {
      if (!std::isfinite(*d)) return false;
    } else if (const auto* array = current->if_array()) {
      for (const auto& element : *array) pending.push_back(&element);
    } else if (const auto* object = current->if_object()) {
      for (const auto& member : *object) pending.push_back(&member.value());
    }
  }
  return true;
}

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
  std::int64_t quotient = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --quotient;
  return quotient;
}

// The client's current screen.
class ClientContentViews : public ContentViews {
 public:
  std::shared_ptr<platform::View> rootView() const override {
    return PelorinClient::synchronized([]() -> std::shared_ptr<platform::View> {
      auto controller = PelorinClient::getInstance().getViewController();
      return controller ? controller->rootView() : nullptr;
    });
  }
  std::shared_ptr<platform::View> view(const std::string& selector) const override {
    return PelorinClient::synchronized(
        [&] { return PelorinClient::getInstance().getView(selector); });
  }
};

}  // namespace

std::optional<std::string> ListenerUtil::getSelector(JsonRef rule) {
  std::optional<std::string> selector = rule["selector"].asString();
  if (!selector) return std::nullopt;
  if (*selector == "pre_any" || *selector == "pre_body" || *selector == "pre_mobile") {
    return std::string(kAny);
  }
  return selector;
}

std::vector<std::string> ListenerUtil::getWords(JsonRef rule) {
  return getWords(rule["words"].asStringList());
}

std::vector<std::string> ListenerUtil::getWords(
    const std::optional<std::vector<std::string>>& words) {
  if (!words || words->empty()) return {std::string(kPreAny)};
  return *words;
}

bool ListenerUtil::contentContainsWord(JsonRef rule, const std::vector<std::string>& content,
                                       const std::vector<std::string>& interests) {
  return contentContainsWord(rule, Content(content), interests, nullptr);
}

bool ListenerUtil::contentContainsWord(JsonRef rule, const Content& content,
                                       const std::vector<std::string>& interests,
                                       ScreenReading* reading) {
  const std::optional<std::string> modeText = rule["containsmatches"].asString();
  const std::string_view mode = modeText ? std::string_view(*modeText) : "contains";
  if (mode == "empty") return content.empty();
  if (interests.empty()) return false;

  const std::string& text = content.joinedLower();
  const bool urlRule = isUrlRule(rule["ruletype"].stringView());
  std::string ownWord;
  for (const std::string& interest : interests) {
    if (reading == nullptr) ownWord = text::toLower(text::trim(interest));
    const std::string& word = reading != nullptr ? reading->lowerWord(interest) : ownWord;
    if (word == kPreAny || word == kPreHeader) return true;
    if (urlRule) {
      if (mode == "contains" ? containsText(text, word) : text == word) return true;
      continue;
    }
    if (mode == "contains" && containsText(text, word)) return true;
    if (mode == "matches") {
      for (const std::string& element : content.lowerTexts()) {
        if (element == word) return true;
      }
    }
  }
  return false;
}

std::vector<std::string> ListenerUtil::getContent(
    std::string_view selector, const std::optional<std::vector<std::string>>& context) {
  return getContent(selector, context, ClientContentViews());
}

std::vector<std::string> ListenerUtil::getContent(
    std::string_view selector, const std::optional<std::vector<std::string>>& context,
    const ContentViews& views) {
  if (selector == "pre_context") return context.value_or(std::vector<std::string>());
  // Page-script selectors come from the web version of the rules; a screen has no page.
  if (selector.find("jQuery(") != std::string_view::npos) return {};
  std::shared_ptr<platform::View> root = (selector == kAny || selector == kPreHeader)
                                             ? views.rootView()
                                             : views.view(std::string(selector));
  if (!root) return {};
  // Every view once, its text kept; then sorted with duplicates dropped, in the order of a
  // set of the texts.
  std::vector<std::string> found;
  std::vector<const platform::View*> pending{root.get()};
  while (!pending.empty()) {
    const platform::View* current = pending.back();
    pending.pop_back();
    if (std::optional<std::string> text = textOf(*current)) found.push_back(*std::move(text));
    current->forEachSubview([&pending](platform::View& subview) { pending.push_back(&subview); });
  }
  // Sorted by reference, so the sort moves pointers rather than strings.
  std::vector<std::string*> order;
  order.reserve(found.size());
  for (std::string& text : found) order.push_back(&text);
  std::sort(order.begin(), order.end(),
            [](const std::string* a, const std::string* b) { return *a < *b; });
  std::vector<std::string> texts;
  texts.reserve(order.size());
  for (std::string* text : order) {
    if (texts.empty() || texts.back() != *text) texts.push_back(std::move(*text));
  }
  return texts;
}

std::set<std::string> ListenerUtil::applyToSubViews(
    const std::shared_ptr<platform::View>& view,
    const std::function<std::optional<std::string>(const platform::View&)>& operation) {
  std::set<std::string> results;
  if (!view) return results;
  // Depth first with an explicit stack: an app's view tree may be deep. The tree does not
  // change during the walk (main thread), so the views need no owning handles.
  std::vector<platform::View*> pending{view.get()};
  while (!pending.empty()) {
    platform::View* current = pending.back();
    pending.pop_back();
    if (std::optional<std::string> result = operation(*current)) results.insert(*std::move(result));
    const std::size_t first = pending.size();
    current->forEachSubview([&pending](platform::View& subview) { pending.push_back(&subview); });
    // Reversed, so the first subview is visited next.
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  }
  return results;
}

std::optional<std::string> ListenerUtil::textOf(const platform::View& view) {
  if (!view.hasTextProperty()) return std::nullopt;
  std::optional<std::string> value = view.text();
  // Text enters the library here as valid UTF-8, as the platform's strings always are.
  if (value) text::repairUtf8InPlace(*value);
  return value;
}

std::string ListenerUtil::getValueFromParameters(const InteractionContext* context,
                                                 std::string_view key) {
  if (context == nullptr) return "";
  return getValueFromDictionary(context->getParameters(), key);
}

std::string ListenerUtil::getValueFromDictionary(const Parameters& dictionary,
                                                 std::string_view key) {
  auto found = dictionary.find(std::string(key));
  if (found == dictionary.end() || found->second.empty()) return "";
  return found->second.front();
}

std::optional<JsonValue> ListenerUtil::getDictionaryFromParameters(
    std::string_view key, const InteractionContext* context) {
  // A missing parameter reads as "", which is decoded like any text (and logs its error).
  const std::string text = getValueFromParameters(context, key);
  std::optional<JsonValue> decoded = stringToJson(text);
  if (!decoded || !decoded->isObject()) return std::nullopt;
  return decoded;
}

std::optional<JsonValue> ListenerUtil::getArrayFromParameters(std::string_view key,
                                                              const InteractionContext* context) {
  const std::string text = getValueFromParameters(context, key);
  std::optional<JsonValue> decoded = stringToJson(text);
  if (!decoded || !decoded->isArray()) return std::nullopt;
  return decoded;
}

std::optional<std::string> ListenerUtil::getProfilePropertyFromParameters(
    const Parameters& parameters) {
  auto found = parameters.find("property");
  // An empty list or an empty decoded array is a configuration fault: nothing, not a crash.
  if (found == parameters.end() || found->second.empty()) return std::nullopt;
  std::optional<JsonValue> decoded = stringToJson(found->second.front());
  if (!decoded || !decoded->isArray() || decoded->empty()) return std::nullopt;
  for (const JsonRef& element : decoded->elements()) {
    if (!element.isObject()) return std::nullopt;
    for (const auto& [name, member] : element.members()) {
      if (!member.isString()) return std::nullopt;
    }
  }
  std::optional<std::string> property = decoded->at(0)["profileproperty"].asString();
  if (!property || property->empty()) return std::nullopt;
  return property;
}

std::optional<JsonValue> ListenerUtil::stringToJson(std::string_view text) {
  std::string error;
  std::optional<JsonValue> parsed = JsonValue::parse(text, &error);
  if (parsed && !parsed->isArray() && !parsed->isObject()) {
    // Only arrays and objects are accepted at the top level, as the rule texts are.
    parsed.reset();
    error = "JSON text did not start with array or object and option to allow fragments not set.";
  }
  if (!parsed) {
    PelorinConfiguration::log([&] { return "JSON error occurred: " + error; }, LOG_TAG,
                              LogFlag::ERROR);
  }
  return parsed;
}

std::string ListenerUtil::JSONStringify(JsonRef value, bool prettyPrinted) {
  if (!(value.isArray() || value.isObject()) || !allNumbersFinite(*rawJson(value))) {
    PelorinConfiguration::log("Not a valid JSON object", LOG_TAG, LogFlag::WARNING);
    return "";
  }
  return prettyPrinted ? value.toPrettyString() : value.toCompactString();
}

std::int64_t ListenerUtil::currentTimeMillis() {
  const auto sinceEpoch = Platform::current().clock().now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
}

std::string ListenerUtil::getCurrentTime() { return std::to_string(currentTimeMillis()); }

std::string ListenerUtil::getCurrentDate() {
  const platform::Clock& clock = Platform::current().clock();
  const auto now = clock.now();
  const std::int64_t offset = clock.toLocal(now).utcOffsetSeconds;
  const std::int64_t seconds =
      std::chrono::floor<std::chrono::seconds>(now.time_since_epoch()).count();
  constexpr std::int64_t kSecondsPerDay = 86400;
  // The local calendar date stamped as midnight UTC of that date: the offset is not taken
  // off again, so the server sees the device's date whatever its time zone.
  const std::int64_t day = floorDiv(seconds + offset, kSecondsPerDay) * kSecondsPerDay;
  return std::to_string(day * 1000);
}

}  // namespace pelorin
