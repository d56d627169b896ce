// Forwards every key press that reaches the main page to the script's key
// binders as a HID usage code. (Being built.)
#pragma once

typedef struct _GtkWidget GtkWidget;

namespace tessarel {

// Adds a capture-phase key controller to `page` that reports each press to
// every KeyBinderJs in App::Current()->KeyBinders() and never stops the
// event. Call once per page, on the UI thread.
void AttachKeyForwarding(GtkWidget* page);

}  // namespace tessarel
