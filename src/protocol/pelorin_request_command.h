// One remote-procedure call of a request batch, the call identifiers, and the command's
// wire text: a compact JSON object whose "params" member is itself JSON text.
//
// Thread safety: plain values; build, serialise and drop a command on one thread.
#ifndef PELORIN_SRC_PROTOCOL_PELORIN_REQUEST_COMMAND_H_
#define PELORIN_SRC_PROTOCOL_PELORIN_REQUEST_COMMAND_H_

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/string_hash.h"
#include "pelorin/json_value.h"
#include "storage/pelorin_commit_log.h"

namespace pelorin {

// The identifiers of the commands of a batch; the server's answers are matched by them.
// Event commands count upwards from `events`.
enum class CallId : std::int64_t {
  profile = 0,
  addProperties = 1,
  setProperties = 2,
  getProperties = 3,
  interactions = 4,
  events = 5,
};

// The case with this raw value; nothing for a value below 0 or above 5.
std::optional<CallId> callIdFromRawValue(std::int64_t rawValue);
constexpr std::int64_t rawValue(CallId id) { return static_cast<std::int64_t>(id); }

// A parameter: a list of texts (simple commands), a commit entry (the add and set commands,
// flattened before sending), or any other JSON value.
using RequestParameter = std::variant<std::vector<std::string>, PelorinPropertyCommitEntry,
                                      PelorinEventCommitEntry, JsonValue>;

// A command's parameters: unique keys, kept in the order they were first set, which is the
// order they are written in.
class RequestParameters {
 public:
  using Entry = std::pair<std::string, RequestParameter>;

  RequestParameters() = default;
  RequestParameters(std::initializer_list<Entry> entries);
  // Property entries keyed by their property name (a later entry of a name replaces an
  // earlier one, at the earlier one's place). The second form moves the entries.
  static RequestParameters fromEntries(const std::vector<PelorinPropertyCommitEntry>& entries);
  static RequestParameters fromEntries(std::vector<PelorinPropertyCommitEntry>&& entries);

  // Sets `key` to `value`: in place when the key is there, else at the end.
  void set(std::string key, RequestParameter value);
  // The value of `key`, or nullptr. Valid until the parameters change.
  const RequestParameter* find(std::string_view key) const;

  bool empty() const { return _entries.empty(); }
  std::size_t size() const { return _entries.size(); }
  std::vector<Entry>::const_iterator begin() const { return _entries.begin(); }
  std::vector<Entry>::const_iterator end() const { return _entries.end(); }

  friend bool operator==(const RequestParameters& a, const RequestParameters& b) {
    return a._entries == b._entries;
  }

 private:
  void buildIndex();

  std::vector<Entry> _entries;
  // Position of each key, built by the first set() on parameters with many keys; until
  // then keys are searched in order.
  StringMap<std::size_t> _index;
};

class PelorinRequestCommand {
 public:
  // The call identifier is kept as decimal text ("5", "-1").
  PelorinRequestCommand(std::optional<std::string> methodName, std::int64_t callId,
                        std::optional<RequestParameters> parameters,
                        bool complexParameters = false);

  const std::optional<std::string>& methodName() const { return _methodName; }
  const std::optional<std::string>& callId() const { return _callId; }
  const std::optional<RequestParameters>& parameters() const { return _parameters; }
  bool complexParameters() const { return _complexParameters; }

  // The command as compact JSON, members in the order "method", "alt", "id", "params":
  //   {"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"}
  // "params" is left out when the parameters cannot be written (a commit entry in a simple
  // command, a text that is not UTF-8); the whole command is "" when it cannot be written.
  std::string toJson() const;

  // The value lists of the property commit entries, under their keys; every other value
  // is left out.
  static RequestParameters getValuesOfEntries(const RequestParameters& parameters);
  // Compact JSON text of an object; nothing for no object, one holding a commit entry (which
  // has no JSON form of its own), or one whose text would not be UTF-8.
  static std::optional<std::string> convertDataToJSON(const std::optional<RequestParameters>& data);
  static std::optional<std::string> convertDataToJSON(const std::optional<JsonValue>& data);

  friend bool operator==(const PelorinRequestCommand&, const PelorinRequestCommand&) = default;

 private:
  std::optional<std::string> _methodName;
  std::optional<std::string> _callId;
  std::optional<RequestParameters> _parameters;
  bool _complexParameters;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PROTOCOL_PELORIN_REQUEST_COMMAND_H_
