#pragma once

#include <errno.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Platform.h"

namespace corvane {

/// Power events that a test emits.
class CORVANE_API FakePowerEvents : public PowerEvents {
 public:
  Token subscribe(Listener listener, std::function<void(const Error&)> unavailable) override;
  void unsubscribe(Token token) override;

  /// Calls every listener with an event of this name, on the calling thread.
  void emit(std::string_view name);

  /// Tells every subscriber that a source of events is missing.
  void fail(const Error& error);

  std::size_t subscribers() const;

 private:
  struct Subscriber {
    Listener listener;
    std::function<void(const Error&)> unavailable;
  };
  std::map<Token, Subscriber> snapshot() const;

  mutable Mutex m_mutex;
  std::map<Token, Subscriber> m_subscribers CORVANE_GUARDED_BY(m_mutex);
  Token m_lastToken CORVANE_GUARDED_BY(m_mutex) = 0;
};

/// Folders below a root of the test's choice, laid out as on Linux. With an empty root every call fails.
class CORVANE_API FakeFolders : public Folders {
 public:
  explicit FakeFolders(std::string root) : m_root(std::move(root)) {}
  Result<std::string> home() override;
  Result<std::string> library() override;
  Result<std::string> caches() override;
  Result<std::string> applicationSupport() override;

 private:
  Result<std::string> below(const std::string& name) const;
  const std::string m_root;
};

/// Bundles that a test describes.
class CORVANE_API FakeBundles : public Bundles {
 public:
  BundleFiles main;                           ///< what mainBundle() gives
  std::map<std::string, BundleFiles> byPath;  ///< what bundleAt() finds

  BundleFiles mainBundle() override { return main; }
  Result<BundleFiles> bundleAt(const std::string& path) override;
};

/// A desktop that a test describes, and that remembers what it was asked to do.
class CORVANE_API FakeWorkspace : public Workspace {
 public:
  std::map<std::string, std::string> icons;         ///< path of a file → path of its picture
  std::map<std::string, std::string> applications;  ///< identifier → path
  std::optional<Error> error;                       ///< if set, every call fails with it
  std::vector<std::string> calls;                   ///< "launch a.b.App", "open /path", "reveal /path" in order

  Result<std::string> iconFile(const std::string& path, int size) override;
  Result<std::string> applicationPath(const std::string& identifier) override;
  Result<void> launch(const std::string& identifier, LaunchOptions options) override;
  Result<void> open(const std::string& pathOrURL) override;
  Result<void> reveal(const std::string& path) override;

 private:
  Result<void> note(std::string call);
};

/// Settings in memory, which start empty.
class CORVANE_API FakeDefaultsStore : public DefaultsStore {
 public:
  std::shared_ptr<DefaultsDomain> domain(const std::string& name) override;
  Result<std::vector<std::string>> domains() override;
  Result<std::shared_ptr<void>> observe(std::function<void()> changed) override;

  /// From now on every read and write fails with the error; with none they work again.
  void fail(std::optional<Error> error);
  /// Changes a domain as another process would.
  void changeFromOutside(const std::string& domain, const std::vector<DefaultsChange>& changes);

 private:
  class Domain;
  struct State {
    Mutex mutex;
    std::map<std::string, std::weak_ptr<Domain>> domains CORVANE_GUARDED_BY(mutex);
    std::map<std::string, std::map<std::string, std::string>> entries CORVANE_GUARDED_BY(mutex);  // by domain
    std::optional<Error> error CORVANE_GUARDED_BY(mutex);
    std::vector<std::weak_ptr<std::function<void()>>> observers CORVANE_GUARDED_BY(mutex);
  };
  const std::shared_ptr<State> m_state = std::make_shared<State>();
};

/// Fonts that a test names.
class CORVANE_API FakeFontBook : public FontBook {
 public:
  std::map<std::string, FontFace> faces;  ///< by the names under which they are found

  Result<std::optional<FontFace>> face(const std::string& name) override;
};

/// A session that only remembers what it is to start.
class CORVANE_API FakeLoginItems : public LoginItems {
 public:
  std::map<std::string, LoginItem> items;  ///< by label
  std::optional<Error> error;              ///< if set, every call fails with it

  Result<void> add(const LoginItem& item) override;
  Result<void> remove(const std::string& label) override;
};

/// A network that a test describes, and that remembers what it was asked. Answers come on a thread of the session.
class CORVANE_API FakeHttpSession : public HttpSession {
 public:
  std::map<std::string, HttpReply> replies;  ///< URL → answer; any other URL fails
  std::set<std::string> silent;              ///< URLs that get no answer until their request is cancelled

