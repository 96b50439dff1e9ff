// The connector: carries one batch of commands to the server and hands back the answers
// keyed by call identifier; its static builders make the commands of a batch.
//
//   PelorinConnector connector(userName, mobileSessionId);
//   auto [answers, error] = connector.execute(url, commands, screenName);
//   if (answers) { JsonRef profile = answers->at("0").ref(); ... }
//
// Thread safety: the builders are pure functions, safe from any thread. A connector object
// serves one operation on one thread: `execute` blocks that thread (never the main thread)
// for up to the response wait per request.
#ifndef PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_
#define PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"
#include "base/string_hash.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/http.h"
#include "protocol/pelorin_request_command.h"
#include "storage/pelorin_commit_log.h"

namespace pelorin {

class PelorinConnector {
 public:
  static constexpr std::string_view LOG_TAG = "PL_CONNECTOR";
  // The stored retry limit. The retry and redirect decisions compare with
  // RETRY_AND_REDIRECT_LIMIT instead; the two differ on purpose and both are kept.
  static constexpr int MAX_RETRIES = 3;
  // Redirects and retries one connector makes in all after its first request (so at most
  // five requests per operation).
  static constexpr int RETRY_AND_REDIRECT_LIMIT = 4;
  // The time-out of each HTTP request.
  static constexpr std::chrono::seconds REQUEST_TIMEOUT{30};

  // The connector's own error.
  enum class Error {
    MaxRetriesReached,  // NOLINT(readability-identifier-naming): the system's own name
  };
  // The body of an answer could not be parsed: the parser's message.
  struct ParseError {
    std::string message;
  };
  // Why an exchange produced no answers: the connector's own error, a transport error, or
  // the parser's.
  using ExchangeError = std::variant<Error, platform::HttpError, ParseError>;
  // The server's answer object for each command, by call identifier ("0", "3", ...).
  using ResponseMap = StringMap<JsonValue>;
  // What `execute` gives: answers, or an error, or neither (an answer with a status other
  // than 200, an empty answer, a body that is not a JSON array, a URL that is not valid).
  struct ExchangeResult {
    std::optional<ResponseMap> response;
    std::optional<ExchangeError> error;
  };

  // A connector for one operation. `userName` and `mobileSessionId` mark a connection to
  // the simulator when both are present and not empty. `responseWait` is how long each
  // request is waited for: the platform's `responseWait()` (10 seconds) when not given.
  PelorinConnector(std::optional<std::string> userName, std::optional<std::string> mobileSessionId,
                   std::optional<std::chrono::milliseconds> responseWait = std::nullopt);

  // Posts `calls` to `url` (the query is added when `url` ends in "?") and gives the server's
  // answers by call identifier. Follows redirects and retries a lost connection, up to
  // RETRY_AND_REDIRECT_LIMIT times in all; then fails with Error::MaxRetriesReached.
  // Blocks the calling thread.
  ExchangeResult execute(const std::string& url, const std::vector<PelorinRequestCommand>& calls,
                         const std::optional<std::string>& screenName);
  // The redirect step: `execute` again with `url`, while the limit allows.
  ExchangeResult executeRedirect(const std::string& url,
                                 const std::vector<PelorinRequestCommand>& calls,
                                 const std::optional<std::string>& screenName);
  // The retry step after a lost connection: `execute` again with `url`, while the limit
  // allows.
  ExchangeResult executeFailure(const std::string& url,
                                const std::vector<PelorinRequestCommand>& calls,
                                const std::optional<std::string>& screenName);

