#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/MessageListeners.h"

namespace corvane {

/// The helper's side of an XPC: answers requests that ordinary programs send to a program that runs as root.
///
///     int main() {
///       corvane::HelperServer server("org.example.Helper");
///       server.handle("brightness", "org.example.Helper.set", [](const Message& request, const MessageCaller&) {
///         const auto* value = request.find("brightness")->asInteger();
///         return value && setBrightness(*value) ? Message() : Message(MessageError{.description = "No such value"});
///       });
///       server.stopOn("stop", "org.example.Helper.set");
///       return server.run();
///     }
///
/// A request is a dictionary with exactly one key that the helper handles; its other entries are arguments. Each key
/// has a fixed right. Before the handler runs, these are checked in turn, and the first that fails answers the request
/// with a MessageError of the kind OTHER with one of the names below:
///
///  1. Exactly one key is known (UNKNOWN_REQUEST).
///  2. If the dictionary embedded in the helper's executable lists callers ("CorvaneHelperCallers", an array of paths
///     without symbolic links), the caller's program is one of them, and only root can have written it: the file and
///     all its folders are root's, and neither their group nor others may write (NOT_A_CALLER). Files beside the
///     executable are not read. This keeps other programs away from the helper. It does not keep a user away who
///     controls a listed program of their own: who may do what is decided by rights alone.
///  3. The caller has the right (NOT_AUTHORISED); on Linux polkit decides about the sender's bus name.
///
/// Each refusal is reported on standard error, which is the system's journal for a helper that the bus has started.
///
/// Everything here belongs to the main queue: create the object there, and the handlers run there, one at a time.
class CORVANE_API HelperServer {
 public:
  /// Answers a request with a dictionary or a MessageError. Whatever the request holds under the key and besides is the
  /// caller's word: read it as what it must be (Message::asString() and so on), and expect anything else. An exception
  /// becomes an error for the caller, without its text, which is reported on standard error.
  using Handler = std::function<Message(const Message& request, const MessageCaller& caller)>;

  /// When the right is asked for.
  enum class Ask : std::uint8_t {
    EACH_REQUEST,
    ONCE_PER_CONNECTION,  ///< granted once, the right holds until the caller leaves
  };

  /// Nothing answers requests of this name.
  static constexpr char UNKNOWN_REQUEST[] = "org.corvane.Helper1.Error.UnknownRequest";
  /// The program may not use the helper.
  static constexpr char NOT_A_CALLER[] = "org.corvane.Helper1.Error.NotACaller";
  /// The user may not, or said no.
  static constexpr char NOT_AUTHORISED[] = "org.corvane.Helper1.Error.NotAuthorised";
  static constexpr char STOPPING[] = "org.corvane.Helper1.Error.Stopping";  ///< it came too late
  static constexpr char FAILED[] = "org.corvane.Helper1.Error.Failed";      ///< the handler threw

  /// `label` is the helper's; the dictionary embedded in the executable, if there is one, must have it as its
  /// identifier. The helper ends after `idleSeconds` without work and without callers: programs that have sent a
  /// request count until they disconnect, so a connected application does not lose its helper to idleness.
  explicit HelperServer(std::string label, double idleSeconds = 10);
  ~HelperServer();

  HelperServer(const HelperServer&) = delete;
  HelperServer& operator=(const HelperServer&) = delete;

  /// Lets the handler answer the requests that contain the key, if their callers have the right; all who may call the
  /// helper if the right is empty. On Linux a right is a polkit action; one that no action declares is asked of an
  /// administrator each time. Fatal: an empty key, a key that is already handled, no handler.
  void handle(std::string key, std::string right, Handler handler, Ask ask = Ask::EACH_REQUEST);

  /// A request {key: ""} ends the helper: it is answered with an empty dictionary, requests that still wait for a right
  /// with STOPPING; later ones start a new helper. XPC::stop() sends it and leaves, which is too early to be asked for
  /// a right: with a right, send the stop message with XPC::perform(); if callers are listed, the program must have
  /// sent a request before. Fatal as for handle().
  void stopOn(std::string key, std::string right);

  /// Serves until it is idle, stopped, or ended by SIGTERM, SIGINT or SIGHUP. Returns the exit status: 1, after a line
  /// on standard error, if the label cannot be had or is lost, or if the embedded dictionary is unusable.
  int run();

 private:
  class Service;
  const std::shared_ptr<Service> m_service;
};

}  // namespace corvane
