#include <gio/gio.h>

// A helper that does nothing: owns the bus name that is its program's name, for as long as it runs.
int main(int, char** argv) {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  gchar* const label = g_path_get_basename(argv[0]);
  g_bus_own_name(
      G_BUS_TYPE_SYSTEM, label, G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE, nullptr, nullptr,
      [](GDBusConnection*, const gchar*, gpointer main) { g_main_loop_quit(static_cast<GMainLoop*>(main)); }, loop,
      nullptr);
  g_main_loop_run(loop);
}
