#include "corvane/core/Activity.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Text.h"
#include "corvane/core/TypeName.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// A span in the ring. Its words are atomic, so that a reader that comes while it is overwritten reads nonsense, which
// the sequence shows, and not undefined behaviour.
struct Slot {
  enum Word {
    SEQUENCE,
    START,
    END,
    WAITED,
    ITEM,
    KIND,
    NAME
  };  // the sequence is the position + 1; 0 while it is written
  static constexpr std::size_t WORDS = NAME + Activity::MAX_NAME / sizeof(std::uint64_t);
  std::array<std::uint64_t, WORDS> words;
};
static_assert(sizeof(Slot) == 128);
static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free);

// Stored with release and loaded with acquire, words keep their order with regard to the sequence.
void store(std::uint64_t& word, std::uint64_t value) {
  std::atomic_ref(word).store(value, std::memory_order_release);
}
std::uint64_t load(std::uint64_t& word) {
  return std::atomic_ref(word).load(std::memory_order_acquire);
}

std::atomic<Slot*> s_ring = nullptr;
alignas(64) std::atomic<std::uint64_t> s_position = 0;
std::atomic<std::uint32_t> s_threads = 0;
thread_local constinit std::uint32_t t_thread = 0;

struct Watches {
  Mutex mutex;
  unsigned count CORVANE_GUARDED_BY(mutex) = 0;
};
PerProcess<Watches>& watches() {
  static auto& watches = *new PerProcess<Watches>;
  return watches;
}

Slot& slotAt(std::uint64_t position) {
  return s_ring.load(std::memory_order_acquire)[position % Activity::CAPACITY];
}

// A copy of the slot of a position; false if it is not, or no longer, of that position.
bool copy(std::uint64_t position, std::array<std::uint64_t, Slot::WORDS>& words) {
  Slot& slot = slotAt(position);
  if (load(slot.words[Slot::SEQUENCE]) != position + 1) return false;
  for (std::size_t i = Slot::START; i < Slot::WORDS; ++i) words[i] = load(slot.words[i]);
  return load(slot.words[Slot::SEQUENCE]) == position + 1;
}

// The name of a type whose library may have been unloaded since.
std::string nameAt(std::uint64_t address) {
  const auto* type = reinterpret_cast<const std::type_info*>(address);
  Dl_info info{};
  return dladdr(type, &info) != 0 ? typeName(*type) : std::string("unloaded");
}

}  // namespace

std::atomic<bool> Activity::s_isOn = false;

Activity::Watch::Watch() {
  [[maybe_unused]] static const int registered = pthread_atfork(nullptr, nullptr, [] { s_isOn = false; });
  Watches& watching = watches()();
  MutexLock lock(watching.mutex);
  if (watching.count++ > 0) return;
  // calloc, because memory that nobody has touched costs nothing.
  if (!s_ring) s_ring = static_cast<Slot*>(std::calloc(CAPACITY, sizeof(Slot)));
  if (!s_ring) return;
  s_isOn = true;
  platform().mainQueue().watchLoop(true);
}

// In a forked child nothing was counted.
Activity::Watch::~Watch() {
  Watches& watching = watches()();
  MutexLock lock(watching.mutex);
  if (watching.count == 0 || --watching.count > 0 || !s_isOn) return;
  s_isOn = false;
  platform().mainQueue().watchLoop(false);
}

void Activity::note(Kind kind, std::int64_t start, std::int64_t end, std::string_view name, const std::type_info* item,
                    std::int64_t waited) noexcept {
  if (!isOn()) return;
  const std::uint64_t position = s_position.fetch_add(1, std::memory_order_relaxed);
  auto& words = slotAt(position).words;
  const std::size_t length = std::min(name.size(), MAX_NAME);
  store(words[Slot::SEQUENCE], 0);
  store(words[Slot::START], static_cast<std::uint64_t>(start));
  store(words[Slot::END], static_cast<std::uint64_t>(end));
  store(words[Slot::WAITED], static_cast<std::uint64_t>(waited));
  store(words[Slot::ITEM], reinterpret_cast<std::uintptr_t>(item));
  store(words[Slot::KIND], static_cast<std::uint64_t>(kind) | length << 8U | std::uint64_t{thread()} << 32U);
  for (std::size_t from = 0; from < length; from += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, name.data() + from, std::min(sizeof word, length - from));
    store(words[Slot::NAME + from / sizeof word], word);
  }
  store(words[Slot::SEQUENCE], position + 1);
}

std::uint64_t Activity::read(std::uint64_t since, std::vector<ActivitySpan>& spans, std::uint64_t& lost,
                             std::int64_t nsec, std::uint64_t until) {
  if (!s_ring) return 0;
  const std::uint64_t end = std::min(position(), until);
  std::uint64_t from = std::min(since, end);
  if (end - from > CAPACITY) {
    lost += end - from - CAPACITY;
    from = end - CAPACITY;
  }
  std::unordered_map<std::uint64_t, std::string> types;  // few types, many spans
  std::array<std::uint64_t, Slot::WORDS> words{};
  for (; from < end; ++from) {
    if (!copy(from, words)) {
      if (load(slotAt(from).words[Slot::SEQUENCE]) <= from) break;  // about to be written: for the next time
      ++lost;
      continue;
    }
    ActivitySpan span{.kind = static_cast<Kind>(words[Slot::KIND] & 0xFFU),
                      .thread = static_cast<std::uint32_t>(words[Slot::KIND] >> 32U),
                      .start = static_cast<std::int64_t>(words[Slot::START]),
                      .end = static_cast<std::int64_t>(words[Slot::END]),
                      .waited = static_cast<std::int64_t>(words[Slot::WAITED]),
                      .name = {},
                      .item = {}};
    if (std::max(span.end - span.start, span.waited) < nsec) continue;
    span.name = repaired({reinterpret_cast<const char*>(&words[Slot::NAME]), words[Slot::KIND] >> 8U & 0xFFU});
    if (const auto type = words[Slot::ITEM]) {
      std::string& text = types[type];
      if (text.empty()) text = nameAt(type);
      (span.kind == Kind::MAIN_ITEM ? span.name : span.item) = text;
    }
    spans.push_back(std::move(span));
  }
  return from;
}

std::uint64_t Activity::position() {
  return s_position.load(std::memory_order_acquire);
}

std::uint32_t Activity::thread() noexcept {
  if (t_thread == 0) t_thread = s_threads.fetch_add(1, std::memory_order_relaxed) + 1;
  return t_thread;
}

}  // namespace corvane
