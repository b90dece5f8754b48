#include "corvane/linux/store/DefaultsWatch.h"

#include <glib-unix.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "corvane/core/Files.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/store/DefaultsFiles.h"

namespace corvane::defaults_files {

namespace {

// Watches the folder for changes of counters, on the main queue.
class Watch {
 public:
  Watch(FileDescriptor events, std::function<void()> changed)
      : m_watched(new Watched{std::move(events), std::move(changed)}),
        m_source(g_unix_fd_source_new(m_watched->events.get(), G_IO_IN)) {
    const GUnixFDSourceFunc call = [](gint, GIOCondition, gpointer data) -> gboolean {
      static_cast<Watched*>(data)->look();
      return G_SOURCE_CONTINUE;
    };
    g_source_set_callback(m_source.get(), reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(call)), m_watched,
                          [](gpointer data) { delete static_cast<Watched*>(data); });
    g_source_attach(m_source.get(), nullptr);
  }
  ~Watch() { g_source_destroy(m_source.get()); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  struct Watched {
    FileDescriptor events;
    std::function<void()> changed;

    void look() const {
      bool found = false;
      alignas(inotify_event) std::array<char, 4096> buffer;
      ssize_t size = 0;
      while ((size = uninterrupted([&] { return ::read(events.get(), buffer.data(), buffer.size()); })) > 0) {
        for (const char* at = buffer.data(); at < buffer.data() + size;) {
          const auto* event = reinterpret_cast<const inotify_event*>(at);
          found = found || event->len == 0 || std::string_view(event->name).ends_with(CHANGES);
          at += sizeof *event + event->len;
        }
      }
      if (found) changed();
    }
  };

  Watched* m_watched;  // owned by the source
  const glib::Ptr<GSource> m_source;
};

}  // namespace

Result<std::shared_ptr<void>> watchChanges(std::function<void()> changed) {
  const auto folder = settingsFolder();
  if (!folder) return passedOn(folder.error());
  if (auto made = makeFolder(*folder); !made) return passedOn(made.error());
  FileDescriptor events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (events.get() < 0 || inotify_add_watch(events.get(), folder->c_str(), IN_MODIFY | IN_ONLYDIR) < 0)
    return fileFailure(*folder, errno);
  return std::make_shared<Watch>(std::move(events), std::move(changed));
}

}  // namespace corvane::defaults_files
