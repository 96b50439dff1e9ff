#include "json/utf8.h"

#include <cstdint>
#include <cstring>

namespace pelorin {

bool isValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    // Most text is ASCII: skip it eight bytes at a time.
    while (end - p >= 8) {
      std::uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if ((word & 0x8080808080808080ULL) != 0) break;
      p += 8;
    }
    if (p == end) break;
    const unsigned char c = *p;
    if (c < 0x80) {
      ++p;
      continue;
    }
    int length = 0;
    char32_t codePoint = 0;
    if ((c & 0xE0) == 0xC0) {
      length = 2;
      codePoint = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      length = 3;
      codePoint = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      length = 4;
      codePoint = c & 0x07;
    } else {
      return false;
    }
    if (end - p < length) return false;
    for (int i = 1; i < length; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      codePoint = (codePoint << 6) | (p[i] & 0x3F);
    }
    constexpr char32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < kMinimum[length] || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
      return false;
    }
    p += length;
  }
  return true;
}

}  // namespace pelorin
