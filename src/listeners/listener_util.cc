#include "listeners/listener_util.h"

#include <algorithm>
#include <array>
#include <bit>
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
class ClientContentViews final : public ContentViews {
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

const ContentViews& ListenerUtil::clientViews() {
  static const ClientContentViews views;
  return views;
}

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

  const bool urlRule = isUrlRule(rule["ruletype"].stringView());
  std::string ownWord;
  for (const std::string& interest : interests) {
    if (reading == nullptr) ownWord = text::toLower(text::trim(interest));
    const std::string& word = reading != nullptr ? reading->lowerWord(interest) : ownWord;
    if (word == kPreAny || word == kPreHeader) return true;
    if (urlRule) {
      if (mode == "contains" ? content.joinedLowerContains(word) : content.joinedLower() == word) {
        return true;
      }
      continue;
    }
    if (mode == "contains" && content.joinedLowerContains(word)) return true;
    if (mode == "matches" && content.hasLowerText(word)) return true;
  }
  return false;
}

std::vector<std::string> ListenerUtil::getContent(
    std::string_view selector, const std::optional<std::vector<std::string>>& context) {
  return getContent(selector, context, clientViews());
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
  return textsUnder(*root);
}

std::vector<std::string> ListenerUtil::textsUnder(const platform::View& root) {
  // Every view once, its text kept; then sorted with duplicates dropped, in the order of a
  // set of the texts.
  std::vector<std::string> found;
  std::vector<const platform::View*> pending{&root};
  while (!pending.empty()) {
    const platform::View* current = pending.back();
    pending.pop_back();
    if (std::optional<std::string> text = textOf(*current)) found.push_back(*std::move(text));
    current->forEachSubview([&pending](platform::View& subview) { pending.push_back(&subview); });
  }
  std::vector<std::size_t> firsts;
  sortedRanks(found, firsts);
  std::vector<std::string> texts;
  texts.reserve(firsts.size());
  for (std::size_t index : firsts) texts.push_back(std::move(found[index]));
  return texts;
}

std::vector<std::size_t> ListenerUtil::sortedRanks(const std::vector<std::string>& texts,
                                                   std::vector<std::size_t>& firsts) {
  // Each text's first 16 bytes as two big-endian numbers, padded with zero bytes, and its
  // length: numbers that differ order their texts as the byte-wise comparison does (a
  // padded zero byte is below any byte that follows a shorter text's end), and texts of up
  // to 16 bytes with equal numbers differ only by trailing zero bytes, the shorter first.
  // Only longer texts with equal numbers compare the texts themselves.
  constexpr std::size_t kKeyBytes = 16;
  struct Keyed {
    std::uint64_t first;
    std::uint64_t second;
    std::uint32_t size;  // kKeyBytes + 1 for any longer text
    std::uint32_t index;
  };
  auto word = [](const std::string& text, std::size_t offset) {
    std::uint64_t value = 0;
    if (offset + 8 <= text.size()) {
      std::memcpy(&value, text.data() + offset, sizeof value);
      return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
    }
    for (std::size_t i = 0; i < 8; ++i) {
      const std::size_t at = offset + i;
      value = (value << 8U) | (at < text.size() ? static_cast<unsigned char>(text[at]) : 0U);
    }
    return value;
  };
  std::vector<Keyed> keyed;
  keyed.reserve(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string& text = texts[i];
    keyed.push_back(Keyed{word(text, 0), word(text, 8),
                          static_cast<std::uint32_t>(std::min(text.size(), kKeyBytes + 1)),
                          static_cast<std::uint32_t>(i)});
  }
  auto less = [&texts](const Keyed& a, const Keyed& b) {
    if (a.first != b.first) return a.first < b.first;
    if (a.second != b.second) return a.second < b.second;
    if (a.size <= kKeyBytes && b.size <= kKeyBytes) return a.size < b.size;
    return texts[a.index] < texts[b.index];
  };
  // By the first 8 bytes with a radix sort, a byte at a time from the last (positions
  // where every text has the same byte are skipped), then each run of texts whose first 8
  // bytes are equal by the comparison above.
  std::vector<Keyed> other(keyed.size());
  std::array<std::size_t, 257> counts{};
  for (std::size_t position = 8; position-- > 0;) {
    auto byteOf = [position](const Keyed& entry) {
      return static_cast<std::size_t>((entry.first >> (8U * (7U - position))) & 0xFFU);
    };
    counts.fill(0);
    for (const Keyed& entry : keyed) ++counts[byteOf(entry) + 1];
    if (std::any_of(counts.begin(), counts.end(),
                    [&](std::size_t n) { return n == keyed.size(); })) {
      continue;
    }
    for (std::size_t i = 1; i < counts.size(); ++i) counts[i] += counts[i - 1];
    for (const Keyed& entry : keyed) other[counts[byteOf(entry)]++] = entry;
    keyed.swap(other);
  }
  for (std::size_t start = 0; start < keyed.size();) {
    std::size_t end = start + 1;
    while (end < keyed.size() && keyed[end].first == keyed[start].first) ++end;
    if (end - start > 1) {
      std::sort(keyed.begin() + static_cast<std::ptrdiff_t>(start),
                keyed.begin() + static_cast<std::ptrdiff_t>(end), less);
    }
    start = end;
  }
  std::vector<std::size_t> rank(texts.size());
  firsts.clear();
  for (std::size_t i = 0; i < keyed.size(); ++i) {
    if (i == 0 || less(keyed[i - 1], keyed[i])) firsts.push_back(keyed[i].index);
    rank[keyed[i].index] = firsts.size() - 1;
  }
  return rank;
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
