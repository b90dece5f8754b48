#include "apps/common/MainLoopSource.h"

#include <glib-unix.h>

#include <utility>

namespace corvane {

// Owned by the GLib source, because it may be in a callback when the MainLoopSource is destroyed.
struct MainLoopSource::Callbacks {
  Callback callback;
  Callback hangup = {};

  static gboolean again(gpointer data) noexcept {
    static_cast<Callbacks*>(data)->callback();
    return G_SOURCE_CONTINUE;
  }

  static gboolean ready(gint, GIOCondition condition, gpointer data) noexcept {
    auto& callbacks = *static_cast<Callbacks*>(data);
    if ((condition & G_IO_IN) != 0) callbacks.callback();
    if ((condition & (G_IO_HUP | G_IO_ERR | G_IO_NVAL)) == 0) return G_SOURCE_CONTINUE;
    callbacks.hangup();
    return G_SOURCE_REMOVE;  // it would be ready forever
  }
};

MainLoopSource MainLoopSource::input(int fd, Callback readable, Callback hangup) {
  return {g_unix_fd_source_new(fd, G_IO_IN), G_SOURCE_FUNC(Callbacks::ready), {std::move(readable), std::move(hangup)}};
}

MainLoopSource MainLoopSource::signal(int number, Callback callback) {
  return {g_unix_signal_source_new(number), Callbacks::again, {std::move(callback)}};
}

MainLoopSource::MainLoopSource(GSource* source, GSourceFunc function, Callbacks callbacks) : m_source(source) {
  g_source_set_callback(m_source, function, new Callbacks(std::move(callbacks)),
                        [](gpointer data) { delete static_cast<Callbacks*>(data); });
  g_source_attach(m_source, nullptr);
}

MainLoopSource::~MainLoopSource() {
  if (!m_source) return;
  g_source_destroy(m_source);
  g_source_unref(m_source);
}

MainLoopSource::MainLoopSource(MainLoopSource&& other) noexcept : m_source(std::exchange(other.m_source, nullptr)) {}

MainLoopSource& MainLoopSource::operator=(MainLoopSource&& other) noexcept {
  std::swap(m_source, other.m_source);
  return *this;
}

}  // namespace corvane
