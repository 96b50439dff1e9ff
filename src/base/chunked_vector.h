// Sequences whose copies share their storage: the elements live in chunks held by shared
// pointers, so a copy costs one handle per chunk, not a copy of every element. A change
// copies the one chunk it touches when that chunk may be shared; a chunk is never changed
// once a copy could see it. The engine's state is held so, and the periodic tick copies it
// under the global lock in a time that barely grows with its size.
//
// Thread safety: none of its own, like a std::vector, with one addition: copying an object
// changes a private stamp of the source, so copy only while no other thread uses the
// source. Copies may then be read on other threads while the source changes.
#ifndef PELORIN_SRC_BASE_CHUNKED_VECTOR_H_
#define PELORIN_SRC_BASE_CHUNKED_VECTOR_H_

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace pelorin {

namespace chunks {

// A fresh stamp for a container that shares no chunk stamped with it.
inline std::uint64_t nextStamp() {
  static std::atomic<std::uint64_t> counter{0};
  return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

template <typename T>
struct Chunk {
  std::vector<T> items;
  // The stamp of the one container that may change this chunk.
  std::uint64_t owner = 0;
};

// Walks the elements of a list of chunks in order.
template <typename T>
class Iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using pointer = const T*;
  using reference = const T&;

  Iterator() = default;
  Iterator(const std::vector<std::shared_ptr<Chunk<T>>>* chunks, std::size_t chunk,
           std::size_t item)
      : _chunks(chunks), _chunk(chunk), _item(item) {}

  reference operator*() const { return (*_chunks)[_chunk]->items[_item]; }
  pointer operator->() const { return &**this; }
  Iterator& operator++() {
    if (++_item == (*_chunks)[_chunk]->items.size()) {
      ++_chunk;
      _item = 0;
    }
    return *this;
  }
  Iterator operator++(int) {
    Iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) {
    return a._chunk == b._chunk && a._item == b._item;
  }

 private:
  const std::vector<std::shared_ptr<Chunk<T>>>* _chunks = nullptr;
  std::size_t _chunk = 0;
  std::size_t _item = 0;
};

// The chunk list and stamp both containers below build on.
template <typename T>
class SharedChunks {
 public:
  SharedChunks() = default;
  SharedChunks(const SharedChunks& other) : _chunks(other._chunks), _size(other._size) {
    other._stamp = nextStamp();
  }
  SharedChunks& operator=(const SharedChunks& other) {
    if (this != &other) {
      _chunks = other._chunks;
      _size = other._size;
      _stamp = nextStamp();
      other._stamp = nextStamp();
    }
    return *this;
  }
  SharedChunks(SharedChunks&& other) noexcept
      : _chunks(std::move(other._chunks)), _size(other._size), _stamp(other._stamp) {
    other._chunks.clear();
    other._size = 0;
    other._stamp = nextStamp();
  }
  SharedChunks& operator=(SharedChunks&& other) noexcept {
    if (this != &other) {
      _chunks = std::move(other._chunks);
      _size = other._size;
      _stamp = other._stamp;
      other._chunks.clear();
      other._size = 0;
      other._stamp = nextStamp();
    }
    return *this;
  }
  ~SharedChunks() = default;

 protected:
  // The chunk, copied first when a copy of this container may share it.
  Chunk<T>& own(std::size_t chunk) {
    auto& handle = _chunks[chunk];
    if (handle->owner != _stamp) {
      auto copy = std::make_shared<Chunk<T>>(*handle);
      copy->owner = _stamp;
      handle = std::move(copy);
    }
    return *handle;
  }
  Chunk<T>& insertChunk(std::size_t at) {
    auto chunk = std::make_shared<Chunk<T>>();
    chunk->owner = _stamp;
    return **_chunks.insert(_chunks.begin() + static_cast<std::ptrdiff_t>(at), std::move(chunk));
  }
  void clearChunks() {
    _chunks.clear();
    _size = 0;
  }

  std::vector<std::shared_ptr<Chunk<T>>> _chunks;
  std::size_t _size = 0;

 private:
  mutable std::uint64_t _stamp = nextStamp();
};

}  // namespace chunks

// A sequence of values with index access and appending, like a std::vector that is cheap
// to copy. Chunks hold up to kChunkSize elements; only the last one is partly filled.
template <typename T>
class ChunkedVector : public chunks::SharedChunks<T> {
  using Base = chunks::SharedChunks<T>;

 public:
  using value_type = T;
  using const_iterator = chunks::Iterator<T>;
  static constexpr std::size_t kChunkSize = 256;

  ChunkedVector() = default;
  ChunkedVector(std::initializer_list<T> values) {
    for (const auto& value : values) push_back(value);
  }

  std::size_t size() const { return this->_size; }
  bool empty() const { return this->_size == 0; }
  const T& operator[](std::size_t i) const {
    return this->_chunks[i / kChunkSize]->items[i % kChunkSize];
  }
  const T& back() const { return (*this)[this->_size - 1]; }
  // The element, to change it. Valid until the next change of the container.
  T& mutableAt(std::size_t i) { return this->own(i / kChunkSize).items[i % kChunkSize]; }

  template <typename... Args>
  T& emplace_back(Args&&... args) {  // NOLINT(readability-identifier-naming): std::vector's name
    chunks::Chunk<T>* last = nullptr;
    if (this->_size % kChunkSize == 0) {
      last = &this->insertChunk(this->_chunks.size());
      last->items.reserve(kChunkSize);
    } else {
      last = &this->own(this->_chunks.size() - 1);
    }
    ++this->_size;
    return last->items.emplace_back(std::forward<Args>(args)...);
  }
  // NOLINTNEXTLINE(readability-identifier-naming): std::vector's name
  void push_back(T value) { emplace_back(std::move(value)); }
  void clear() { this->clearChunks(); }
  // Chunks have a fixed capacity: there is nothing to reserve.
  void reserve(std::size_t /*count*/) {}

  const_iterator begin() const { return const_iterator(&this->_chunks, 0, 0); }
  const_iterator end() const { return const_iterator(&this->_chunks, this->_chunks.size(), 0); }
  // A plain copy of the elements, for code that takes a std::vector.
  // NOLINTNEXTLINE(google-explicit-constructor): reads as the vector it stands for
  operator std::vector<T>() const { return std::vector<T>(begin(), end()); }

  friend bool operator==(const ChunkedVector& a, const ChunkedVector& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
  }
};

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_CHUNKED_VECTOR_H_
