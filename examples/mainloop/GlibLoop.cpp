// GLib, and GTK and GStreamer with it. Not g_main_context_invoke(), which runs the task before it
// returns when it is called on the loop's own thread.
#include <glib.h>

#include <utility>

#include "MainLoop.h"

namespace loop {
namespace {

using Task = std::function<void()>;

GMainLoop* mainLoop() {
  static GMainLoop* const made = g_main_loop_new(nullptr, FALSE);
  return made;
}

}  // namespace

void post(Task task) {
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer posted) {
        (*static_cast<Task*>(posted))();
        return G_SOURCE_REMOVE;
      },
      new Task(std::move(task)), [](gpointer posted) { delete static_cast<Task*>(posted); });
}

void run() { g_main_loop_run(mainLoop()); }

void quit() { g_main_loop_quit(mainLoop()); }

}  // namespace loop
