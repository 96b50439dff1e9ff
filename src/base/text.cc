#include "base/text.h"

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "json/utf8.h"

namespace pelorin::text {
namespace {

// ICU indexes with 32-bit integers; longer texts are not given to it whole.
bool fitsIcu(std::string_view value) {
  return value.size() <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
}

icu::UnicodeString toUnicode(std::string_view value) {
  // Ill-formed sequences become U+FFFD on the way in.
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(value.data(), static_cast<std::int32_t>(value.size())));
}

std::string toUtf8(const icu::UnicodeString& value) {
  std::string out;
  value.toUTF8String(out);
  return out;
}

}  // namespace

bool isWhiteSpace(char32_t codePoint) {
  return u_isUWhiteSpace(static_cast<UChar32>(codePoint)) != 0;
}

std::string_view trim(std::string_view value) {
  if (!fitsIcu(value)) return value;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(value.data());
  const auto length = static_cast<std::int32_t>(value.size());
  std::int32_t start = 0;
  while (start < length) {
    std::int32_t next = start;
    UChar32 c = 0;
    U8_NEXT(bytes, next, length, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    start = next;
  }
  std::int32_t end = length;
  while (end > start) {
    std::int32_t previous = end;
    UChar32 c = 0;
    U8_PREV(bytes, start, previous, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    end = previous;
  }
  return value.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

std::string toLower(std::string_view value) {
  // ASCII text lower-cases letter by letter, as the root locale's full mapping does it.
  if (std::all_of(value.begin(), value.end(),
                  [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    std::string lower(value);
    for (char& c : lower) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
  }
  if (!fitsIcu(value)) return std::string(value);
  icu::UnicodeString text = toUnicode(value);
  text.toLower(icu::Locale::getRoot());
  return toUtf8(text);
}

std::string repairUtf8(std::string_view value) {
  if (isValidUtf8(value) || !fitsIcu(value)) return std::string(value);
  return toUtf8(toUnicode(value));
}

void repairUtf8InPlace(std::string& value) {
  if (isValidUtf8(value) || !fitsIcu(value)) return;
  value = toUtf8(toUnicode(value));
}

RegexResult regexMatches(std::string_view pattern, std::string_view subject,
                         const RegexLimits& limits) {
  RegexResult result;
  if (!fitsIcu(pattern) || !fitsIcu(subject)) {
    result.status = RegexResult::Status::kOutOfBounds;
    return result;
  }
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(toUnicode(pattern), 0, parseError, status));
  if (U_FAILURE(status) || !compiled) {
    result.status = RegexResult::Status::kInvalid;
    return result;
  }
  const icu::UnicodeString text = toUnicode(subject);
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(text, status));
  if (U_FAILURE(status) || !matcher) {
    result.status = RegexResult::Status::kOutOfBounds;
    return result;
  }
  // A server pattern must not hold the caller's thread: each search is bounded in steps and
  // in backtracking memory.
  matcher->setTimeLimit(limits.timeLimit, status);
  matcher->setStackLimit(limits.stackLimitBytes, status);
  if (U_FAILURE(status)) {
    result.status = RegexResult::Status::kOutOfBounds;
    return result;
  }
  while (matcher->find(status) && U_SUCCESS(status)) {
    icu::UnicodeString match = matcher->group(status);
    if (U_FAILURE(status)) break;
    result.matches.push_back(toUtf8(match));
  }
  if (U_FAILURE(status)) {
    result.status = RegexResult::Status::kOutOfBounds;
    result.matches.clear();
  }
  return result;
}

}  // namespace pelorin::text
