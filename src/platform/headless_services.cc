#include <ctime>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "json/json_value_access.h"
#include "pelorin/platform/headless.h"

namespace pelorin::platform {

HeadlessBundle::HeadlessBundle() : _dictionary(JsonValue::object()) {}

HeadlessBundle::HeadlessBundle(std::optional<JsonValue> dictionary)
    : _dictionary(std::move(dictionary)) {}

std::unique_ptr<HeadlessBundle> HeadlessBundle::fromFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return nullptr;
  std::stringstream buffer;
  buffer << in.rdbuf();
  auto dictionary = JsonValue::parse(buffer.str());
  if (!dictionary || !dictionary->isObject()) return nullptr;
  return std::make_unique<HeadlessBundle>(std::move(dictionary));
}

std::optional<JsonValue> HeadlessBundle::infoDictionary() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _dictionary;
}

std::optional<JsonValue> HeadlessBundle::objectForInfoDictionaryKey(std::string_view key) const {
  std::lock_guard<std::mutex> lock(_mutex);
  if (!_dictionary) return std::nullopt;
  JsonRef entry = _dictionary->get(key);
  if (!entry.exists()) return std::nullopt;
  return JsonValue(entry);
}

void HeadlessBundle::set(std::string_view key, JsonValue value) {
  std::lock_guard<std::mutex> lock(_mutex);
  if (!_dictionary || !_dictionary->isObject()) _dictionary = JsonValue::object();
  mutableRawJson(*_dictionary).as_object()[boost::json::string_view(key.data(), key.size())] =
      std::move(mutableRawJson(value));
}

void HeadlessBundle::erase(std::string_view key) {
  std::lock_guard<std::mutex> lock(_mutex);
  if (!_dictionary) return;
  if (auto* object = mutableRawJson(*_dictionary).if_object()) {
    object->erase(boost::json::string_view(key.data(), key.size()));
  }
}

void HeadlessBundle::setDictionary(std::optional<JsonValue> dictionary) {
  std::lock_guard<std::mutex> lock(_mutex);
  _dictionary = std::move(dictionary);
}

namespace {

LocalTime civil(Clock::TimePoint time, int utcOffsetSeconds) {
  using namespace std::chrono;
  const auto shifted = time + seconds(utcOffsetSeconds);
  const auto day = floor<days>(shifted);
  const year_month_day date(day);
  const hh_mm_ss<system_clock::duration> clock(shifted - day);
  LocalTime local;
  local.year = static_cast<int>(date.year());
  local.month = static_cast<int>(static_cast<unsigned>(date.month()));
  local.day = static_cast<int>(static_cast<unsigned>(date.day()));
  local.hour = static_cast<int>(clock.hours().count());
  local.minute = static_cast<int>(clock.minutes().count());
  local.second = static_cast<int>(clock.seconds().count());
  local.utcOffsetSeconds = utcOffsetSeconds;
  return local;
}

}  // namespace

Clock::TimePoint SystemClock::now() const { return std::chrono::system_clock::now(); }

LocalTime SystemClock::toLocal(TimePoint time) const {
  const time_t seconds = std::chrono::system_clock::to_time_t(time);
  struct tm parts {};
  if (localtime_r(&seconds, &parts) == nullptr) return civil(time, 0);
  return civil(time, static_cast<int>(parts.tm_gmtoff));
}

std::string SystemClock::localeIdentifier() const {
  // "en_US.UTF-8" names the locale en_US; "C", "POSIX" or nothing fall back to en_US.
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || *value == '\0') continue;
    std::string name(value);
    name = name.substr(0, name.find_first_of(".@"));
    if (name == "C" || name == "POSIX" || name.empty()) break;
    return name;
  }
  return "en_US";
}

PinnedClock::PinnedClock(TimePoint time, int utcOffsetSeconds, std::string locale)
    : _time(time), _utcOffsetSeconds(utcOffsetSeconds), _locale(std::move(locale)) {}

Clock::TimePoint PinnedClock::now() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _time;
}

LocalTime PinnedClock::toLocal(TimePoint time) const {
  std::lock_guard<std::mutex> lock(_mutex);
  return civil(time, _utcOffsetSeconds);
}

std::string PinnedClock::localeIdentifier() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _locale;
}

void PinnedClock::set(TimePoint time) {
  std::lock_guard<std::mutex> lock(_mutex);
  _time = time;
}

void PinnedClock::advance(std::chrono::milliseconds by) {
  std::lock_guard<std::mutex> lock(_mutex);
  _time += by;
}

void PinnedClock::setUtcOffset(int seconds) {
  std::lock_guard<std::mutex> lock(_mutex);
  _utcOffsetSeconds = seconds;
}

void PinnedClock::setLocale(std::string locale) {
  std::lock_guard<std::mutex> lock(_mutex);
  _locale = std::move(locale);
}

void StdoutConsole::writeLine(std::string_view line) {
  std::lock_guard<std::mutex> lock(_mutex);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace pelorin::platform
