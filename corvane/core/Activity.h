#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A value that one thread at a time sets and any thread reads, at the price of a plain variable.
template <class T>
class Told {
 public:
  Told() = default;
  Told& operator=(T value) {
    m_value.store(value, std::memory_order_relaxed);
    return *this;
  }
  operator T() const { return m_value.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> m_value{};
};

/// The record of what the process's queues and repeaters do, for diagnostics: a ring of fixed size that holds the last
/// CAPACITY spans while somebody watches. Off, a place that notes costs one branch; on, no locks and no allocations.
/// Any thread. In a forked child it is off.
class CORVANE_API Activity {
 public:
  using Kind = ActivitySpan::Kind;

  /// The ring takes 16 MiB of address space from the first watch to the end of the process, and memory as it is filled.
  static constexpr std::uint64_t CAPACITY = 1U << 17U;

  /// A longer name is cut.
  static constexpr std::size_t MAX_NAME = 80;

  /// Records for as long as it lives. They may be nested.
  class CORVANE_API Watch {
   public:
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
  };

  /// Whether a span should be noted.
  static bool isOn() { return s_isOn.load(std::memory_order_relaxed); }

  /// Notes a span of the calling thread, from `start` to `end` of Clock::now(), if it is on: the whole is not noted
  /// without its parts. `item` is the type of a queue's item.
  static void note(Kind kind, std::int64_t start, std::int64_t end, std::string_view name,
                   const std::type_info* item = nullptr, std::int64_t waited = 0) noexcept;

  /// Appends the spans that were noted from the position `since` to `until` (or the latest one), as far as the ring
  /// still holds them; adds the number of those that it does not to `lost`. Returns the position after them. Names and
  /// types are readable text. Spans that neither took nor waited as long as `nsec` are passed over, which is cheap.
  static std::uint64_t read(std::uint64_t since, std::vector<ActivitySpan>& spans, std::uint64_t& lost,
                            std::int64_t nsec = 0, std::uint64_t until = UINT64_MAX);

  /// The position after the latest span.
  static std::uint64_t position();

  /// The number of the calling thread in spans.
  static std::uint32_t thread() noexcept;

 private:
  static std::atomic<bool> s_isOn;
};

}  // namespace corvane
