#include "app/key_forwarding.h"

#include <gtk/gtk.h>

#include <cstddef>
#include <vector>

#include "app/app.h"
#include "app/key_code_table.h"
#include "app/virtual_key.h"
#include "modules/key_binder_js.h"

namespace tessarel {
namespace {

gboolean OnPageKeyPressed(GtkEventControllerKey*, guint keyval, guint keycode, GdkModifierType,
                          gpointer) {
  ForwardKeyPress(keyval, keycode);
  // Never handled here: the focused control in the web view gets the key too.
  return GDK_EVENT_PROPAGATE;
}

}  // namespace

void AttachKeyForwarding(GtkWidget* page) {
  GtkEventController* controller = gtk_event_controller_key_new();
  gtk_event_controller_set_name(controller, "tessarel-key-forwarding");
  // Capture phase: the page sees the press on its way down to the focused
  // widget, before the web view can consume it.
  gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
  g_signal_connect(controller, "key-pressed", G_CALLBACK(OnPageKeyPressed), nullptr);
  gtk_widget_add_controller(page, controller);  // the page owns the controller
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
