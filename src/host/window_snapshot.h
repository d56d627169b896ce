// Writes a PNG of what the window shows (--screenshot).
//
// The window's only content is the page, so the picture is the web view's
// visible area as WebKit renders it: a GTK render of the window's widgets
// cannot see into the web process's composited layers.
//
// Thread-safety: UI thread only.
#pragma once

#include <filesystem>

typedef struct _GtkWindow GtkWindow;

namespace tessarel {

// Starts the capture; the file is written when WebKit hands the picture
// over. A failure is reported on standard error.
void SaveWindowScreenshot(GtkWindow* window, const std::filesystem::path& file);

}  // namespace tessarel
