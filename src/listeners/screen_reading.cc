#include "listeners/screen_reading.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "base/text.h"
#include "listeners/listener_util.h"
#include "pelorin/platform/view.h"

namespace pelorin {
namespace {

std::atomic<bool> sharingOn{true};

bool isRootSelector(std::string_view selector) {
  return selector == "any" || selector == "pre_header";
}

}  // namespace

const std::vector<std::string>& Content::texts() const {
  if (_source != nullptr && !_copied) {
    _texts.reserve(_ranks.size());
    for (std::size_t rank : _ranks) _texts.push_back(_source->text(rank));
    _copied = true;
  }
  return _texts;
}

const std::string& Content::joinedLower() const {
  if (!_joinedLower) {
    std::string text;
    for (std::size_t i = 0; i < size(); ++i) {
      if (i > 0) text.push_back(' ');
      text += this->text(i);
    }
    _joinedLower = text::toLower(text::trim(text));
  }
  return *_joinedLower;
}

const std::vector<std::string>& Content::lowerTexts() const {
  if (!_lowerTexts) {
    std::vector<std::string> lower;
    lower.reserve(size());
    for (std::size_t i = 0; i < size(); ++i) lower.push_back(text::toLower(text::trim(text(i))));
    _lowerTexts = std::move(lower);
  }
  return *_lowerTexts;
}

bool Content::hasLowerText(const std::string& word) const {
  if (!ScreenReading::sharing()) {
    const std::vector<std::string>& lower = lowerTexts();
    return std::find(lower.begin(), lower.end(), word) != lower.end();
  }
  if (_lowerTexts) {
    return std::find(_lowerTexts->begin(), _lowerTexts->end(), word) != _lowerTexts->end();
  }
  // Without lower-casing every text: an ASCII text is trimmed of ASCII white space (the
  // only white space it can hold) and compared letter by letter, lower-cased.
  auto asciiLower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  for (std::size_t i = 0; i < size(); ++i) {
    const std::string& element = text(i);
    const bool ascii = std::all_of(element.begin(), element.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii) {
      if (text::toLower(text::trim(element)) == word) return true;
      continue;
    }
    std::string_view trimmed = element;
    while (!trimmed.empty() && isSpace(trimmed.front())) trimmed.remove_prefix(1);
    while (!trimmed.empty() && isSpace(trimmed.back())) trimmed.remove_suffix(1);
    if (trimmed.size() == word.size() &&
        std::equal(trimmed.begin(), trimmed.end(), word.begin(),
                   [&](char a, char b) { return asciiLower(a) == b; })) {
      return true;
    }
  }
  return false;
}

namespace {

// Four bytes of text as one of 2^bits slots of a content's table of the four-byte
// sequences it holds.
std::size_t gramSlot(const char* bytes, unsigned bits) {
  std::uint32_t gram = 0;
  std::memcpy(&gram, bytes, sizeof gram);
  return (gram * 0x9E3779B1U) >> (32U - bits);
}

}  // namespace

bool Content::joinedLowerContains(const std::string& word) const {
  if (word.empty()) return false;
  auto search = [&] {
    // memmem: a screen's joined text runs to hundreds of kilobytes.
    const std::string& text = joinedLower();
    return ::memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
  };
  if (!ScreenReading::sharing()) return search();
  auto [entry, fresh] = _found.try_emplace(word, false);
  if (!fresh) return entry->second;
  // Many words searched in one text (interests) first look up the four-byte sequences of
  // the word in a table of those of the text: a word with one the text lacks is not in it.
  // The table never misses a sequence the text holds, so it only skips searches.
  constexpr std::size_t kSearchesBeforeTable = 8;
  if (word.size() >= 4 && _found.size() > kSearchesBeforeTable) {
    const std::string& text = joinedLower();
    if (_grams.empty()) {
      // About eight slots per byte of text (from 2^10 to 2^19 slots), so that few slots
      // of sequences the text lacks are taken.
      _gramBits = 10;
      while (_gramBits < 19 && (std::size_t{1} << _gramBits) < text.size() * 8) ++_gramBits;
      _grams.assign((std::size_t{1} << _gramBits) / 64, 0);
      for (std::size_t at = 0; at + 4 <= text.size(); ++at) {
        const std::size_t slot = gramSlot(text.data() + at, _gramBits);
        _grams[slot / 64] |= std::uint64_t{1} << (slot % 64);
      }
    }
    for (std::size_t at = 0; at + 4 <= word.size(); ++at) {
      const std::size_t slot = gramSlot(word.data() + at, _gramBits);
      if ((_grams[slot / 64] & (std::uint64_t{1} << (slot % 64))) == 0) return false;
    }
  }
  entry->second = search();
  return entry->second;
}

const ContentViews& ScreenReading::views() const {
  return _views != nullptr ? *_views : ListenerUtil::clientViews();
}

const Content& ScreenReading::content(std::string_view selector,
                                      const std::optional<std::vector<std::string>>& context) {
  // The context differs from event to event; only the screen's texts are kept.
  if (selector == "pre_context" || !sharing()) {
    return hold(ListenerUtil::getContent(selector, context, views()));
  }
  auto found = _bySelector.find(selector);
  if (found != _bySelector.end()) return found->second;
  if (!isRootSelector(selector)) {
    if (std::optional<std::vector<std::size_t>> ranks = ranksFromIndex(selector)) {
      return _bySelector
          .emplace(std::string(selector), Content(*_index->content, *std::move(ranks)))
          .first->second;
    }
  }
  std::vector<std::string> texts =
      isRootSelector(selector) ? readRoot() : ListenerUtil::getContent(selector, context, views());
  found = _bySelector.emplace(std::string(selector), Content(std::move(texts))).first;
  if (_index && _index->content == nullptr && isRootSelector(selector)) {
    _index->content = &found->second;
  }
  return found->second;
}

std::vector<std::string> ScreenReading::readRoot() {
  if (_index && _index->content != nullptr) return _index->content->texts();
  std::shared_ptr<platform::View> root = views().rootView();
  if (!root) return {};
  Index index;
  index.root = root;
  // Depth first: the views under a view follow it in the walk, before any view that is not.
  std::vector<std::string> found;
  std::vector<std::ptrdiff_t> textAt;
  std::vector<std::size_t> parent;
  constexpr std::size_t kNoParent = std::numeric_limits<std::size_t>::max();
  std::vector<std::pair<const platform::View*, std::size_t>> pending{{root.get(), kNoParent}};
  while (!pending.empty()) {
    const auto [current, above] = pending.back();
    pending.pop_back();
    const std::size_t place = parent.size();
    index.views.push_back(current);
    parent.push_back(above);
    if (std::optional<std::string> text = ListenerUtil::textOf(*current)) {
      textAt.push_back(static_cast<std::ptrdiff_t>(found.size()));
      found.push_back(*std::move(text));
    } else {
      textAt.push_back(-1);
    }
    current->forEachSubview(
        [&pending, place](platform::View& subview) { pending.emplace_back(&subview, place); });
  }
  std::vector<std::size_t> size(parent.size(), 1);
  for (std::size_t place = parent.size(); place-- > 1;) size[parent[place]] += size[place];
  index.end.resize(parent.size());
  for (std::size_t place = 0; place < parent.size(); ++place)
    index.end[place] = place + size[place];
  // Sorted with duplicates dropped, as `ListenerUtil::textsUnder` gives them; each view
  // keeps the rank of its text among them.
  std::vector<std::size_t> firsts;
  const std::vector<std::size_t> rankOf = ListenerUtil::sortedRanks(found, firsts);
  index.rank.resize(parent.size());
  for (std::size_t place = 0; place < parent.size(); ++place) {
    index.rank[place] =
        textAt[place] >= 0
            ? static_cast<std::ptrdiff_t>(rankOf[static_cast<std::size_t>(textAt[place])])
            : -1;
  }
  std::vector<std::string> texts;
  texts.reserve(firsts.size());
  for (std::size_t at : firsts) texts.push_back(std::move(found[at]));
  _index = std::move(index);
  return texts;
}

std::optional<std::vector<std::size_t>> ScreenReading::ranksFromIndex(std::string_view selector) {
  if (!_index || _index->content == nullptr) return std::nullopt;
  if (selector.find("jQuery(") != std::string_view::npos) return std::nullopt;
  std::shared_ptr<platform::View> view = views().view(std::string(selector));
  if (!view) return std::vector<std::size_t>();
  const auto found = std::find(_index->views.begin(), _index->views.end(), view.get());
  if (found == _index->views.end()) return std::nullopt;
  const auto start = static_cast<std::size_t>(found - _index->views.begin());
  // The ranks of the texts under the view, sorted: the order of the texts themselves.
  std::vector<std::size_t> ranks;
  for (std::size_t place = start; place < _index->end[start]; ++place) {
    if (_index->rank[place] >= 0) ranks.push_back(static_cast<std::size_t>(_index->rank[place]));
  }
  std::sort(ranks.begin(), ranks.end());
  ranks.erase(std::unique(ranks.begin(), ranks.end()), ranks.end());
  return ranks;
}

const Content& ScreenReading::hold(std::vector<std::string> texts) {
  return _held.emplace_back(std::move(texts));
}

const std::string& ScreenReading::lowerWord(const std::string& word) {
  if (!sharing()) return _heldWords.emplace_back(text::toLower(text::trim(word)));
  auto found = _words.find(word);
  if (found == _words.end()) found = _words.emplace(word, text::toLower(text::trim(word))).first;
  return found->second;
}

void ScreenReading::setSharing(bool sharing) { sharingOn.store(sharing); }

bool ScreenReading::sharing() { return sharingOn.load(std::memory_order_relaxed); }

}  // namespace pelorin
