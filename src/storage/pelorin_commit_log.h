// The commit log: profile changes and counted events made on the device and not yet
// confirmed by the server, in the order they were made.
//
// Thread safety: none of its own; the engine guards every log with the global lock.
#ifndef PELORIN_SRC_STORAGE_PELORIN_COMMIT_LOG_H_
#define PELORIN_SRC_STORAGE_PELORIN_COMMIT_LOG_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/chunked_vector.h"
#include "base/result.h"
#include "base/string_hash.h"
#include "pelorin/json_value.h"

namespace pelorin {

enum class OperationType { ADD, SET };
enum class EventType { CLICK, VIEW, CONVERSION };

std::string_view toString(OperationType type);
std::string_view toString(EventType type);
std::optional<OperationType> operationTypeFromString(std::string_view text);
std::optional<EventType> eventTypeFromString(std::string_view text);

class PelorinCommitEntry {
 public:
  explicit PelorinCommitEntry(std::string identifier) : _identifier(std::move(identifier)) {}
  const std::string& identifier() const { return _identifier; }

  friend bool operator==(const PelorinCommitEntry&, const PelorinCommitEntry&) = default;

 protected:
  std::string _identifier;
};

// A pending property change: its name, whether values are added or set, and the values.
class PelorinPropertyCommitEntry : public PelorinCommitEntry {
 public:
  PelorinPropertyCommitEntry(OperationType type, std::string name, std::vector<std::string> values)
      : PelorinCommitEntry(std::move(name)), _type(type), _values(std::move(values)) {}

  OperationType type() const { return _type; }
  const std::vector<std::string>& values() const { return _values; }

  friend bool operator==(const PelorinPropertyCommitEntry&,
                         const PelorinPropertyCommitEntry&) = default;

 private:
  friend class PelorinCommitLog;
  OperationType _type;
  std::vector<std::string> _values;
};

// A counted event: how often an event type happened for one interaction.
class PelorinEventCommitEntry : public PelorinCommitEntry {
 public:
  PelorinEventCommitEntry(EventType type, std::string interactionId, std::int64_t count)
      : PelorinCommitEntry(std::move(interactionId)), _type(type), _count(count) {}

  EventType type() const { return _type; }
  std::int64_t count() const { return _count; }

  friend bool operator==(const PelorinEventCommitEntry&, const PelorinEventCommitEntry&) = default;

 private:
  friend class PelorinCommitLog;
  EventType _type;
  std::int64_t _count;
};

// What a commit log stores: its entries and flag, without the name indexes. A copy of the
// log's entries that costs one handle per 256 entries (see ChunkedVector), taken under the
// global lock and encoded on the writer thread.
struct PelorinCommitLogSnapshot {
  ChunkedVector<PelorinPropertyCommitEntry> properties;
  ChunkedVector<PelorinEventCommitEntry> events;
  bool modified = false;

  // The stored form, as PelorinCommitLog::encode.
  JsonValue toJson() const;
  std::string encode() const;
};

class PelorinCommitLog {
 public:
  // Replaces the values of the property's entry (keeping its type), or appends a SET entry.
  // An empty name or an empty value list is ignored.
  void setProperties(std::string_view name, const std::vector<std::string>& values);
  // `setProperties(name, {value})`, without making the one-value list.
  void setProperty(std::string_view name, const std::string& value);
  // Appends the values the property's entry does not hold yet (keeping its type), or
  // appends an ADD entry with the values as given. An empty name or list is ignored.
  void addProperties(std::string_view name, const std::vector<std::string>& values);
  // Adds `amount` to the count of the (type, interaction) entry, or appends an entry whose
  // count is `amount` when that is 2 or more and 1 otherwise. Does not mark the log modified.
  void updateEvent(EventType type, std::string_view interactionId, std::int64_t amount);

  // The entries of one operation type, in log order (names are unique).
  std::vector<PelorinPropertyCommitEntry> getProperties(OperationType type) const;
  // The entry of a property; nullptr for none or an empty name. Valid until the log changes.
  const PelorinPropertyCommitEntry* getProperty(std::string_view name) const;
  // The entry of an event; nullptr for none. Valid until the log changes.
  const PelorinEventCommitEntry* getEvent(EventType type, std::string_view interactionId) const;

  // Moves every entry of `other` into this log: events first (counts added), then
  // properties (SET entries set, ADD entries added). `other` is left without entries.
  void merge(PelorinCommitLog& other);
  // Drops every entry; the modified flag stays as it is.
  void clearEntries();

  const ChunkedVector<PelorinPropertyCommitEntry>& properties() const { return _properties; }
  const ChunkedVector<PelorinEventCommitEntry>& events() const { return _events; }
  bool isEmpty() const { return _properties.empty() && _events.empty(); }
  bool isModified() const { return _modified; }
  void setModified(bool modified) { _modified = modified; }

  // The entries and flag as they are now, for encoding elsewhere; later changes of the log
  // do not reach it. Copies a handle per 256 entries. Takes exclusive use of the log.
  PelorinCommitLogSnapshot snapshot() const { return {_properties, _events, _modified}; }

  // The stored form: {"_properties": [...], "_events": [...], "_modified": bool}.
  JsonValue toJson() const;
  std::string encode() const;
  // Decodes the stored form; fails as a whole when a member is missing or mistyped.
  static Result<PelorinCommitLog> fromJson(JsonRef document);
  static Result<PelorinCommitLog> decode(std::string_view text);

  friend bool operator==(const PelorinCommitLog& a, const PelorinCommitLog& b) {
    return a._properties == b._properties && a._events == b._events && a._modified == b._modified;
  }

 private:
  static std::string eventKey(EventType type, std::string_view interactionId);
  void appendProperty(OperationType type, std::string_view name, std::vector<std::string> values);
  void appendEvent(EventType type, std::string_view interactionId, std::int64_t count);

  ChunkedVector<PelorinPropertyCommitEntry> _properties;
  ChunkedVector<PelorinEventCommitEntry> _events;
  bool _modified = false;
  // Position of the first entry of each property name and of each (type, interaction).
  StringMap<std::size_t> _propertyIndex;
  StringMap<std::size_t> _eventIndex;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_STORAGE_PELORIN_COMMIT_LOG_H_
