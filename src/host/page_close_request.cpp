#include "host/page_close_request.h"

#include <gtk/gtk.h>
#include <webkit/webkit.h>

#include <cstdint>
#include <memory>

#include "host/bridge_call.h"

namespace tessarel {
namespace {

constexpr char kStateKey[] = "tessarel-close-request";

// Run as the body of an async function in the page's world. The bridge
// script defines __closeRequested; a page without the bridge may close.
constexpr char kAskThePage[] =
    "const native = globalThis.TessarelNative;\n"
    "if (!native || typeof native.__closeRequested !== 'function') return true;\n"
    "return await native.__closeRequested();";

// Belongs to the web view (its object data) and goes with it.
struct CloseState {
  GtkWindow* window = nullptr;  // weak: cleared when the window goes
  gulong closeHandler = 0;
  guint timeout = 0;
  bool asking = false;
  bool agreed = false;         // lets the next close request through, once
  std::uint64_t question = 0;  // matches an answer to the question it answers

  ~CloseState() {
    if (timeout != 0) g_source_remove(timeout);
    Detach();
  }

  void Detach() {
    if (window == nullptr) return;
    g_signal_handler_disconnect(window, closeHandler);
    g_object_remove_weak_pointer(G_OBJECT(window), reinterpret_cast<gpointer*>(&window));
    window = nullptr;
  }

  void Settle(bool mayClose) {
    asking = false;
    if (timeout != 0) g_source_remove(timeout);
    timeout = 0;
    if (!mayClose || window == nullptr) return;
    agreed = true;
    gtk_window_close(window);
  }
};

CloseState* StateOf(WebKitWebView* view) {
  return static_cast<CloseState*>(g_object_get_data(G_OBJECT(view), kStateKey));
}

void OnAnswer(GObject* source, GAsyncResult* result, gpointer question) {
  auto* view = WEBKIT_WEB_VIEW(source);
  GError* error = nullptr;
  JSCValue* value = webkit_web_view_call_async_javascript_function_finish(view, result, &error);
  // Only a plain false keeps the window; a failed call is no answer.
  bool mayClose = true;
  if (value != nullptr) {
    mayClose = !(jsc_value_is_boolean(value) && !jsc_value_to_boolean(value));
    g_object_unref(value);
  }
  if (error != nullptr) g_error_free(error);
  CloseState* state = StateOf(view);
  if (state == nullptr || !state->asking || state->question != GPOINTER_TO_SIZE(question)) return;
  state->Settle(mayClose);
}

gboolean OnNoAnswer(gpointer data) {
  auto* state = static_cast<CloseState*>(data);
  state->timeout = 0;
  state->Settle(true);
  return G_SOURCE_REMOVE;
}

gboolean OnCloseRequest(GtkWindow*, gpointer data) {
  auto* view = WEBKIT_WEB_VIEW(data);
  CloseState* state = StateOf(view);
  if (state == nullptr) return FALSE;
  if (state->agreed) {
    state->agreed = false;
    return FALSE;
  }
  const char* uri = webkit_web_view_get_uri(view);
  if (uri == nullptr || !IsBundlePageUri(uri)) return FALSE;
  if (state->asking) return TRUE;  // the page is being asked already
  state->asking = true;
  ++state->question;
  webkit_web_view_call_async_javascript_function(view, kAskThePage, -1, nullptr, nullptr, nullptr,
                                                 nullptr, OnAnswer,
                                                 GSIZE_TO_POINTER(state->question));
  state->timeout =
      g_timeout_add(static_cast<guint>(kCloseAnswerTimeout.count()), OnNoAnswer, state);
  return TRUE;
}

// The view learns its window when it is shown in one.
void OnMap(GtkWidget* widget, gpointer) {
  auto* view = WEBKIT_WEB_VIEW(widget);
  CloseState* state = StateOf(view);
  auto* window = GTK_IS_WINDOW(gtk_widget_get_root(widget))
                     ? GTK_WINDOW(gtk_widget_get_root(widget))
                     : nullptr;
  if (state == nullptr || window == state->window) return;
  state->Detach();
  if (window == nullptr) return;
  state->window = window;
  g_object_add_weak_pointer(G_OBJECT(window), reinterpret_cast<gpointer*>(&state->window));
  state->closeHandler = g_signal_connect(window, "close-request", G_CALLBACK(OnCloseRequest), view);
}

}  // namespace

void AskPageBeforeClosing(WebKitWebView* view) {
  g_object_set_data_full(
      G_OBJECT(view), kStateKey, std::make_unique<CloseState>().release(),
      [](gpointer data) { std::unique_ptr<CloseState>(static_cast<CloseState*>(data)); });
  g_signal_connect(view, "map", G_CALLBACK(OnMap), nullptr);
}

}  // namespace tessarel
