#include "pelorin/interaction_context.h"

#include "base/describe.h"
#include "base/text.h"
#include "config/pelorin_configuration.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

bool isBlank(std::string_view text) { return text::trim(text).empty(); }

}  // namespace

InteractionContext::InteractionContext(JsonRef interaction,
                                       std::weak_ptr<platform::ViewController> context,
                                       std::optional<std::string> locale)
    : _id(interaction["id"].asString()),
      _name(interaction["name"].asString()),
      _typeId(interaction["myInteractionTypeId"].asString()),
      _pluginType(interaction["myPluginType"].asString()),
      _dialogueId(interaction["dialogueId"].asString()),
      _dialogueName(interaction["dialogueName"].asString()),
      _context(std::move(context)),
      _positionIdentifier(interaction["position"].asString()),
      _positionName(interaction["positionName"].asString()),
      _locale(std::move(locale)),
      _defaultLocale(interaction["defaultLocale"].asString()) {
  // A list of locale entries only when every element is one (an object).
  JsonRef entries = interaction["parameters"];
  if (!entries.isArrayOfObjects()) entries = JsonRef();
  if (_locale && !isBlank(*_locale)) {
    _parameters =
        PelorinConfiguration::parametersToDictionary(getLocaleDictionary(entries, *_locale));
  } else if (_defaultLocale) {
    _parameters =
        PelorinConfiguration::parametersToDictionary(getLocaleDictionary(entries, *_defaultLocale));
  }
}

std::optional<std::string> InteractionContext::getValueFromParameters(std::string_view key) const {
  // The first string of the parameter's value; "" is a string like any other.
  auto it = _parameters.find(std::string(key));
  if (it == _parameters.end() || it->second.empty()) return std::nullopt;
  return it->second.front();
}

std::optional<Connection> InteractionContext::getConnection(std::string_view id) const {
  if (id.empty()) return std::nullopt;
  return PelorinClient::synchronized([&]() -> std::optional<Connection> {
    for (auto& connection : PelorinClient::getInstance(_context.lock()).getConnections()) {
      if (connection.getId() == id) return std::move(connection);
    }
    return std::nullopt;
  });
}

std::shared_ptr<platform::View> InteractionContext::getView() const {
  if (!_positionIdentifier) return nullptr;
  // The facade with this context's screen made current; when that screen is gone, the
  // current one stays. One locked step, so no other thread changes it in between.
  return PelorinClient::synchronized(
      [&] { return PelorinClient::getInstance(_context.lock()).getView(*_positionIdentifier); });
}

JsonRef InteractionContext::getLocaleDictionary(JsonRef entries, const std::string& locale) const {
  std::set<std::string> tried;
  return selectLocale(entries, locale, tried);
}

JsonRef InteractionContext::selectLocale(JsonRef entries, const std::string& wanted,
                                         std::set<std::string>& tried) const {
  tried.insert(wanted);
  std::vector<std::string> locales;
  for (JsonRef entry : entries.elements()) {
    if (auto locale = entry["locale"].asString()) locales.push_back(std::move(*locale));
  }
  for (JsonRef entry : entries.elements()) {
    if (entry["locale"].stringView() == wanted && entry["locale"].isString() &&
        entry["parameter"].isArrayOfObjects()) {
      PelorinConfiguration::log("Locale used: " + wanted, LOG_TAG, LogFlag::INFO);
      return entry["parameter"];
    }
  }
  // Each fallback locale is tried once: an entry whose locale matches but whose parameters
  // are unusable would otherwise send the fallbacks round in a circle.
  if (_defaultLocale && *_defaultLocale != wanted && !tried.count(*_defaultLocale)) {
    PelorinConfiguration::log("The locale '" + wanted + "' doesn't exists, using default locale '" +
                                  *_defaultLocale + "' instead. Based on all locales '" +
                                  describe(locales) + "'",
                              LOG_TAG, LogFlag::WARNING);
    return selectLocale(entries, *_defaultLocale, tried);
  }
  if (auto first = entries[0]["locale"].asString()) {
    if (!tried.count(*first)) {
      PelorinConfiguration::log("The default locale '" + wanted +
                                    "' is not valid, using the first valid locale '" + *first +
                                    "' instead. Based on all locales: " + describe(locales),
                                LOG_TAG, LogFlag::WARNING);
      return selectLocale(entries, *first, tried);
    }
    PelorinConfiguration::log("No usable parameters for the locale '" + wanted + "'", LOG_TAG,
                              LogFlag::WARNING);
    return JsonRef();
  }
  PelorinConfiguration::log("The plugin doesn't contain any locales.", LOG_TAG, LogFlag::INFO);
  return JsonRef();
}

}  // namespace pelorin
