// A map from texts to values, iterated in key order, whose copies share their storage
// (see chunked_vector.h): the entries sit sorted in chunks of 256 to 512, found by a binary
// search over the chunks' last keys and then within the chunk.
//
// Thread safety: as ChunkedVector.
#ifndef PELORIN_SRC_BASE_CHUNKED_MAP_H_
#define PELORIN_SRC_BASE_CHUNKED_MAP_H_

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "base/chunked_vector.h"

namespace pelorin {

template <typename V>
class ChunkedMap : public chunks::SharedChunks<std::pair<std::string, V>> {
  using Item = std::pair<std::string, V>;

 public:
  using key_type = std::string;
  using mapped_type = V;
  using value_type = Item;
  using const_iterator = chunks::Iterator<Item>;
  // A chunk that grows past twice this size is split in two.
  static constexpr std::size_t kChunkSize = 256;

  ChunkedMap() = default;
  // Like std::map: of a key given twice, the first entry counts.
  ChunkedMap(std::initializer_list<Item> items) {
    for (const auto& [key, value] : items) {
      if (!contains(key)) (*this)[key] = value;
    }
  }

  std::size_t size() const { return this->_size; }
  bool empty() const { return this->_size == 0; }
  const_iterator begin() const { return const_iterator(&this->_chunks, 0, 0); }
  const_iterator end() const { return const_iterator(&this->_chunks, this->_chunks.size(), 0); }

  const_iterator find(std::string_view key) const {
    const std::size_t chunk = chunkFor(key);
    if (chunk == this->_chunks.size()) return end();
    const auto& items = this->_chunks[chunk]->items;
    auto it = lowerBound(items, key);
    if (it == items.end() || it->first != key) return end();
    return const_iterator(&this->_chunks, chunk, static_cast<std::size_t>(it - items.begin()));
  }
  bool contains(std::string_view key) const { return find(key) != end(); }

  // The key's value, inserted empty when missing. Valid until the next change.
  V& operator[](std::string_view key) {
    if (this->_chunks.empty()) {
      auto& first = this->insertChunk(0);
      ++this->_size;
      return first.items.emplace_back(std::string(key), V()).second;
    }
    std::size_t index = std::min(chunkFor(key), this->_chunks.size() - 1);
    auto& chunk = this->own(index);
    auto it = lowerBound(chunk.items, key);
    if (it != chunk.items.end() && it->first == key) return it->second;
    const auto position = static_cast<std::size_t>(it - chunk.items.begin());
    chunk.items.emplace(it, std::string(key), V());
    ++this->_size;
    if (chunk.items.size() <= 2 * kChunkSize) return chunk.items[position].second;
    // Split: the upper half moves to a new chunk after this one.
    auto& next = this->insertChunk(index + 1);
    const auto half = static_cast<std::ptrdiff_t>(chunk.items.size() / 2);
    next.items.assign(std::make_move_iterator(chunk.items.begin() + half),
                      std::make_move_iterator(chunk.items.end()));
    chunk.items.erase(chunk.items.begin() + half, chunk.items.end());
    const auto split = static_cast<std::size_t>(half);
    return position < split ? chunk.items[position].second : next.items[position - split].second;
  }
  void clear() { this->clearChunks(); }

  friend bool operator==(const ChunkedMap& a, const ChunkedMap& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
  }

 private:
  template <typename Items>
  static auto lowerBound(Items& items, std::string_view key) {
    return std::lower_bound(items.begin(), items.end(), key,
                            [](const Item& item, std::string_view k) { return item.first < k; });
  }
  // The first chunk whose last key is not below `key`; the chunk count for none.
  std::size_t chunkFor(std::string_view key) const {
    auto it =
        std::partition_point(this->_chunks.begin(), this->_chunks.end(),
                             [&](const auto& chunk) { return chunk->items.back().first < key; });
    return static_cast<std::size_t>(it - this->_chunks.begin());
  }
};

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_CHUNKED_MAP_H_
