#include "host/page_files.h"

#include <gtk/gtk.h>
#include <webkit/webkit.h>

#include <cstdio>
#include <string>

#include "host/bridge_call.h"

namespace tessarel {
namespace {

constexpr char kConsoleKey[] = "tessarel-files-console";
constexpr char kDownloadKey[] = "tessarel-download";

bool ShowsBundlePage(WebKitWebView* view) {
  const char* uri = webkit_web_view_get_uri(view);
  return uri != nullptr && IsBundlePageUri(uri);
}

void Refuse(WebKitWebView* view, const char* what, const char* uri) {
  if (g_object_get_data(G_OBJECT(view), kConsoleKey) == nullptr) return;
  std::fprintf(stdout, "[host] refused %s of %s\n", what, uri != nullptr ? uri : "(no address)");
  std::fflush(stdout);
}

// Connected before the bridge's own navigation policy, which refuses every
// address outside the bundle's origin: page-made data becomes a download
// instead of a refused navigation.
gboolean OnDecidePolicy(WebKitWebView* view, WebKitPolicyDecision* decision,
                        WebKitPolicyDecisionType type, gpointer) {
  if (type != WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION || !ShowsBundlePage(view)) return FALSE;
  WebKitNavigationAction* action = webkit_navigation_policy_decision_get_navigation_action(
      WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  const char* uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  if (uri == nullptr || !IsPageMadeData(uri)) return FALSE;
  // Only a person's click saves a file: a page cannot open dialogs by itself.
  if (!webkit_navigation_action_is_user_gesture(action)) return FALSE;
  webkit_policy_decision_download(decision);
  return TRUE;
}

G_GNUC_BEGIN_IGNORE_DEPRECATIONS  // GtkFileChooserNative: GTK 4.8 has no GtkFileDialog

    void
    OnSaveResponse(GtkNativeDialog* dialog, int response, gpointer) {
  auto* download = static_cast<WebKitDownload*>(g_object_get_data(G_OBJECT(dialog), kDownloadKey));
  char* path = nullptr;
  if (response == GTK_RESPONSE_ACCEPT) {
    if (GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog))) {
      path = g_file_get_path(file);
      g_object_unref(file);
    }
  }
  if (path != nullptr) {
    // The dialog has asked before choosing an existing file.
    webkit_download_set_allow_overwrite(download, TRUE);
    webkit_download_set_destination(download, path);
    g_free(path);
  } else {
    webkit_download_cancel(download);
  }
  gtk_native_dialog_destroy(dialog);
  g_object_unref(dialog);
}

gboolean OnDecideDestination(WebKitDownload* download, const char* suggestedName, gpointer) {
  WebKitWebView* view = webkit_download_get_web_view(download);
  GtkRoot* root = view != nullptr ? gtk_widget_get_root(GTK_WIDGET(view)) : nullptr;
  GtkFileChooserNative* chooser =
      gtk_file_chooser_native_new("Save", GTK_IS_WINDOW(root) ? GTK_WINDOW(root) : nullptr,
                                  GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", "_Cancel");
  gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), TRUE);
  if (suggestedName != nullptr && suggestedName[0] != '\0')
    gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(chooser), suggestedName);
  g_object_set_data_full(G_OBJECT(chooser), kDownloadKey, g_object_ref(download), g_object_unref);
  g_signal_connect(chooser, "response", G_CALLBACK(OnSaveResponse), nullptr);
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
  return TRUE;  // the destination is set when the user has chosen it
}

G_GNUC_END_IGNORE_DEPRECATIONS

void OnDownloadStarted(WebKitNetworkSession*, WebKitDownload* download, gpointer data) {
  auto* view = WEBKIT_WEB_VIEW(data);
  if (webkit_download_get_web_view(download) != view) return;  // another view's
  const char* uri = webkit_uri_request_get_uri(webkit_download_get_request(download));
  if (uri != nullptr && IsPageMadeData(uri) && ShowsBundlePage(view)) {
    g_signal_connect(download, "decide-destination", G_CALLBACK(OnDecideDestination), nullptr);
    return;
  }
  Refuse(view, "download", uri);
  webkit_download_cancel(download);
}

// WebKit's own handler runs GTK's file chooser for the bundle's page.
gboolean OnRunFileChooser(WebKitWebView* view, WebKitFileChooserRequest* request, gpointer) {
  if (ShowsBundlePage(view)) return FALSE;
  Refuse(view, "file chooser", webkit_web_view_get_uri(view));
  webkit_file_chooser_request_cancel(request);
  return TRUE;
}

}  // namespace

bool IsPageMadeData(std::string_view uri) noexcept {
  constexpr std::string_view kBlob = "blob:";
  if (uri.starts_with("data:")) return true;
  if (!uri.starts_with(kBlob)) return false;
  const std::string_view origin = uri.substr(kBlob.size());
  return origin.starts_with(kBundleOrigin) && origin.substr(kBundleOrigin.size()).starts_with("/");
}

void AllowPageFileExchange(WebKitWebView* view, bool console) {
  if (console) g_object_set_data(G_OBJECT(view), kConsoleKey, GINT_TO_POINTER(1));
  g_signal_connect(view, "decide-policy", G_CALLBACK(OnDecidePolicy), nullptr);
  g_signal_connect(view, "run-file-chooser", G_CALLBACK(OnRunFileChooser), nullptr);
  // The session may be shared by several views and outlive this one: the
  // handler goes with the view.
  g_signal_connect_object(webkit_web_view_get_network_session(view), "download-started",
                          G_CALLBACK(OnDownloadStarted), view, static_cast<GConnectFlags>(0));
}

}  // namespace tessarel
