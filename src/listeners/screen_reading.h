// One reading of the screen for one pass of a listener (the rules of a page view, or the
// rules that one event triggers): the texts under each selector the rules ask for, read
// once, and lower-cased and trimmed once, shared by every rule and word list of the pass.
// A reading lives for its pass only, so a rule never sees text older than the event it
// handles.
//
// Thread safety: none; a pass runs on one thread (the main thread, which owns the views).
#ifndef PELORIN_SRC_LISTENERS_SCREEN_READING_H_
#define PELORIN_SRC_LISTENERS_SCREEN_READING_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace pelorin {

class ContentViews;

namespace platform {
class View;
}  // namespace platform

// Texts as the content test of a rule reads them: as given, and in the compared forms,
// each made on first use.
class Content {
 public:
  explicit Content(std::vector<std::string> texts) : _texts(std::move(texts)) {}
  // The texts of `source` (which outlives it) at `ranks`, ascending: a part of a screen
  // read with the whole, its texts copied only when asked for as a list.
  Content(const Content& source, std::vector<std::size_t> ranks)
      : _source(&source), _ranks(std::move(ranks)) {}

  const std::vector<std::string>& texts() const;
  bool empty() const { return size() == 0; }
  std::size_t size() const { return _source != nullptr ? _ranks.size() : _texts.size(); }
  const std::string& text(std::size_t i) const {
    return _source != nullptr ? _source->text(_ranks[i]) : _texts[i];
  }
  // The texts joined with single spaces, then trimmed and lower-cased.
  const std::string& joinedLower() const;
  // Each text trimmed and lower-cased.
  const std::vector<std::string>& lowerTexts() const;
  // Whether `word` (lower-cased, not empty) occurs in `joinedLower()`; each word is
  // searched once per content while readings are shared.
  bool joinedLowerContains(const std::string& word) const;
  // Whether `word` (lower-cased and trimmed) equals one of `lowerTexts()`.
  bool hasLowerText(const std::string& word) const;

 private:
  const Content* _source = nullptr;
  std::vector<std::size_t> _ranks;
  mutable std::vector<std::string> _texts;  // of a part: made on first use
  mutable bool _copied = false;
  mutable std::optional<std::string> _joinedLower;
  mutable std::optional<std::vector<std::string>> _lowerTexts;
  mutable std::unordered_map<std::string, bool> _found;
  mutable std::vector<std::uint64_t> _grams;  // one bit per slot of four bytes; made on demand
  mutable unsigned _gramBits = 0;
};

class ScreenReading {
 public:
  // Reads the client's current screen, or the screen that `views` shows (borrowed).
  explicit ScreenReading(const ContentViews* views = nullptr) : _views(views) {}
  ScreenReading(const ScreenReading&) = delete;
  ScreenReading& operator=(const ScreenReading&) = delete;

  // The content under `selector`, as `ListenerUtil::getContent` gives it: read on the
  // first request of the pass. "pre_context" gives `context` itself.
  const Content& content(std::string_view selector,
                         const std::optional<std::vector<std::string>>& context);
  // `texts` (an event's content, a screen name) held for the rest of the pass.
  const Content& hold(std::vector<std::string> texts);
  // `word` trimmed and lower-cased, made once per pass.
  const std::string& lowerWord(const std::string& word);

  // On by default. Off, every request reads the screen and lower-cases again, as a
  // reference for tests and benchmarks that compare the two.
  static void setSharing(bool sharing);
  static bool sharing();

 private:
  // The whole screen as read for "any": each view's place in the walk, the end of the
  // views under it, and its text's rank among the sorted texts. Selectors of views inside
  // it are read from it rather than walked again.
  struct Index {
    std::shared_ptr<platform::View> root;
    std::vector<const platform::View*> views;
    std::vector<std::size_t> end;
    std::vector<std::ptrdiff_t> rank;  // -1: no text
    const Content* content = nullptr;
  };
  const ContentViews& views() const;
  std::vector<std::string> readRoot();
  // The ranks of the texts under the view `selector` names, when the index holds it.
  std::optional<std::vector<std::size_t>> ranksFromIndex(std::string_view selector);

  const ContentViews* _views;
  std::optional<Index> _index;
  std::map<std::string, Content, std::less<>> _bySelector;
  std::deque<Content> _held;
  std::unordered_map<std::string, std::string> _words;
  std::deque<std::string> _heldWords;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_SCREEN_READING_H_
