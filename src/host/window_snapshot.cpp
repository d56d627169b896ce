#include "host/window_snapshot.h"

#include <gtk/gtk.h>
#include <webkit/webkit.h>

#include <cstdio>
#include <memory>
#include <string>

namespace tessarel {
namespace {

WebKitWebView* FindWebView(GtkWidget* widget) {
  if (WEBKIT_IS_WEB_VIEW(widget)) return WEBKIT_WEB_VIEW(widget);
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (WebKitWebView* found = FindWebView(child)) return found;
  }
  return nullptr;
}

void OnSnapshot(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<std::string> file(static_cast<std::string*>(data));
  GError* error = nullptr;
  GdkTexture* texture =
      webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(source), result, &error);
  if (texture == nullptr) {
    std::fprintf(stderr, "tessarel: no screenshot: %s\n", error ? error->message : "no picture");
    if (error) g_error_free(error);
    return;
  }
  if (!gdk_texture_save_to_png(texture, file->c_str())) {
    std::fprintf(stderr, "tessarel: no screenshot: cannot write %s\n", file->c_str());
  }
  g_object_unref(texture);
}

}  // namespace

void SaveWindowScreenshot(GtkWindow* window, const std::filesystem::path& file) {
  WebKitWebView* view = window ? FindWebView(GTK_WIDGET(window)) : nullptr;
  if (view == nullptr) {
    std::fprintf(stderr, "tessarel: no screenshot: the window shows no page\n");
    return;
  }
  webkit_web_view_get_snapshot(view, WEBKIT_SNAPSHOT_REGION_VISIBLE, WEBKIT_SNAPSHOT_OPTIONS_NONE,
                               nullptr, OnSnapshot,
                               std::make_unique<std::string>(file.string()).release());
}

}  // namespace tessarel
