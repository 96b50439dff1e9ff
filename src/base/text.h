// Unicode text as the platform's strings handle it: default lower-casing, trimming of
// Unicode white space, repair of ill-formed UTF-8, and regular expressions over UTF-16 with
// bounded work. Every text the library compares or matches goes through these.
//
// Thread safety: pure functions; safe from any thread.
#ifndef PELORIN_SRC_BASE_TEXT_H_
#define PELORIN_SRC_BASE_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pelorin::text {

// True for a code point with the Unicode White_Space property (space, tab, line breaks,
// no-break space, the typographic spaces, U+3000 ...).
bool isWhiteSpace(char32_t codePoint);

// `value` without leading and trailing Unicode white space. Ill-formed bytes at either end
// are not white space and stay.
std::string_view trim(std::string_view value);

// The Unicode default (locale-independent) lower-case mapping of `value`: "ÉTÉ" gives "été",
// "ΣΟΦΊΑ" gives "σοφία", "İ" gives "i̇" (i and a combining dot above). Ill-formed
// sequences are repaired first (see repairUtf8).
std::string toLower(std::string_view value);

// `value` with each ill-formed UTF-8 sequence (each maximal subpart) replaced by U+FFFD, so
// the result is always valid UTF-8. Valid text comes back unchanged.
std::string repairUtf8(std::string_view value);
// The same in place: nothing is copied when `value` is valid already.
void repairUtf8InPlace(std::string& value);

// Bounds on one regular-expression search. `timeLimit` counts the matcher's steps (a step is
// roughly a millisecond of work); `stackLimitBytes` bounds its backtracking memory.
struct RegexLimits {
  std::int32_t timeLimit = 100;
  std::int32_t stackLimitBytes = 1 << 20;
};

// What a search over a text found.
struct RegexResult {
  enum class Status {
    kMatched,      // `matches` holds each match, in order (possibly none)
    kInvalid,      // the pattern does not compile
    kOutOfBounds,  // the matcher ran out of time or stack: no values
  };
  Status status = Status::kMatched;
  std::vector<std::string> matches;
};

// Compiles `pattern` as an ICU regular expression with no options and collects, in order,
// the whole substring of every match over `subject` (searched in its UTF-16 form), each as
// UTF-8. Both texts are repaired first when they are not UTF-8.
RegexResult regexMatches(std::string_view pattern, std::string_view subject,
                         const RegexLimits& limits = {});

}  // namespace pelorin::text

#endif  // PELORIN_SRC_BASE_TEXT_H_