  FakeHttpSession();
  Result<std::shared_ptr<HttpTask>> start(HttpRequest request, Completion completion) override;

  std::vector<HttpRequest> requests() const;   ///< that were started, in order
  std::vector<std::string> cancelled() const;  ///< the URLs of those that were cancelled, in order

 private:
  class Task;
  struct State {
    Mutex mutex;
    std::vector<HttpRequest> requests CORVANE_GUARDED_BY(mutex);
    std::vector<std::string> cancelled CORVANE_GUARDED_BY(mutex);
    std::unique_ptr<SerialQueue> queue;
  };
  const std::shared_ptr<State> m_state = std::make_shared<State>();
};

/// Processes that a test describes.
class CORVANE_API FakeProcessTable : public ProcessTable {
 public:
  struct Process {
    ProcessInfo info;  ///< its pid is the one that it is stored under
    std::optional<ProcessDetails> details;
    std::optional<DiskBytes> diskBytes;
    std::optional<std::string> path;
    std::vector<MemoryRegion> regions;  ///< ascending
    std::map<int, std::string> files;   ///< by descriptor
  };
  std::map<pid_t, Process> processes;  ///< by id
  int lacking = EACCES;                ///< what a process lacks fails with this code: EACCES, or ESRCH as if it ended
  std::optional<Error> error;          ///< if set, every call fails with it
  Result<bool> translating = false;    ///< what translates() answers
  std::size_t estimated = 0;           ///< what estimate() answers
  std::int64_t boot = 0;               ///< what bootTime() answers

  std::size_t estimate() override { return estimated; }
  Result<std::size_t> pids(std::span<pid_t> into) override;
  Result<void> each(const std::function<void(const ProcessInfo&)>& visit) override;
  Result<ProcessInfo> process(pid_t pid) override;
  Result<ProcessDetails> details(pid_t pid) override;
  Result<DiskBytes> diskBytes(pid_t pid) override;
  Result<std::string> path(pid_t pid) override;
  Result<MemoryRegion> region(pid_t pid, std::uint64_t address) override;
  Result<std::size_t> descriptors(pid_t pid) override;
  Result<void> openFiles(pid_t pid, const std::function<void(int, const char*)>& visit) override;
  Result<bool> translates() override { return translating; }
  std::int64_t bootTime() override { return boot; }

 private:
  Result<const Process*> find(pid_t pid) const;
};

/// A platform that relocates applications as a test describes.
class CORVANE_API FakeTranslocation : public Translocation {
 public:
  std::map<std::string, std::string> originals;  ///< path → path of its original
  std::optional<Error> invalid;                  ///< if set, the application's signature is not valid

  std::optional<std::string> originalPath(const std::string& path) override;
  Result<void> verifySignature() override;
};

/// Applications that a test describes, and that remember which of them were brought to the front.
class CORVANE_API FakeRunningApplications : public RunningApplications {
 public:
  std::map<pid_t, std::string> applications;  ///< process → what path() answers; empty if nothing stands for it
  pid_t active = 0;                           ///< the process of the application that is active
  std::optional<Error> error;                 ///< if set, every call fails with it
  std::vector<pid_t> activated;               ///< in order

  Result<bool> contains(pid_t pid) override;
  Result<std::string> path(pid_t pid) override;
  Result<void> activate(pid_t pid) override;
  Result<bool> isActive(pid_t pid) override;
};

/// A platform of fakes, in force until it is destroyed; the queues stay those of the platform before, because
/// the library's threads use them. Change the fakes before the code under test uses them.
///
///     corvane::FakePlatform fake("/tmp/home");
///     fake.power->emit(corvane::WILL_SLEEP);
class CORVANE_API FakePlatform {
 public:
  /// `home` is the root of the fake folders.
  explicit FakePlatform(std::string home = {});

  const std::shared_ptr<FakePowerEvents> power;
  const std::shared_ptr<FakeFolders> folders;
  const std::shared_ptr<FakeBundles> bundles;
  const std::shared_ptr<FakeWorkspace> workspace;
  const std::shared_ptr<FakeDefaultsStore> defaultsStore;
  const std::shared_ptr<FakeFontBook> fontBook;
  const std::shared_ptr<FakeLoginItems> loginItems;
  const std::shared_ptr<FakeHttpSession> http;
  const std::shared_ptr<FakeProcessTable> processTable;
  const std::shared_ptr<FakeTranslocation> translocation;
  const std::shared_ptr<FakeRunningApplications> runningApplications;

 private:
  Platform& m_queues = corvane::platform();  // the platform before, whose queues threads may still use afterwards
  Platform m_platform;
  ScopedPlatform m_scope;
};

}  // namespace corvane
