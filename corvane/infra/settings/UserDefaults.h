#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/infra/Subscription.h"
#include "corvane/infra/settings/Conversions.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The user's settings as one program sees them: named values that outlive the process. Applications normally use its
/// typed front end, DefaultSettings (corvane/infra/settings/DefaultSettings.h).
///
/// A key is looked up in three places, and the first one that has it takes precedence:
///
/// 1. the application's domain, named by the main bundle's identifier or, without one, by the executable's file name;
/// 2. the global domain, which all programs of the user share;
/// 3. the registered defaults, which the program registers each time it runs and which are never stored.
///
/// Every change is written to the application's domain. corvane/platform/DefaultsStore.h describes where the files are
/// and what happens to damaged ones.
///
/// **Saving.** A change is on disk when the call returns success: it survives the process, however that ends. A loss of
/// power may undo the last changes, each as a whole, but damages nothing. A change that could not be stored is an
/// Error, is logged (the same failure again only after something was stored in between), and cannot be read: nothing is
/// ever kept in memory only. A call waits at most 5 s for other processes.
///
/// **Reading** is from memory, makes no system calls except for one check of the files per second, and sees every
/// change that any process has completed before, including those of other programs. Only the first read, and a read
/// after another process has changed something, goes to disk. If that fails, it is logged and tried again a second
/// later; until then reads give what was known before, which is initially nothing.
///
/// Keys are UTF-8 without U+0000, and all text in values is UTF-8. Other bytes, values that a property list cannot
/// hold, and values that are too large to be read back are refused: a value may take 64 MiB as a binary property list,
/// and may contain 1,000,000 values and 256 MiB of text and data (PropertyListLimits in
/// corvane/infra/values/PropertyList.h).
///
/// Every member: any thread, including in the child after a fork and while the process exits. Nothing is opened before
/// the first read or write. Held by std::shared_ptr.
class CORVANE_API UserDefaults : public std::enable_shared_from_this<UserDefaults> {
 public:
  /// The name of the global domain.
  static constexpr std::string_view GLOBAL_DOMAIN = ".global";

  /// The key of the broadcast that reports changed settings (corvane/infra/Broadcaster.h); see observeChanges().
  static constexpr std::string_view DID_CHANGE = "org.corvane.UserDefaults.didChange";

  /// A key's new value; std::nullopt removes the key.
  struct Change {
    std::string key;             ///< the key
    std::optional<Value> value;  ///< its new value
  };

  /// The process's settings; created on first use, never destroyed.
  static std::shared_ptr<UserDefaults> shared();
  /// Replaces them, for example by those of a test.
  static void setShared(std::shared_ptr<UserDefaults> defaults);

  /// The names of all domains on disk, sorted; they may include GLOBAL_DOMAIN.
  static Result<std::vector<std::string>> domains();

  /// The settings of the running program.
  UserDefaults();
  /// The settings of another domain, as its program sees them. Those of the global domain are looked up nowhere else.
  explicit UserDefaults(std::string domain);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// The name of the domain that is written to.
  const std::string& domain() const;

  /// The key's value; null if it is in none of the three places. The value is immutable: a later change creates a new
  /// one.
  std::shared_ptr<const Value> value(std::string_view key) const;

  /// The key's value as one of a kind, converted as described in corvane/infra/settings/Conversions.h; std::nullopt if
  /// the key is absent or its value cannot be converted. integer(), real() and boolean() give std::nullopt only if the
  /// key is absent.
  std::optional<std::string> string(std::string_view key) const;
  std::optional<std::int64_t> integer(std::string_view key) const;
  std::optional<double> real(std::string_view key) const;
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<Data> data(std::string_view key) const;
  std::optional<Value::Array> array(std::string_view key) const;
  std::optional<std::vector<std::string>> stringArray(std::string_view key) const;
  std::optional<Value::Dictionary> dictionary(std::string_view key) const;

  /// All keys that can be read, with their values.
  Value::Dictionary dictionaryRepresentation() const;
  /// Only the keys of the domain that is written to, with their values; an Error if they could not be read just now.
  Result<Value::Dictionary> domainDictionary() const;

  /// Stores, removes or applies changes, all or none. Nothing else in the domain is touched, even if other processes
  /// write.
  Result<void> set(std::string_view key, Value value);
  Result<void> remove(std::string_view key);
  Result<void> apply(const std::vector<Change>& changes);

  /// Adds to the registered defaults; keys that are already registered get the new values.
  void registerDefaults(const Value::Dictionary& defaults);

  /// From now on, for each key whose value in the application's or the global domain has changed, in any program,
  /// DID_CHANGE is broadcast on the main queue with the key, a std::string, as its object: Broadcast(DID_CHANGE, key,
  /// false). Changes in quick succession may be reported as one. Reading in the listener gives the new value or a newer
  /// one. Calling this again does nothing.
  ///
  /// Programs that do not call this do not watch the files and have no work on the main queue. Changes made by other
  /// processes are reported only while the main queue runs; a failure to watch for them is logged, and the process's
  /// own changes are still reported.
  void observeChanges();

  /// Calls observeChanges(), and from then on `function` with each key whose value has changed, on the main queue, for
  /// as long as the handle lives: as if by Listen() (corvane/infra/Broadcaster.h), with the same rules for the
  /// function, but only for changes to these settings. Fatal: an empty function.
  ///
  ///     const auto handle = UserDefaults::shared()->listen([](std::string_view key) { reload(key); });
  [[nodiscard]] Subscription listen(std::function<void(std::string_view key)> function);

 private:
  struct State;
  const std::unique_ptr<State> m_state;
};

}  // namespace corvane
