// The exchange of PelorinConnector: request, query, body, redirects, retries, answers.
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "config/constants.h"
#include "config/pelorin_configuration.h"
#include "json/bounded_parse.h"
#include "json/json_value_access.h"
#include "json/utf8.h"
#include "pelorin/platform/platform.h"
#include "protocol/pelorin_connector.h"

namespace pelorin {
namespace {

using platform::CookieAcceptPolicy;
using platform::HttpRequest;
using platform::HttpResult;
using platform::UrlError;

constexpr std::string_view kJsonpPrefix = "pl_json(";

void logLine(std::string_view message, std::string_view flag = LogFlag::INFO) {
  PelorinConfiguration::log(message, PelorinConnector::LOG_TAG, flag);
}

// One request's answer, shared with the HTTP client's completion: a completion that comes
// after the wait writes here, never into a connector that may be gone.
struct Exchange {
  std::mutex mutex;
  std::condition_variable arrived;
  bool done = false;  // guarded by mutex
  HttpResult result;  // guarded by mutex
};

// The last request whose answer a connector stopped waiting for. It may still reach the
// server, and a later batch must not overtake it there: applied after a newer batch, its
// older values would replace the newer ones. Connectors live for one operation and the
// engine runs one at a time, so one slot is enough. Never destroyed: the operation thread
// may use it while the process exits.
struct AbandonedExchange {
  std::mutex mutex;
  std::shared_ptr<Exchange> exchange;  // guarded by mutex
};

AbandonedExchange& abandoned() {
  static auto* slot = new AbandonedExchange();
  return *slot;
}

// Waits until the abandoned request has ended, at most `limit` (the request's own time-out,
// after which the HTTP client ends it).
void waitForAbandonedExchange(std::chrono::milliseconds limit) {
  std::shared_ptr<Exchange> earlier;
  {
    std::lock_guard<std::mutex> lock(abandoned().mutex);
    earlier = abandoned().exchange;
  }
  if (!earlier) return;
  {
    std::unique_lock<std::mutex> lock(earlier->mutex);
    if (!earlier->done) {
      logLine("Waiting for an earlier request to Pelorin to end");
      earlier->arrived.wait_for(lock, limit, [&] { return earlier->done; });
    }
  }
  std::lock_guard<std::mutex> lock(abandoned().mutex);
  if (abandoned().exchange == earlier) abandoned().exchange.reset();
}

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The characters a URL may hold as they are (RFC 3986: unreserved, reserved, "%").
bool isUrlCharacter(char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  return std::string_view("-._~:/?#[]@!$&'()*+,;=%").find(c) != std::string_view::npos;
}

// `["User-Agent": "...", "referer": "..."]`, in the order the headers are sent.
std::string printHeaders(const platform::HttpHeaders& headers) {
  std::string text = "[";
  for (const auto& [name, value] : headers) {
    if (text.size() > 1) text += ", ";
    text.append("\"").append(name).append("\": \"").append(value).append("\"");
  }
  return text + "]";
}

}  // namespace

void PelorinConnector::waitForAbandonedRequest() { waitForAbandonedExchange(REQUEST_TIMEOUT); }

PelorinConnector::PelorinConnector(std::optional<std::string> userName,
                                   std::optional<std::string> mobileSessionId,
                                   std::optional<std::chrono::milliseconds> responseWait)
    : _mobileSessionId(std::move(mobileSessionId)),
      _userName(std::move(userName)),
      _responseWait(responseWait ? *responseWait : Platform::current().responseWait()) {}

PelorinConnector::ExchangeResult PelorinConnector::execute(
    const std::string& url, const std::vector<PelorinRequestCommand>& calls,
    const std::optional<std::string>& screenName) {
  platform::HttpClient& http = Platform::current().httpClient();
  const std::size_t memoryLimit = answerMemoryLimit(http.maxAnswerSize());
  // A store that refuses every cookie would cost the server its way of recognising the
  // visitor; any other policy is the host's choice.
  if (http.cookieAcceptPolicy() == CookieAcceptPolicy::kNever) {
    http.setCookieAcceptPolicy(CookieAcceptPolicy::kOnlyFromMainDocumentDomain);
  }
  _data.reset();

  // A redirect target arrives without the final "?" and is requested as it is.
  const std::string requestUrl = url.ends_with('?') ? url + getPostParameters() : url;
  logLine("Request URL to Pelorin: " + requestUrl);
  std::optional<HttpRequest> request = createRequest(requestUrl, calls, screenName);
  if (!request) return {};
  _originalRequest = *request;

  waitForAbandonedExchange(REQUEST_TIMEOUT);
  auto exchange = std::make_shared<Exchange>();
  http.send(*request, [exchange](HttpResult result) {
    {
      std::lock_guard<std::mutex> lock(exchange->mutex);
      exchange->result = std::move(result);
      exchange->done = true;
    }
    exchange->arrived.notify_all();
  });
  {
    // Past the wait the exchange goes on with what the fields hold: normally no data, so
    // it ends as an empty response.
    std::unique_lock<std::mutex> lock(exchange->mutex);
    if (exchange->arrived.wait_for(lock, _responseWait, [&] { return exchange->done; })) {
      _response = std::move(exchange->result.response);
      _data = std::move(exchange->result.data);
      _error = std::move(exchange->result.error);
    } else {
      std::lock_guard<std::mutex> slot(abandoned().mutex);
      abandoned().exchange = exchange;
    }
  }

  if (_response) {
    if (_response->statusCode == 300 && _data) {
      auto parsed = parseResponse(*_data, memoryLimit);
      if (parsed.ok() && parsed.value()) {
        auto location = parsed.value()->find("location");
        if (location != parsed.value()->end() && location->second.isString()) {
          return executeRedirect(location->second.string(), calls, screenName);
        }
      }
    }
    // The HTTP client followed a redirect itself: post the batch again to where it led. A
    // copy: the next exchange replaces `_response`, and a retry there still needs the URL.
    if (_response->url != requestUrl) {
      const std::string target = _response->url;
      return executeRedirect(target, calls, screenName);
    }
  }
  if (_error) {
    // The retry gets the URL as this exchange got it, so it builds its query (and time)
    // anew.
    if (_error->code == UrlError::kNetworkConnectionLost) {
      return executeFailure(url, calls, screenName);
    }
    return {.response = std::nullopt, .error = ExchangeError(*_error)};
  }
  if (_response && _response->statusCode != 200) return {};
  if (!_data) {
    logLine("Request with an empty response");
    return {};
  }
  auto parsed = parseResponse(*_data, memoryLimit);
  if (!parsed.ok()) {
    return {.response = std::nullopt, .error = ExchangeError(ParseError{parsed.error().message})};
  }
  return {.response = std::move(parsed).value(), .error = std::nullopt};
}

PelorinConnector::ExchangeResult PelorinConnector::executeRedirect(
    const std::string& url, const std::vector<PelorinRequestCommand>& calls,
    const std::optional<std::string>& screenName) {
  logLine("Redirect to URL: " + url);
  if (_retryCount < RETRY_AND_REDIRECT_LIMIT) {
    ++_retryCount;
    return execute(url, calls, screenName);
  }
  return {.response = std::nullopt, .error = ExchangeError(Error::MaxRetriesReached)};
}

PelorinConnector::ExchangeResult PelorinConnector::executeFailure(
    const std::string& url, const std::vector<PelorinRequestCommand>& calls,
    const std::optional<std::string>& screenName) {
  logLine("Sending data to Pelorin. Retry attempt: " + std::to_string(_retryCount),
          LogFlag::WARNING);
  _error.reset();
  if (_retryCount < RETRY_AND_REDIRECT_LIMIT) {
    ++_retryCount;
    return execute(url, calls, screenName);
  }
  return {.response = std::nullopt, .error = ExchangeError(Error::MaxRetriesReached)};
}

std::optional<HttpRequest> PelorinConnector::createRequest(
    const std::string& url, const std::vector<PelorinRequestCommand>& calls,
    const std::optional<std::string>& screenName) const {
  if (!isValidUrl(url)) return std::nullopt;
  HttpRequest request;
  request.url = url;
  request.cachePolicy = platform::CachePolicy::kUseProtocolCachePolicy;
  request.timeout = std::chrono::seconds(60);
  request.setHeader("User-Agent", Constants::PELORIN_NAME);
  // The screen name comes from the app, a deep link or the server: a line break in it would
  // add a header of its own.
  request.setHeader("referer", "app://" + PelorinConfiguration::getPackageName() + "/" +
                                   percentEncodeControls(screenName.value_or("")));
  request.setHeader("Connection", "close");
  request.timeout = REQUEST_TIMEOUT;
  request.httpShouldUsePipelining = false;
  request.cachePolicy = platform::CachePolicy::kReloadIgnoringLocalCacheData;
  request.method = "POST";
  // The body is JSON but is declared as plain text; the server expects it so.
  request.setHeader("Content-Type", "text/plain");
  if (!request.headers.empty()) {
    PelorinConfiguration::log(
        [&] { return "Request headers to Pelorin: " + printHeaders(request.headers); }, LOG_TAG,
        LogFlag::INFO);
  }
  request.body = getPostData(calls);
  return request;
}

std::string PelorinConnector::getPostParameters() const {
  std::string text = "overruleReferrer=" + PelorinConfiguration::getPackageName();
  text = addSimulatorData(std::move(text));
  return addTime(std::move(text));
}

std::string PelorinConnector::addSimulatorData(std::string text) const {
  if (_userName && _mobileSessionId && !_userName->empty() && !_mobileSessionId->empty()) {
    // Taken from a deep link, decoded: encoded again where they enter the query.
    text += "&username=" + percentEncodeQueryValue(*_userName) +
            "&mobileSessionId=" + percentEncodeQueryValue(*_mobileSessionId);
  }
  return text;
}

std::string PelorinConnector::addTime(std::string text) {
  const platform::Clock& clock = Platform::current().clock();
  const platform::LocalTime local = clock.toLocal(clock.now());
  text += "&time=" + std::to_string(local.hour) + ":" + std::to_string(local.minute);
  return text;
}

std::string PelorinConnector::getPostData(const std::vector<PelorinRequestCommand>& calls) {
  std::string body = "[";
  for (std::size_t i = 0; i < calls.size(); ++i) {
    // Joined as they are: a command that could not be serialised leaves an empty element.
    if (i > 0) body += ",";
    body += calls[i].toJson();
  }
  body += "]";
  PelorinConfiguration::log([&] { return "Request body to Pelorin: " + body; }, LOG_TAG,
                            LogFlag::INFO);
  return body;
}

Result<std::optional<PelorinConnector::ResponseMap>> PelorinConnector::parseResponse(
    std::string_view data, std::size_t memoryLimit) {
  if (!isValidUtf8(data)) return pelorin::Error{"The response is not UTF-8 text."};
  std::string_view text = data;
  if (text.starts_with(kJsonpPrefix)) {
    // Drops the wrapper's closing parenthesis: whatever the last character is, however
    // many bytes it takes (the text is UTF-8, checked above).
    text.remove_prefix(kJsonpPrefix.size());
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80U) {
      text.remove_suffix(1);
    }
    if (!text.empty()) text.remove_suffix(1);
  }
  PelorinConfiguration::log([&] { return "Reponse from Pelorin: " + std::string(text); }, LOG_TAG,
                            LogFlag::INFO);
  std::string parseError;
  std::optional<JsonValue> parsed = json::parseBounded(text, memoryLimit, &parseError);
  if (!parsed) return pelorin::Error{std::move(parseError)};
  if (!parsed->isArray()) return std::optional<ResponseMap>();
  ResponseMap answers;
  // The answers move out of the document rather than being copied, so the map takes no
  // more memory than the parse did.
  for (boost::json::value& element : mutableRawJson(*parsed).as_array()) {
    const JsonRef id = jsonRef(element)["id"];
    if (!element.is_object() || !id.isString()) continue;
    // A repeated id (the events of one batch all start at "5") keeps the last answer.
    std::string key = id.string();
    answers.insert_or_assign(std::move(key), toJsonValue(std::move(element)));
  }
  return std::optional<ResponseMap>(std::move(answers));
}

std::string PelorinConnector::describe(const ExchangeError& error) {
  if (const auto* own = std::get_if<Error>(&error)) {
    switch (*own) {
      case Error::MaxRetriesReached:
        return "Max retries reached";
    }
  }
  if (const auto* transport = std::get_if<platform::HttpError>(&error)) {
    return transport->description;
  }
  return "The data couldn't be read because it isn't in the correct format: " +
         std::get<ParseError>(error).message;
}

bool PelorinConnector::isValidUrl(std::string_view text) {
  if (text.empty()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!isUrlCharacter(c)) return false;
    if (c == '%' &&
        (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))) {
      return false;
    }
  }
  return true;
}

}  // namespace pelorin
