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

/// The user's settings as one program sees them: named values that outlive the process. DefaultSettings
/// (corvane/infra/settings/DefaultSettings.h) is the typed front of it that applications normally use.
///
/// A key is looked up in three places, and the first that has it counts:
///
/// 1. the application's domain, named by the main bundle's identifier, else by the executable's file name;
/// 2. the global domain, which all programs of the user share;
/// 3. the registered defaults, which the program states anew each time it runs and which are never stored.
///
/// Everything that writes, writes to the application's domain. Where the files are and what happens to damaged ones
/// stands in corvane/platform/DefaultsStore.h.
///
/// **Saving.** A change is on disk when the call returns success: it survives the process, however that ends. A loss of
/// power may undo the last changes, whole, and damages nothing. A change that could not be stored is an Error, is
/// logged (the same failure again only after something was stored in between), and is not there to be read: nothing is
/// ever kept in memory only. A call waits at most 5 s for other processes.
///
/// **Reading** is from memory, takes no system call but one look at the files a second, and sees every change that any
/// process has finished before, including those of other programs. Only the first read, and a read after another
/// process has changed something, goes to the disk. If that fails it is logged and tried again a second later; until
/// then what was known before is read, at the beginning nothing.
///
/// Keys are UTF-8 without U+0000, and all text in values is UTF-8. Other bytes, values that a property list cannot
/// hold, and values that are too large to be read back are refused: a value may take 64 MiB as a binary property list,
/// hold 1,000,000 values, and hold 256 MiB of text and data (PropertyListLimits in
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
    std::string key;
    std::optional<Value> value;
  };

  /// The process's settings; made on first use, never destroyed.
  static std::shared_ptr<UserDefaults> shared();
  /// Puts others in their place, for instance those of a test.
  static void setShared(std::shared_ptr<UserDefaults> defaults);

  /// The names of all domains on disk, sorted; among them perhaps GLOBAL_DOMAIN.
  static Result<std::vector<std::string>> domains();

  /// The settings of the running program.
  UserDefaults();
  /// Those of another domain, as its program sees them. The global domain's look nowhere else.
  explicit UserDefaults(std::string domain);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// The name of the domain that is written to.
  const std::string& domain() const;

  /// The key's value; null if it is in none of the three places. It does not change: a later change makes another.
  std::shared_ptr<const Value> value(std::string_view key) const;

  // The key's value as a value of some kind, converted as corvane/infra/settings/Conversions.h says; none if the key is
  // absent or its value cannot be had as that. Integers, reals and booleans are none only if the key is absent.
  std::optional<std::string> string(std::string_view key) const;
  std::optional<std::int64_t> integer(std::string_view key) const;
  std::optional<double> real(std::string_view key) const;
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<Data> data(std::string_view key) const;
  std::optional<Value::Array> array(std::string_view key) const;
  std::optional<std::vector<std::string>> stringArray(std::string_view key) const;
  std::optional<Value::Dictionary> dictionary(std::string_view key) const;

  /// All keys that can be read, with the values that reading gives.
  Value::Dictionary dictionaryRepresentation() const;
  /// The keys of the domain that is written to, alone; an Error if they could not be read just now.
  Result<Value::Dictionary> domainDictionary() const;

  /// Stores a value, or several, all or none. Nothing else of the domain is touched, whoever else writes.
  Result<void> set(std::string_view key, Value value);
  Result<void> remove(std::string_view key);
  Result<void> apply(const std::vector<Change>& changes);

  /// Adds to the registered defaults; keys that are among them get the new values.
  void registerDefaults(const Value::Dictionary& defaults);

  /// From now on, for each key whose value in the application's or the global domain has changed, whoever changed it,
  /// DID_CHANGE is broadcast on the main queue with the key, a std::string, as its object:
  /// Broadcast(DID_CHANGE, key, false). Changes that follow each other closely may come as one. Reading in the listener
  /// gives the new value or a newer one. Calling this again does nothing.
  ///
  /// Programs that do not ask have no watch on the files and no work on the main queue. Changes of other processes come
  /// only while the main queue runs; a failure to watch for them is logged, and own changes come all the same.
  void observeChanges();

  /// Calls observeChanges(), and from then on `function` with each key whose value has changed, on the main queue, for
  /// as long as the handle lives: as if by Listen() (corvane/infra/Broadcaster.h), whose rules hold for the function,
  /// but for the changes of these settings alone. Fatal: an empty function.
  ///
  ///     const auto handle = UserDefaults::shared()->listen([](std::string_view key) { reload(key); });
  [[nodiscard]] Subscription listen(std::function<void(std::string_view key)> function);

 private:
  struct State;
  const std::unique_ptr<State> m_state;
};

}  // namespace corvane
