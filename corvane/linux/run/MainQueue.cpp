#include "corvane/platform/MainQueue.h"

#include <gio/gio.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <memory>
#include <vector>

#include "corvane/core/Activity.h"
#include "corvane/core/Clock.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/TypeName.h"
#include "corvane/core/fatal.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/EndSignals.h"

namespace corvane {

namespace {

// The main queue on GLib's default main context: one source for all work, made ready when the queue fills.
class GlibMainQueue : public MainQueue {
 public:
  GlibMainQueue() {
    static GSourceFuncs functions = {prepare, check, dispatch, nullptr, nullptr, nullptr};
    m_source = reinterpret_cast<QueueSource*>(g_source_new(&functions, sizeof(QueueSource)));
    m_source->queue = this;
    g_source_set_name(&m_source->base, "corvane main queue");
    // A nested loop inside an item (for example, a dialog) continues with the items after it.
    g_source_set_can_recurse(&m_source->base, TRUE);
    g_source_attach(&m_source->base, nullptr);
  }

  ~GlibMainQueue() override {
    watchLoop(false);
    g_source_destroy(&m_source->base);
    g_source_unref(&m_source->base);
  }

  bool isCurrent() override {
    GMainContext* context = g_main_context_default();
    if (g_main_context_is_owner(context)) return true;
    if (gettid() != getpid()) return false;
    // The first thread counts while no thread runs the loop, that is, if the context can be acquired.
    if (!g_main_context_acquire(context)) return false;
    g_main_context_release(context);
    return true;
  }

  void post(std::function<void()> work) override {
    {
      const std::int64_t now = Activity::isOn() ? Clock::now() : 0;
      MutexLock lock(m_mutex);
      if (now) [[unlikely]]
        m_posted.push_back({m_taken + m_work.size(), now});
      m_work.push_back(std::move(work));
      if (m_waiting.exchange(true)) return;
    }
    // Without the lock, so that a loop that wakes at once does not have to wait for it.
    g_main_context_wakeup(nullptr);
  }

  void run() override {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    m_loops.push_back(loop);
    g_main_loop_run(loop);
    m_loops.pop_back();
    g_main_loop_unref(loop);
  }

  void quit() override {
    post([this] {
      if (!m_loops.empty()) g_main_loop_quit(m_loops.back());
    });
  }

  void quitOnSignals() override {
    if (!m_endSignals) m_endSignals = std::make_unique<EndSignals>([this](int) { quit(); });
  }

  QueueState state() override {
    QueueState state{.label = "main", .depth = 0, .item = {}, .runningSince = m_since, .thread = m_thread};
    if (const std::type_info* const type = m_running) state.item = typeName(*type);
    MutexLock lock(m_mutex);
    state.depth = m_work.size();
    return state;
  }

  void watchLoop(bool on) override {
    static GSourceFuncs functions = {endTurn, beginTurn, nullptr, nullptr, nullptr, nullptr};
    MutexLock lock(m_mutex);
    if (on == static_cast<bool>(m_turns)) return;
    if (!on) {
      g_source_destroy(m_turns.get());
      m_turns.reset();
      m_posted.clear();
      return;
    }
    m_turns.reset(g_source_new(&functions, sizeof(TurnSource)));
    reinterpret_cast<TurnSource*>(m_turns.get())->queue.store(this, std::memory_order_release);
    g_source_set_name(m_turns.get(), "corvane main loop's turns");
    g_source_set_priority(m_turns.get(), G_MININT);  // asked first, and in every turn
    g_source_set_can_recurse(m_turns.get(), TRUE);
    m_turn = 0;
    g_source_attach(m_turns.get(), nullptr);
  }

 private:
  struct QueueSource {
    GSource base;
    GlibMainQueue* queue;
  };

  struct TurnSource {
    GSource base;
    std::atomic<GlibMainQueue*> queue;  // set by another thread; tools do not see how GLib orders that
  };

  // When an item was posted, while that was watched: apart, so that items are no larger for it.
  struct Posted {
    std::uint64_t number;  // of the item
    std::int64_t when;
  };

