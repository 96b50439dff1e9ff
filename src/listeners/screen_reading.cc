#include "listeners/screen_reading.h"

#include <atomic>
#include <utility>

#include "base/text.h"
#include "listeners/listener_util.h"

namespace pelorin {
namespace {

std::atomic<bool> sharingOn{true};

}  // namespace

const std::string& Content::joinedLower() const {
  if (!_joinedLower) {
    std::string text;
    for (std::size_t i = 0; i < _texts.size(); ++i) {
      if (i > 0) text.push_back(' ');
      text += _texts[i];
    }
    _joinedLower = text::toLower(text::trim(text));
  }
  return *_joinedLower;
}

const std::vector<std::string>& Content::lowerTexts() const {
  if (!_lowerTexts) {
    std::vector<std::string> lower;
    lower.reserve(_texts.size());
    for (const std::string& element : _texts) lower.push_back(text::toLower(text::trim(element)));
    _lowerTexts = std::move(lower);
  }
  return *_lowerTexts;
}

const Content& ScreenReading::content(std::string_view selector,
                                      const std::optional<std::vector<std::string>>& context) {
  auto read = [&] {
    return _views != nullptr ? ListenerUtil::getContent(selector, context, *_views)
                             : ListenerUtil::getContent(selector, context);
  };
  // The context differs from event to event; only the screen's texts are kept.
  if (selector == "pre_context" || !sharing()) return hold(read());
  auto found = _bySelector.find(selector);
  if (found == _bySelector.end()) {
    found = _bySelector.emplace(std::string(selector), Content(read())).first;
  }
  return found->second;
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
