#include "corvane/platform/MainQueue.h"

#include <gio/gio.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <memory>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/fatal.h"
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
      MutexLock lock(m_mutex);
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

 private:
  struct QueueSource {
    GSource base;
    GlibMainQueue* queue;
  };

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
    MutexLock lock(m_mutex);
    for (std::size_t left = m_work.size(); left > 0 && !m_work.empty(); --left) {
      const auto work = std::move(m_work.front());
      m_work.pop_front();
      lock.unlock();
      callOrFatal(work);
      lock.lock();
    }
    m_waiting = !m_work.empty();
  }

  QueueSource* m_source;
  Mutex m_mutex;
  std::deque<std::function<void()>> m_work CORVANE_GUARDED_BY(m_mutex);
  std::atomic<bool> m_waiting = false;  // work is queued: read by the loop without the lock
  std::vector<GMainLoop*> m_loops;      // those of run(), on the main queue only
  std::unique_ptr<EndSignals> m_endSignals;
};

}  // namespace

template <>
std::shared_ptr<MainQueue> makeService<MainQueue>() {
  return std::make_shared<GlibMainQueue>();
}

}  // namespace corvane
