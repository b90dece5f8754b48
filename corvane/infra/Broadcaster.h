#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/infra/Subscription.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// An object that is called when something is broadcast under a key.
///
/// A synchronous broadcast calls it on the broadcasting thread, an asynchronous one on the broadcaster's queue; both
/// may happen at the same time, so a listener that receives both kinds must guard its state. onBroadcast() must not
/// throw: an exception that leaves it ends the process through fatal().
class CORVANE_API Listener {
 public:
  virtual ~Listener() = default;

  /// `object` is empty if the broadcast carries no value; look into it with std::any_cast.
  virtual void onBroadcast(const std::string& key, const std::any& object) = 0;
};

/// Process-wide publish and subscribe by key: listeners to a key receive everything that is broadcast under it, in the
/// order of registration. A function listens for as long as its handle lives:
///
///     const auto handle = corvane::Listen("level", [](std::string_view, const std::any& object) {
///       if (const auto* level = std::any_cast<double>(&object)) show(*level);
///     });
///     corvane::Broadcast("level", 0.5);                 // shown when this returns
///
/// An object listens until it is removed:
///
///     class Meter : public corvane::Listener {
///       void onBroadcast(const std::string&, const std::any& object) override {
///         if (const auto* level = std::any_cast<double>(&object)) show(*level);
///       }
///     };
///     const auto meter = std::make_shared<Meter>();
///     corvane::AddListener("level", meter);
///     corvane::Broadcast("level", 0.5, true);           // shown later, on the broadcaster's queue
///     corvane::RemoveListener("level", meter);
///
/// Every function: any thread.
///
/// **What a listener may call from onBroadcast().** In an asynchronous delivery: every function here. In a synchronous
/// one: none of them but broadcasterStats(), in either mode, because the registry is locked until all listeners have
/// returned; a call is fatal. Calls from other threads wait until then, so a synchronous listener must not wait for a
/// thread that may make such a call. Use asynchronous broadcasts to reach a listener that has to broadcast, add or
/// remove in response.
///
/// **Who is kept alive.** A registration holds its listener, so a listener is destroyed only after it has been removed.
/// The last reference is never dropped under the lock: destructors may call every function here.
///
/// **Who gets a broadcast.** The listeners that are registered when it is made. RemoveListener() waits for synchronous
/// deliveries in progress; queued asynchronous deliveries are still made, and keep the listener alive until then.

/// Registers a listener for a key, after the existing ones. A listener that is added twice is called twice. Fatal: a
/// null listener.
CORVANE_API void AddListener(const std::string& key, std::shared_ptr<Listener> listener);

/// AddListener() for each key, in order.
CORVANE_API void AddListeners(const std::vector<std::string>& keys, const std::shared_ptr<Listener>& listener);

/// Removes every registration of this very object for the key; does nothing if there is none.
CORVANE_API void RemoveListener(const std::string& key, const std::shared_ptr<Listener>& listener);

/// RemoveListener() for each key, in order.
CORVANE_API void RemoveListeners(const std::vector<std::string>& keys, const std::shared_ptr<Listener>& listener);

/// Registers a function for a key, after the existing listeners, for as long as the handle lives. Once the handle has
/// been destroyed, no call of the function begins, not even for a queued broadcast; a call in progress on the queue may
/// still be finishing. Dropping the handle counts as RemoveListener(): fatal inside a synchronous delivery. Fatal: an
/// empty function.
[[nodiscard]] CORVANE_API Subscription
Listen(std::string_view key, std::function<void(std::string_view key, const std::any& object)> function);

/// Calls every listener of the key, in the order of registration; returns at once if there is none. A synchronous
/// broadcast calls them all on this thread before it returns. An asynchronous one calls them later, with a copy of
/// `object`, on one queue for all keys and one after the other: a slow listener delays all others. The asynchronous
/// broadcasts of a thread are delivered in the order in which it made them.
CORVANE_API void Broadcast(const std::string& key, const std::any& object = {}, bool async = false);

/// A lone true or false would be the value, though it reads like the mode: write Broadcast(key, {}, true) or
/// Broadcast(key, true, false).
void Broadcast(const std::string& key, std::same_as<bool> auto) = delete;

/// The statistics of one registration.
struct broadcaster_stats {
  std::string key;           ///< the name that it listens for
  std::string listener;      ///< the class of the listener or function, as the compiler names it: "app::Meter"
  std::int64_t count = 0;    ///< deliveries made
  std::int64_t elapsed = 0;  ///< time spent in them: the sum of whole microseconds, each truncated
};

/// A copy of the statistics of every registration, sorted by key, and for one key in the order of registration. Never
/// waits for a delivery, and may be called from inside one.
CORVANE_API std::vector<broadcaster_stats> broadcasterStats();

}  // namespace corvane
