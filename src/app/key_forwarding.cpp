#include "app/key_forwarding.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "app/app.h"
#include "app/key_code_table.h"
#include "app/virtual_key.h"
#include "modules/key_binder_js.h"

namespace tessarel {
namespace {

gboolean OnPageKeyPressed(GtkEventControllerKey* controller, guint keyval, guint keycode,
                          GdkModifierType, gpointer data) {
  // The same event passes the page twice when the page does not use the key
  // (see KeyPressPasses); holding it keeps its address from being reused.
  KeyPressPasses::Press press;
  if (GdkEvent* event = gtk_event_controller_get_current_event(GTK_EVENT_CONTROLLER(controller))) {
    try {
      press = KeyPressPasses::Press(gdk_event_ref(event), gdk_event_unref);
    } catch (const std::bad_alloc&) {
      // Not held, so not remembered: forwarded as a first pass.
    }
  }
  ForwardFirstPass(*static_cast<KeyPressPasses*>(data), std::move(press), keyval, keycode);
  // Never handled here: the focused control in the web view gets the key too.
  return GDK_EVENT_PROPAGATE;
}

// A window whose focus is on no widget delivers key presses to itself only,
// past the page. The page is put into the window after the window is shown,
// when GTK has already chosen (no) initial focus, so the page takes the focus
// itself the first time it is shown in a window that has none.
void OnPageMapped(GtkWidget* page, gpointer) {
  GtkRoot* root = gtk_widget_get_root(page);
  if (root != nullptr && gtk_root_get_focus(root) == nullptr) gtk_widget_grab_focus(page);
}

}  // namespace

void AttachKeyForwarding(GtkWidget* page) {
  GtkEventController* controller = gtk_event_controller_key_new();
  gtk_event_controller_set_name(controller, "tessarel-key-forwarding");
  // Capture phase: the page sees the press on its way down to the focused
  // widget, before the web view can consume it.
  gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
  g_signal_connect_data(
      controller, "key-pressed", G_CALLBACK(OnPageKeyPressed), new KeyPressPasses,
      [](gpointer data, GClosure*) { delete static_cast<KeyPressPasses*>(data); }, GConnectFlags{});
  gtk_widget_add_controller(page, controller);  // the page owns the controller
  g_signal_connect(page, "map", G_CALLBACK(OnPageMapped), nullptr);
}

void ForwardFirstPass(KeyPressPasses& passes, KeyPressPasses::Press press, std::uint32_t keyval,
                      std::uint32_t hardwareKeycode) noexcept {
  bool firstPass = true;
  try {
    firstPass = passes.IsFirstPass(std::move(press));
  } catch (const std::bad_alloc&) {
    // Not remembered. Forwarded: a lost press is worse than a doubled one.
  }
  if (firstPass) ForwardKeyPress(keyval, hardwareKeycode);
}

void ForwardKeyPress(std::uint32_t keyval, std::uint32_t hardwareKeycode) noexcept {
  App* app = App::Current();
  if (app == nullptr) return;
  const std::int32_t usage = HidUsageFromVirtualKey(VirtualKeyFromGdk(keyval, hardwareKeycode));
  try {
    // By index: a binder's emission must not leave us on a stale iterator
    // should the list change underneath.
    std::vector<KeyDown*>& binders = app->KeyBinders();
    for (std::size_t i = 0; i < binders.size(); ++i) binders[i]->OnKeyDown(usage);
  } catch (...) {
    // A key handler reports failure to the platform and shows nothing; GTK
    // has no failure status for a key handler, so the press just ends here.
  }
}

}  // namespace tessarel
