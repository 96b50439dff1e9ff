// What a plug-in receives besides the client: the identity, position and dialogue of its
// interaction and its parameters in the chosen locale.
//
// Thread safety: a context is built on the library's side and then read by its plug-in on
// the main thread; it is not changed after construction.
#ifndef PELORIN_INTERACTION_CONTEXT_H_
#define PELORIN_INTERACTION_CONTEXT_H_

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "pelorin/export.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_segment.h"
#include "pelorin/pelorin_types.h"

namespace pelorin {

namespace platform {
class View;
class ViewController;
}  // namespace platform

class PELORIN_EXPORT InteractionContext {
 public:
  static constexpr std::string_view LOG_TAG = "PL_INTERACTION";

  InteractionContext() = default;
  // Reads "id", "name", "myInteractionTypeId", "myPluginType", "dialogueId", "dialogueName",
  // "position", "positionName" and "defaultLocale" (each only when a string) and chooses the
  // parameters of `locale` (or of the default locale) among the "parameters" entries.
  InteractionContext(JsonRef interaction, std::weak_ptr<platform::ViewController> context,
                     std::optional<std::string> locale);

  const std::optional<std::string>& getInteractionId() const { return _id; }
  const std::optional<std::string>& getInteractionName() const { return _name; }
  const std::optional<std::string>& getInteractionTypeId() const { return _typeId; }
  const std::optional<std::string>& getPluginType() const { return _pluginType; }
  const std::optional<std::string>& getDialogueId() const { return _dialogueId; }
  const std::optional<std::string>& getDialogueName() const { return _dialogueName; }
  const std::optional<std::string>& getPositionIdentifier() const { return _positionIdentifier; }
  const std::optional<std::string>& getPositionName() const { return _positionName; }
  const std::optional<std::string>& getLocale() const { return _locale; }
  const std::optional<std::string>& getDefaultLocale() const { return _defaultLocale; }
  const Parameters& getParameters() const { return _parameters; }
  // The view controller of the screen the interaction was made for, while it exists.
  std::shared_ptr<platform::ViewController> getViewController() const { return _context.lock(); }

  // The first value of a parameter; nothing when it is missing, has no values or is "".
  std::optional<std::string> getValueFromParameters(std::string_view key) const;

  // The first connection of the last page view with exactly this id; nothing for an empty
  // id or no match. Makes this context's view controller (while it exists) the client's
  // current screen, as obtaining the client with it does. Takes the global lock.
  std::optional<Connection> getConnection(std::string_view id) const;
  // The view at the interaction's position: the client's "#" view lookup of the position
  // identifier (e.g. "#banner") on this context's view controller, which becomes the
  // current screen. Nothing without a position, once the controller is gone, or when the
  // controller has no view under that name. Takes the global lock; call it on the main
  // thread, like every toolkit access.
  std::shared_ptr<platform::View> getView() const;

  // The "parameter" list of the entry for `locale`, falling back to the default locale and
  // then to the first entry's locale, with a warning for each fallback.
  JsonRef getLocaleDictionary(JsonRef entries, const std::string& locale) const;

 private:
  JsonRef selectLocale(JsonRef entries, const std::string& wanted,
                       std::set<std::string>& tried) const;

  std::optional<std::string> _id;
  std::optional<std::string> _name;
  std::optional<std::string> _typeId;
  std::optional<std::string> _pluginType;
  std::optional<std::string> _dialogueId;
  std::optional<std::string> _dialogueName;
  Parameters _parameters;
  std::weak_ptr<platform::ViewController> _context;
  std::optional<std::string> _positionIdentifier;
  std::optional<std::string> _positionName;
  std::optional<std::string> _locale;
  std::optional<std::string> _defaultLocale;
};

}  // namespace pelorin

#endif  // PELORIN_INTERACTION_CONTEXT_H_