  // The POST request of a batch; nothing when `url` is not a valid URL.
  std::optional<platform::HttpRequest> createRequest(
      const std::string& url, const std::vector<PelorinRequestCommand>& calls,
      const std::optional<std::string>& screenName) const;
  // The query: "overruleReferrer=<package>", the simulator data, the time.
  std::string getPostParameters() const;
  // `text` + "&username=<user>&mobileSessionId=<session>" when both are present and not
  // empty; `text` otherwise.
  std::string addSimulatorData(std::string text) const;
  // `text` + "&time=<hour>:<minute>" in local time, without leading zeros ("9:5").
  static std::string addTime(std::string text);
  // "[" + each command's JSON, joined by "," + "]".
  static std::string getPostData(const std::vector<PelorinRequestCommand>& calls);
  // The answers in a response body (optionally wrapped as "pl_json(...)"): each object
  // element with a text "id", by that id, a later one replacing an earlier one. Nothing
  // when the JSON is not an array; the parser's error when it is not JSON (or not UTF-8),
  // or when parsing would take more than `memoryLimit` bytes.
  static Result<std::optional<ResponseMap>> parseResponse(
      std::string_view data,
      std::size_t memoryLimit = answerMemoryLimit(platform::HttpClient::kDefaultMaxAnswerSize));
  // What parsing an answer may take, in bytes, for an HTTP client that reads answers of up
  // to `maxAnswerSize` bytes: twice that.
  static constexpr std::size_t answerMemoryLimit(std::size_t maxAnswerSize) {
    return maxAnswerSize > SIZE_MAX / 2 ? SIZE_MAX : 2 * maxAnswerSize;
  }

  // Waits (at most REQUEST_TIMEOUT) for the request that a connector last stopped waiting
  // for to end, then forgets it, so the next connector does not wait for it. For a test's
  // reset of the client.
  static void waitForAbandonedRequest();

  // What the engine logs after "reason: ".
  static std::string describe(const ExchangeError& error);
  // Whether `text` is a URL (absolute or relative) as the URL-loading system accepts one.
  static bool isValidUrl(std::string_view text);

  int retryCount() const { return _retryCount; }
  std::chrono::milliseconds responseWait() const { return _responseWait; }
  const std::optional<platform::HttpRequest>& originalRequest() const { return _originalRequest; }

  // ---- Command builders (pelorin_command_builders.cc) -------------------------------------

  // "getProfile" with "forceCreate": ["true"]; the engine passes id 0.
  static PelorinRequestCommand getProfileCommand(std::int64_t callId);
  // "createEvent" asking for the interactions of a screen: "type": [eventType],
  // "interaction": [] and, when `properties` is an object that converts, "timelineContext":
  // [its compact JSON text]. The engine passes id 4.
  static PelorinRequestCommand getInteractionCommand(std::int64_t callId,
                                                     std::string_view eventType,
                                                     const std::optional<JsonValue>& properties);
  // "createEvent" of a logged event: "type": ["CLICK" | "VIEW" | "CONVERSION"],
  // "interaction": [interactionId].
  static PelorinRequestCommand getEventCommand(std::int64_t id, EventType eventType,
                                               std::string_view interactionId);
  // "getProperties" with "hash": [hash], or with no parameters at all ("params" "{}") when
  // there is no hash. The engine passes id 3.
  static PelorinRequestCommand getGetPropertiesCommand(std::int64_t callId,
                                                       const std::optional<std::string>& hash);
  // The commands of an update batch: "getProfile" (id 0); "addProperties" (id 1) and
  // "setProperties" (id 2) when they have entries; then, for each event entry, `_count`
  // "createEvent" commands with ids 5, 6, ... The ids start again at 5 for every entry, so
  // two entries both send id "5": the server answers each and the last answer of an id is
  // kept. The engine bounds the counts it hands in (see the engine's batch limit).
  static std::vector<PelorinRequestCommand> setUpdateCommand(
      RequestParameters addProperties, RequestParameters setProperties,
      const std::vector<PelorinEventCommitEntry>& events);

 private:
  std::optional<std::string> _mobileSessionId;
  std::optional<std::string> _userName;
  std::optional<platform::HttpRequest> _originalRequest;  // the last request sent
  // The latest exchange. `_data` is cleared as each exchange starts; the others keep their
  // values when no answer comes within the wait.
  std::optional<std::string> _data;
  std::optional<platform::HttpError> _error;
  std::optional<platform::HttpResponse> _response;
  int _retryCount = 0;  // redirects and retries made so far
  std::chrono::milliseconds _responseWait;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_
