#pragma once

#include <functional>
#include <utility>

namespace corvane {

/// Stands for a listener that is registered somewhere: the listener is removed when the handle is destroyed, is
/// assigned another one, or is reset(). Whoever returns a handle says what removing means there. Movable, not copyable;
/// a moved-from or default-constructed handle stands for nothing. No lock: one thread at a time.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  /// Takes over a registration; `remove` ends it and is called once.
  explicit Subscription(std::function<void()> remove) : m_remove(std::move(remove)) {}
  Subscription(Subscription&& other) noexcept : m_remove(std::exchange(other.m_remove, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      reset();
      m_remove = std::exchange(other.m_remove, nullptr);
    }
    return *this;
  }
  ~Subscription() { reset(); }

  /// Removes the listener now. Does nothing if the handle stands for nothing.
  void reset() {
    if (const auto remove = std::exchange(m_remove, nullptr)) remove();
  }

  /// Whether the handle stands for a listener.
  explicit operator bool() const { return m_remove != nullptr; }

 private:
  std::function<void()> m_remove;
};

}  // namespace corvane
