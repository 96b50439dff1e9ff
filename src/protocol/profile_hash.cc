#include "protocol/profile_hash.h"

#include "config/pelorin_configuration.h"

namespace pelorin {
namespace {

constexpr std::int64_t kReplacement = 0xFFFD;
constexpr std::int64_t kPieceModulus = 10000;

bool inRange(unsigned char byte, unsigned char low, unsigned char high) {
  return byte >= low && byte <= high;
}

// The text's scalar sum. It cannot leave the 64-bit range: no scalar exceeds 0x10FFFF and
// each takes at least one byte, so that would need a text of terabytes.
std::int64_t scalarSum(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  std::int64_t sum = 0;
  while (p < end) {
    const unsigned char lead = *p;
    if (lead < 0x80) {
      sum += lead;
      ++p;
      continue;
    }
    // Expected length and the range of the second byte, which rules out overlong forms,
    // surrogates and values past U+10FFFF.
    int length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (inRange(lead, 0xC2, 0xDF)) {
      length = 2;
    } else if (lead == 0xE0) {
      length = 3;
      low = 0xA0;
    } else if (inRange(lead, 0xE1, 0xEC) || inRange(lead, 0xEE, 0xEF)) {
      length = 3;
    } else if (lead == 0xED) {
      length = 3;
      high = 0x9F;
    } else if (lead == 0xF0) {
      length = 4;
      low = 0x90;
    } else if (inRange(lead, 0xF1, 0xF3)) {
      length = 4;
    } else if (lead == 0xF4) {
      length = 4;
      high = 0x8F;
    } else {
      sum += kReplacement;  // a byte that never starts a character
      ++p;
      continue;
    }
    std::int64_t scalar = lead & (0xFF >> (length + 1));
    int taken = 1;
    for (; taken < length && p + taken < end; ++taken) {
      const unsigned char next = p[taken];
      if (!inRange(next, taken == 1 ? low : 0x80, taken == 1 ? high : 0xBF)) break;
      scalar = (scalar << 6) | (next & 0x3F);
    }
    // A cut-off sequence is one ill-formed part: it counts once, and the byte that broke
    // it starts the next character.
    sum += taken == length ? scalar : kReplacement;
    p += taken;
  }
  return sum;
}

void logOverflow(std::string_view what) {
  PelorinConfiguration::log(
      [&] { return "Profile hash overflow for " + std::string(what) + "; it is skipped"; },
      PelorinConfiguration::LOG_TAG, LogFlag::ERROR);
}

}  // namespace

std::optional<std::int64_t> ProfileHash::addTextSum(std::int64_t sum, std::string_view text) {
  std::int64_t result = 0;
  if (__builtin_add_overflow(sum, scalarSum(text), &result)) return std::nullopt;
  return result;
}

std::int64_t ProfileHash::getHash(std::optional<std::string_view> text) {
  if (!text || text->empty()) return 0;
  auto sum = addTextSum(0, *text);
  if (!sum) {
    logOverflow("a text");
    return 0;
  }
  return *sum;
}

namespace {

template <typename Map>
std::string hashOf(const Map& properties) {
  std::string hash;
  hash.reserve(properties.size() * 5);
  for (const auto& [name, values] : properties) {
    std::optional<std::int64_t> sum = ProfileHash::addTextSum(0, name);
    for (const auto& value : values) {
      if (!sum) break;
      sum = ProfileHash::addTextSum(*sum, value);
    }
    if (!sum) {
      logOverflow("property " + name);
      continue;
    }
    hash += std::to_string(*sum % kPieceModulus);
    hash.push_back(';');
  }
  return hash;
}

}  // namespace

std::string ProfileHash::getHash(const Properties& properties) { return hashOf(properties); }

std::string ProfileHash::getHash(
    const std::map<std::string, std::vector<std::string>>& properties) {
  return hashOf(properties);
}

std::string ProfileHash::getHash(const std::optional<Properties>& properties) {
  if (!properties) return "";
  return getHash(*properties);
}

}  // namespace pelorin