  // A turn lasts from the end of one wait to the beginning of the next. Those of a loop inside an item are part of it.
  static gboolean beginTurn(GSource* source) noexcept {
    GlibMainQueue* const queue = reinterpret_cast<TurnSource*>(source)->queue.load(std::memory_order_acquire);
    if (!queue->m_running) queue->m_turn = Clock::now();
    return FALSE;
  }

  static gboolean endTurn(GSource* source, gint* timeout) noexcept {
    *timeout = -1;
    GlibMainQueue* const queue = reinterpret_cast<TurnSource*>(source)->queue.load(std::memory_order_acquire);
    if (queue->m_running) return FALSE;
    const std::int64_t start = queue->m_turn;
    queue->m_turn = 0;
    if (start != 0 && Activity::isOn()) Activity::note(Activity::Kind::MAIN_LOOP, start, Clock::now(), {});
    return FALSE;
  }

  static gboolean prepare(GSource* source, gint* timeout) noexcept {
    *timeout = -1;
    return check(source);
  }

  static gboolean check(GSource* source) noexcept {
    return reinterpret_cast<QueueSource*>(source)->queue->m_waiting ? TRUE : FALSE;
  }

  static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
    reinterpret_cast<QueueSource*>(source)->queue->drain();
    return G_SOURCE_CONTINUE;
  }

  // Runs the items that are queued now; items that they queue wait for the next iteration, so that other sources get
  // their turn.
  void drain() {
    std::int64_t now = 0;  // the end of the item before, if it was watched: reading the clock costs as much as an item
    MutexLock lock(m_mutex);
    for (std::size_t left = m_work.size(); left > 0 && !m_work.empty(); --left) {
      const auto work = std::move(m_work.front());
      m_work.pop_front();
      const std::uint64_t number = m_taken++;
      const bool isWatched = Activity::isOn();
      const std::int64_t posted = isWatched ? takePosted(number) : 0;
      lock.unlock();
      if (isWatched) [[unlikely]] {
        now = runWatched(work, posted, now ? now : Clock::now());
      } else {
        now = 0;
        callOrFatal(work);
      }
      lock.lock();
    }
    m_waiting = !m_work.empty();
  }

  // 0 if it is not known.
  std::int64_t takePosted(std::uint64_t number) CORVANE_REQUIRES(m_mutex) {
    std::int64_t when = 0;
    for (; !m_posted.empty() && m_posted.front().number <= number; m_posted.pop_front())
      if (m_posted.front().number == number) when = m_posted.front().when;
    return when;
  }

  // Returns the end. Items may run loops of their own with items in them.
  std::int64_t runWatched(const std::function<void()>& work, std::int64_t posted, std::int64_t start) {
    const std::type_info& type = work.target_type();
    const std::int64_t outerSince = m_since;
    const std::type_info* const outerType = m_running;
    m_thread = Activity::thread();
    m_since = start;
    m_running = &type;
    callOrFatal(work);
    m_running = outerType;
    m_since = outerSince;
    const std::int64_t end = Clock::now();
    Activity::note(Activity::Kind::MAIN_ITEM, start, end, {}, &type, posted ? start - posted : 0);
    return end;
  }

  QueueSource* m_source;
  Mutex m_mutex;
  std::deque<std::function<void()>> m_work CORVANE_GUARDED_BY(m_mutex);
  std::uint64_t m_taken CORVANE_GUARDED_BY(m_mutex) = 0;  // numbers the items
  std::deque<Posted> m_posted CORVANE_GUARDED_BY(m_mutex);
  Told<const std::type_info*> m_running;  // the item, while it is watched, and since when
  Told<std::int64_t> m_since;
  Told<std::uint32_t> m_thread;
  glib::Ptr<GSource> m_turns CORVANE_GUARDED_BY(m_mutex);  // notes the turns of the loop
  Told<std::int64_t> m_turn;                               // since when this one lasts; 0 while the loop waits
  std::atomic<bool> m_waiting = false;                     // work is queued: read by the loop without the lock
  std::vector<GMainLoop*> m_loops;                         // those of run(), on the main queue only
  std::unique_ptr<EndSignals> m_endSignals;
};

}  // namespace

template <>
std::shared_ptr<MainQueue> makeService<MainQueue>() {
  return std::make_shared<GlibMainQueue>();
}

}  // namespace corvane
