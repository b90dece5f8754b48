#pragma once

#include <functional>
#include <utility>

namespace corvane {

/// A handle to a registered listener: the listener is removed when the handle is destroyed, assigned or reset(). The
/// function that returns a handle documents what removal means. Movable, not copyable; a moved-from or
/// default-constructed handle is empty. No lock: one thread at a time.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  /// Takes over a registration; `remove` is called once, to end it.
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

  /// Removes the listener now. Does nothing if the handle is empty.
  void reset() {
    if (const auto remove = std::exchange(m_remove, nullptr)) remove();
  }

  /// Whether the handle refers to a listener.
  explicit operator bool() const { return m_remove != nullptr; }

 private:
  std::function<void()> m_remove;
};

}  // namespace corvane
