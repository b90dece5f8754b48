#include "corvane/system/helper/XPC.h"

#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/helper/helper_c.h"

namespace corvane {

namespace {

// For as long as a function of the application runs with the object locked.
class Inside {
 public:
  explicit Inside(std::atomic<std::thread::id>& thread) : m_thread(thread) { m_thread = std::this_thread::get_id(); }
  ~Inside() { m_thread = std::thread::id(); }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  std::atomic<std::thread::id>& m_thread;
};

}  // namespace

std::shared_ptr<XPC> XPC::create(const std::string& label) {
  auto xpc = std::make_shared<XPC>(Private(), label);
  if (!xpc->start(label)) logLine("Cannot start helper");
  return xpc;
}

XPC::XPC(Private, const std::string& label) {
  m_conn_queue.emplace(label + ".connection", QoS::DEFAULT);
  m_reply_queue.emplace(label + ".reply", QoS::DEFAULT);
}

XPC::~XPC() = default;

bool XPC::start(const std::string& label) {
  if (!BlessHelper(label.c_str())) {
    logLine("Helper failed installation !!!");
    return false;
  }
  MutexLock lock(m_mutex);  // events wait until it is there
  auto connection = platform().messageConnections().connect(label, m_conn_queue->dqueue(), m_reply_queue->dqueue(),
                                                            [weak = weak_from_this()](ConnectionEvent event) {
                                                              if (const auto self = weak.lock()) self->handle(event);
                                                            });
  if (connection) m_connection = std::move(*connection);
  lock.unlock();
  if (connection) return true;
  logLine("Failed to create XPC connection.");
  systemLog("helper connection: " + connection.error().description);
  return false;
}

bool XPC::isRunning() const {
  forbidInside("isRunning");
  MutexLock lock(m_mutex);
  return m_connection != nullptr;
}

std::int32_t XPC::helperPID() const {
  forbidInside("helperPID");
  MutexLock lock(m_mutex);
  return m_connection ? m_connection->peerPid() : -1;
}

void XPC::perform(const Setup& setup, Response response) {
  forbidInside("perform");
  MutexLock lock(m_mutex);
  if (!m_connection) return;
  Message request;
  {
    const Inside inside(m_inside);
    setup(request);
  }
  const auto done = std::make_shared<bool>(false);  // guarded by m_mutex
  m_connection->send(request, [weak = weak_from_this(), response = std::move(response), done](const Message& reply) {
    const auto self = weak.lock();
    if (!self) return;
    MutexLock locked(self->m_mutex);
    {
      const Inside inside(self->m_inside);
      response(reply);
    }
    *done = true;
    locked.unlock();  // first, or those who are woken up would wait again
    self->m_mutex.broadcast();
  });
  while (!*done && m_connection) m_mutex.wait();
}

void XPC::stop(const std::string& stopMsg) {
  forbidInside("stop");
  MutexLock lock(m_mutex);
  if (!m_connection) return;
  m_connection->send(Message::Dictionary{{stopMsg, ""}}, [](const Message&) {});
  disconnect();
}

void XPC::disconnect() {
  m_connection.reset();  // which cancels it
  m_mutex.broadcast();
}

void XPC::handle(ConnectionEvent event) {
  if (event == ConnectionEvent::MESSAGE) return logLine("Unexpected XPC connection event.");
  if (event == ConnectionEvent::ERROR) return logLine("Unexpected XPC connection error.");
  if (event == ConnectionEvent::INVALID && isRunning()) logLine("XPC connection invalid, releasing.");
  MutexLock lock(m_mutex);
  if (m_connection) disconnect();
}

void XPC::forbidInside(const char* operation) const {
  if (m_inside.load() == std::this_thread::get_id())
    fatal(std::string("XPC::") + operation + " was called by a setup or response of the same object");
}

}  // namespace corvane
