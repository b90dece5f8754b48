#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/MessageConnections.h"

namespace corvane {

/// An application's connection to its privileged helper, which it first installs if necessary.
///
///     const auto helper = corvane::XPC::create("org.example.Backup.helper");
///     helper->perform([](corvane::Message& request) { request.set("version", ""); },
///                     [](const corvane::Message& reply) { show(reply); });
///     helper->stop("stop");
///
/// **States.** Connected from create(), if that succeeds, until stop() or until the helper or the system bus ends;
/// unconnected from then on: nothing reconnects by itself. A helper that ends is an interruption: replies that are
/// missing are errors, and everybody who waits is released.
///
/// **Threads.** Any thread; perform() may run on many at once, each of which waits for its own reply. `setup` runs on
/// the caller's thread and `response` on the reply queue, both with the object locked: they must return soon, and must
/// wait for nothing that uses this object. Using it themselves (perform(), stop(), isRunning(), helperPID()) is fatal.
/// To go on with the next request, wait until perform() has returned.
class CORVANE_API XPC : public std::enable_shared_from_this<XPC> {
 private:
  struct Private {};

 public:
  using Setup = std::function<void(Message& request)>;         ///< fills in a request
  using Response = std::function<void(const Message& reply)>;  ///< is given the answer

  /// Installs the helper with this label if it is missing or older than the application's copy, for which a person may
  /// be asked, and connects to it. What fails is logged, and the object is unconnected then. The helper starts with the
  /// first request.
  static std::shared_ptr<XPC> create(const std::string& label);

  /// For create().
  XPC(Private, const std::string& label);

  /// Ends the connection. Replies that are still missing are dropped.
  ~XPC();

  XPC(const XPC&) = delete;
  XPC& operator=(const XPC&) = delete;

  /// Whether there is a connection.
  bool isRunning() const CORVANE_EXCLUDES(m_mutex);

  /// The helper's process id; 0 while it does not run, -1 without a connection.
  std::int32_t helperPID() const CORVANE_EXCLUDES(m_mutex);

  /// Sends the dictionary that `setup` has filled, and returns when `response` has handled the reply or the connection
  /// has ended. There is no time limit. Without a connection neither function is called.
  ///
  /// The reply is a dictionary or holds a MessageError. If the connection ends first, `response` is called with such an
  /// error after perform() has returned, unless the object no longer exists; so it must own what it uses, or use only
  /// what lives longer than this object.
  void perform(const Setup& setup, Response response) CORVANE_EXCLUDES(m_mutex);

  /// Sends the helper a dictionary with one entry, the key `stopMsg` and the empty text, and ends the connection
  /// without waiting for a reply; it waits at most 5 s until the message is on its way. Everybody who waits in
  /// perform() is released. Does nothing without a connection.
  void stop(const std::string& stopMsg) CORVANE_EXCLUDES(m_mutex);

 private:
  bool start(const std::string& label) CORVANE_EXCLUDES(m_mutex);
  void handle(ConnectionEvent event) CORVANE_EXCLUDES(m_mutex);
  void disconnect() CORVANE_REQUIRES(m_mutex);
  void forbidInside(const char* operation) const;

  // These outlive the connection.
  std::optional<DispatchQueueSerial> m_conn_queue;
  std::optional<DispatchQueueSerial> m_reply_queue;
  mutable Mutex m_mutex;
  std::unique_ptr<MessageConnection> m_connection CORVANE_GUARDED_BY(m_mutex);
  std::atomic<std::thread::id> m_inside{};  // the thread that runs a setup or a response
};

}  // namespace corvane
