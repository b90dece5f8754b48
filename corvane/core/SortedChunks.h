#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

namespace corvane {

/// Values in ascending order, in chunks of contiguous memory. Removing the first value and appending a last one touch
/// almost no memory, however many values there are; an insertion elsewhere moves at most one chunk.
template <class T>
class SortedChunks {
 public:
  bool empty() const { return m_size == 0; }
  std::size_t size() const { return m_size; }

  const T& front() const { return m_chunks.front()[m_taken]; }

  void pop() {
    --m_size;
    if (++m_taken < m_chunks.front().size()) return;
    m_chunks.pop_front();
    m_taken = 0;
  }

  /// Inserts the value after those that are not greater.
  void insert(const T& value) {
    ++m_size;
    auto chunk = m_chunks.empty() || !(value < m_chunks.back().back()) ? m_chunks.end() : chunkAbove(value);
    if (chunk == m_chunks.end()) {
      if (m_chunks.empty() || m_chunks.back().size() >= CHUNK) m_chunks.emplace_back().reserve(CHUNK);
      m_chunks.back().push_back(value);
    } else if (chunk == m_chunks.begin() && m_taken > 0) {
      // The space left by the removed values is nearer than the end.
      const auto first = chunk->begin() + static_cast<std::ptrdiff_t>(m_taken--);
      *std::move(first, std::upper_bound(first, chunk->end(), value), std::prev(first)) = value;
    } else {
      if (chunk->size() >= CHUNK) chunk = split(chunk, value);
      chunk->insert(std::ranges::upper_bound(*chunk, value), value);
    }
  }

  /// The first greater value; null if there is none.
  const T* above(const T& value) const {
    const auto chunk = chunkAbove(value);
    if (chunk == m_chunks.end()) return nullptr;
    const auto taken = static_cast<std::ptrdiff_t>(chunk == m_chunks.begin() ? m_taken : 0);
    return &*std::upper_bound(chunk->begin() + taken, chunk->end(), value);
  }

  /// Calls `visit` with each value, in order.
  void forEach(auto&& visit) const {
    auto skip = static_cast<std::ptrdiff_t>(m_taken);
    for (const auto& chunk : m_chunks) std::for_each(chunk.begin() + std::exchange(skip, 0), chunk.end(), visit);
  }

  /// Removes all values and returns them in order.
  std::vector<T> takeAll() {
    std::vector<T> all;
    all.reserve(m_size);
    forEach([&all](const T& value) { all.push_back(value); });
    m_chunks.clear();
    m_size = m_taken = 0;
    return all;
  }

 private:
  static constexpr std::size_t CHUNK = 128;

  // The first chunk that contains a greater value.
  auto chunkAbove(const T& value) const {
    if (!m_chunks.empty() && value < m_chunks.front().back()) return m_chunks.begin();
    return std::upper_bound(m_chunks.begin(), m_chunks.end(), value,
                            [](const T& left, const std::vector<T>& right) { return left < right.back(); });
  }
  auto chunkAbove(const T& value) {
    return m_chunks.begin() + (std::as_const(*this).chunkAbove(value) - m_chunks.cbegin());
  }

  // Moves the upper half of a chunk to a new one; returns the one that the value belongs in.
  auto split(typename std::deque<std::vector<T>>::iterator chunk, const T& value) {
    std::vector<T> upper;
    upper.reserve(CHUNK);
    const auto middle = chunk->begin() + CHUNK / 2;
    upper.assign(middle, chunk->end());
    chunk->erase(middle, chunk->end());
    const auto next = m_chunks.insert(std::next(chunk), std::move(upper));
    return value < next->front() ? std::prev(next) : next;
  }

  std::deque<std::vector<T>> m_chunks;  // never empty ones
  std::size_t m_taken = 0;              // removed values at the front of the first chunk
  std::size_t m_size = 0;
};

}  // namespace corvane
