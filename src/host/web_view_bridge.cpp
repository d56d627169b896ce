#include "host/web_view_bridge.h"

#include <gtk/gtk.h>
#include <webkit/webkit.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <utility>
#include <variant>

#include "host/bridge_call.h"
#include "host/bundle_page.h"
#include "host/host_resources.h"
#include "host/json_value_io.h"
#include "host/page_close_request.h"
#include "host/page_files.h"
#include "host/react_native_host.h"
#include "platform/hresult_error.h"

namespace tessarel {
namespace {

template <auto F>
struct CDeleter {
  void operator()(auto* p) const { F(p); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, CDeleter<g_object_unref>>;
using GCharPtr = std::unique_ptr<char, CDeleter<g_free>>;
using UserScriptPtr = std::unique_ptr<WebKitUserScript, CDeleter<webkit_user_script_unref>>;

constexpr char kBundleFileKey[] = "tessarel-bundle-file";
constexpr char kBridgeHandler[] = "tessarel";
constexpr char kConsoleHandler[] = "tessarelConsole";

std::string JsonString(std::string_view text) {
  return nlohmann::json(std::string(text))
      .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The page's answer handle and the script context its value is made in. Both
// belong to the UI thread, but the last reference to a reply may be dropped
// wherever a promise settles: there it is handed to the loop to release.
struct ReplyTarget {
  WebKitScriptMessageReply* reply;
  JSCContext* context;
  std::thread::id uiThread;

  static void Release(ReplyTarget* target) {
    std::unique_ptr<ReplyTarget> owned(target);
    webkit_script_message_reply_unref(owned->reply);
    g_object_unref(owned->context);
  }
};

std::shared_ptr<ReplyTarget> MakeReplyTarget(WebKitScriptMessageReply* reply, JSCContext* context,
                                             std::thread::id uiThread) {
  auto target = std::make_unique<ReplyTarget>(ReplyTarget{
      webkit_script_message_reply_ref(reply), JSC_CONTEXT(g_object_ref(context)), uiThread});
  return std::shared_ptr<ReplyTarget>(target.release(), [](ReplyTarget* released) {
    if (std::this_thread::get_id() == released->uiThread) {
      ReplyTarget::Release(released);
      return;
    }
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
          ReplyTarget::Release(static_cast<ReplyTarget*>(data));
          return G_SOURCE_REMOVE;
        },
        released, nullptr);
  });
}

void FinishWithError(WebKitURISchemeRequest* request, const std::string& text) {
  GError* error = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_NOT_FOUND, text.c_str());
  webkit_uri_scheme_request_finish_error(request, error);
  g_error_free(error);
}

void FinishWithStream(WebKitURISchemeRequest* request, GInputStream* stream, gint64 size,
                      const char* contentType) {
  GObjectPtr<WebKitURISchemeResponse> response(webkit_uri_scheme_response_new(stream, size));
  webkit_uri_scheme_response_set_content_type(response.get(), contentType);
  webkit_uri_scheme_response_set_status(response.get(), 200, "OK");
  SoupMessageHeaders* headers = soup_message_headers_new(SOUP_MESSAGE_HEADERS_RESPONSE);
  soup_message_headers_append(headers, "Content-Security-Policy",
                              std::string(kContentSecurityPolicy).c_str());
  soup_message_headers_append(headers, "Cache-Control", "no-store");
  webkit_uri_scheme_response_set_http_headers(response.get(), headers);  // takes ownership
  webkit_uri_scheme_request_finish_with_response(request, response.get());
}

void ServeFile(WebKitURISchemeRequest* request, const std::filesystem::path& file, bool isBundle) {
  GObjectPtr<GFile> handle(g_file_new_for_path(file.c_str()));
  GError* error = nullptr;
  GObjectPtr<GFileInputStream> stream(g_file_read(handle.get(), nullptr, &error));
  GObjectPtr<GFileInfo> info(
      stream ? g_file_input_stream_query_info(stream.get(), G_FILE_ATTRIBUTE_STANDARD_SIZE, nullptr,
                                              error ? nullptr : &error)
             : nullptr);
  if (!stream || !info) {
    const std::string text = error ? error->message : "cannot be read";
    if (error) g_error_free(error);
    // A bundle that cannot be read leaves an empty window; say why.
    if (isBundle)
      std::fprintf(stderr, "tessarel: cannot read the bundle %s: %s\n", file.c_str(), text.c_str());
    FinishWithError(request, text);
    return;
  }
  std::string mime = "text/javascript";
  if (!isBundle) {
    GCharPtr guessed(g_content_type_guess(file.c_str(), nullptr, 0, nullptr));
    GCharPtr type(guessed ? g_content_type_get_mime_type(guessed.get()) : nullptr);
    if (type) mime = type.get();
    if (file.extension() == ".js" || file.extension() == ".mjs") mime = "text/javascript";
  }
  FinishWithStream(request, G_INPUT_STREAM(stream.get()), g_file_info_get_size(info.get()),
                   mime.c_str());
}

void OnSchemeRequest(WebKitURISchemeRequest* request, gpointer) {
  WebKitWebView* view = webkit_uri_scheme_request_get_web_view(request);
  const auto* bundleFile = view ? static_cast<const std::filesystem::path*>(
                                      g_object_get_data(G_OBJECT(view), kBundleFileKey))
                                : nullptr;
  const char* uri = webkit_uri_scheme_request_get_uri(request);
  if (bundleFile == nullptr || uri == nullptr || !IsBundlePageUri(uri)) {
    FinishWithError(request, "Not found");
    return;
  }
  GCharPtr path(g_uri_unescape_string(webkit_uri_scheme_request_get_path(request), nullptr));
  const std::string_view requestPath = path ? path.get() : "";
  if (requestPath == "/index.html" || requestPath == "/") {
    std::string html = IndexHtml();
    const auto size = static_cast<gint64>(html.size());
    GObjectPtr<GInputStream> stream(
        g_memory_input_stream_new_from_data(g_strndup(html.data(), html.size()), size, g_free));
    FinishWithStream(request, stream.get(), size, "text/html");
    return;
  }
  const auto file = ResolveBundleResource(*bundleFile, requestPath);
  if (!file) {
    FinishWithError(request, "Not found");
    return;
  }
  ServeFile(request, *file, requestPath == kBundleScriptPath);
}

// One handler per process: the scheme belongs to the default web context,
// and each request finds its bundle through its web view.
void EnsureSchemeRegistered() {
  static std::once_flag once;
  std::call_once(once, [] {
    WebKitWebContext* context = webkit_web_context_get_default();
    const std::string scheme(kBundleScheme);
    webkit_web_context_register_uri_scheme(context, scheme.c_str(), OnSchemeRequest, nullptr,
                                           nullptr);
    WebKitSecurityManager* security = webkit_web_context_get_security_manager(context);
    webkit_security_manager_register_uri_scheme_as_secure(security, scheme.c_str());
  });
}

// The persistent session is made once per process: WebKit allows one
// session per data directory.
WebKitNetworkSession* PersistentSession() {
  static WebKitNetworkSession* const session = [] {
    GCharPtr data(g_build_filename(g_get_user_data_dir(), "tessarel", "webkit", nullptr));
    GCharPtr cache(g_build_filename(g_get_user_cache_dir(), "tessarel", "webkit", nullptr));
    return webkit_network_session_new(data.get(), cache.get());
  }();
  return session;
}

void PrintConsoleLine(std::string_view level, std::string_view text) {
  std::fprintf(stdout, "[%.*s] %.*s\n", static_cast<int>(level.size()), level.data(),
               static_cast<int>(text.size()), text.data());
  std::fflush(stdout);
}

}  // namespace

struct WebViewBridge::Private {
  WebKitUserContentManager* contentManager = nullptr;
  UserScriptPtr bridgeScript;
  UserScriptPtr consoleScript;
  bool console = false;
};

// The GTK and WebKit signal handlers; each gets the bridge as user data and
// is disconnected by that data in Close, before the bridge goes.
struct WebViewBridge::Callbacks {
  static gboolean OnBridgeMessage(WebKitUserContentManager*, JSCValue* message,
                                  WebKitScriptMessageReply* reply, gpointer data) {
    static_cast<WebViewBridge*>(data)->OnScriptMessage(message, reply);
    return TRUE;
  }

  static void OnConsoleMessage(WebKitUserContentManager*, JSCValue* message, gpointer data) {
    auto* bridge = static_cast<WebViewBridge*>(data);
    const char* uri = webkit_web_view_get_uri(bridge->webView_);
    if (uri == nullptr || !IsBundlePageUri(uri) || !jsc_value_is_string(message)) return;
    GCharPtr text(jsc_value_to_string(message));
    try {
      const auto entry = ParseJsonText(text.get());
      PrintConsoleLine(entry.value("level", "log"), entry.value("text", ""));
    } catch (const std::exception&) {
      PrintConsoleLine("log", text.get());
    }
  }

  static void OnLoadChanged(WebKitWebView*, WebKitLoadEvent event, gpointer data) {
    auto* bridge = static_cast<WebViewBridge*>(data);
    if (event == WEBKIT_LOAD_COMMITTED) bridge->OnLoadCommitted();
    if (event == WEBKIT_LOAD_FINISHED) bridge->OnLoadFinished();
  }

  static gboolean OnDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision,
                                 WebKitPolicyDecisionType type, gpointer data) {
    auto* bridge = static_cast<WebViewBridge*>(data);
    if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) return FALSE;
    const char* uri = "";
    if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION ||
        type == WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) {
      WebKitNavigationAction* action = webkit_navigation_policy_decision_get_navigation_action(
          WEBKIT_NAVIGATION_POLICY_DECISION(decision));
      const char* requested =
          webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
      if (requested != nullptr) uri = requested;
    }
    // The page never leaves the bundle's origin and never opens windows.
    if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION && IsAllowedNavigation(uri)) {
      webkit_policy_decision_use(decision);
      return TRUE;
    }
    webkit_policy_decision_ignore(decision);
    if (bridge->private_->console) {
      PrintConsoleLine("host", std::string("refused navigation to ") + uri);
    }
    return TRUE;
  }

  static void OnWebProcessTerminated(WebKitWebView*, WebKitWebProcessTerminationReason reason,
                                     gpointer data) {
    if (reason == WEBKIT_WEB_PROCESS_TERMINATED_BY_API) return;
    static_cast<WebViewBridge*>(data)->OnWebProcessTerminated();
  }

  // Only editable content keeps a context menu (cut, copy, paste), without
  // the browser's navigation entries.
  static gboolean OnContextMenu(WebKitWebView*, WebKitContextMenu* menu, WebKitHitTestResult* hit,
                                gpointer) {
    if (!webkit_hit_test_result_context_is_editable(hit)) return TRUE;
    GList* items = g_list_copy(webkit_context_menu_get_items(menu));
    for (GList* item = items; item != nullptr; item = item->next) {
      auto* entry = WEBKIT_CONTEXT_MENU_ITEM(item->data);
      switch (webkit_context_menu_item_get_stock_action(entry)) {
        case WEBKIT_CONTEXT_MENU_ACTION_GO_BACK:
        case WEBKIT_CONTEXT_MENU_ACTION_GO_FORWARD:
        case WEBKIT_CONTEXT_MENU_ACTION_STOP:
        case WEBKIT_CONTEXT_MENU_ACTION_RELOAD:
        case WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT:
          webkit_context_menu_remove(menu, entry);
          break;
        default:
          break;
      }
    }
    g_list_free(items);
    return FALSE;
  }

  // window.close() from the page closes the window it is shown in.
  static void OnClose(WebKitWebView* view, gpointer) {
    if (auto* window = GTK_WINDOW(gtk_widget_get_root(GTK_WIDGET(view)))) gtk_window_close(window);
  }

  static void OnScriptFinished(GObject* source, GAsyncResult* result, gpointer) {
    GError* error = nullptr;
    JSCValue* value =
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
    if (value != nullptr) g_object_unref(value);
    if (error != nullptr) {
      PrintConsoleLine("host", std::string("script failed: ") + error->message);
      g_error_free(error);
    }
  }
};

std::shared_ptr<WebViewBridge> WebViewBridge::Create(ReactNativeHost& host,
                                                     std::string componentName,
                                                     std::string initialProps) {
  std::shared_ptr<WebViewBridge> bridge(
      new WebViewBridge(host, std::move(componentName), std::move(initialProps)));
  bridge->Attach();
  return bridge;
}

WebViewBridge::WebViewBridge(ReactNativeHost& host, std::string componentName,
                             std::string initialProps)
    : host_(&host),
      componentName_(std::move(componentName)),
      initialProps_(std::move(initialProps)),
      token_(NewBridgeToken()),
      private_(std::make_unique<Private>()) {}

WebViewBridge::~WebViewBridge() {
  Close();
  if (private_->contentManager != nullptr) g_object_unref(private_->contentManager);
  if (webView_ != nullptr) g_object_unref(webView_);
}

GtkWidget* WebViewBridge::Widget() const noexcept {
  return GTK_WIDGET(webView_);
}

void WebViewBridge::SetComponent(std::string componentName, std::string initialProps) {
  componentName_ = std::move(componentName);
  initialProps_ = std::move(initialProps);
}

void WebViewBridge::Attach() {
  EnsureSchemeRegistered();
  private_->console = host_->Overrides().console;
  const std::shared_ptr<ReactInstance> instance =
      host_->Instance() ? host_->Instance() : host_->ReloadInstance();

  private_->contentManager = webkit_user_content_manager_new();
  WebKitUserContentManager* manager = private_->contentManager;
  g_signal_connect(manager, "script-message-with-reply-received::tessarel",
                   G_CALLBACK(Callbacks::OnBridgeMessage), this);
  webkit_user_content_manager_register_script_message_handler_with_reply(manager, kBridgeHandler,
                                                                         nullptr);
  if (private_->console) {
    g_signal_connect(manager, "script-message-received::tessarelConsole",
                     G_CALLBACK(Callbacks::OnConsoleMessage), this);
    webkit_user_content_manager_register_script_message_handler(manager, kConsoleHandler, nullptr);
    private_->consoleScript.reset(
        webkit_user_script_new(HostResourceText("/io/tessarel/host/console.js").c_str(),
                               WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                               WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr));
    webkit_user_content_manager_add_script(manager, private_->consoleScript.get());
  }
  InstallBridgeScript();

  GObjectPtr<WebKitSettings> settings(webkit_settings_new());
  webkit_settings_set_enable_developer_extras(settings.get(),
                                              host_->InstanceSettings().UseDeveloperSupport);
  webkit_settings_set_javascript_can_open_windows_automatically(settings.get(), FALSE);
  webkit_settings_set_enable_back_forward_navigation_gestures(settings.get(), FALSE);

  GObjectPtr<WebKitNetworkSession> ephemeral;
  WebKitNetworkSession* session = nullptr;
  if (instance && instance->UsesPersistentWebStorage()) {
    session = PersistentSession();
  } else {
    ephemeral.reset(webkit_network_session_new_ephemeral());
    session = ephemeral.get();
  }
  webView_ = WEBKIT_WEB_VIEW(g_object_ref_sink(
      g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", session, "user-content-manager",
                   manager, "settings", settings.get(), nullptr)));
  gtk_widget_set_hexpand(GTK_WIDGET(webView_), TRUE);
  gtk_widget_set_vexpand(GTK_WIDGET(webView_), TRUE);
  // Both before the navigation policy below, which would refuse page-made data.
  AllowPageFileExchange(webView_, private_->console);
  AskPageBeforeClosing(webView_);

  g_signal_connect(webView_, "load-changed", G_CALLBACK(Callbacks::OnLoadChanged), this);
  g_signal_connect(webView_, "decide-policy", G_CALLBACK(Callbacks::OnDecidePolicy), this);
  g_signal_connect(webView_, "web-process-terminated",
                   G_CALLBACK(Callbacks::OnWebProcessTerminated), this);
  g_signal_connect(webView_, "context-menu", G_CALLBACK(Callbacks::OnContextMenu), this);
  g_signal_connect(webView_, "close", G_CALLBACK(Callbacks::OnClose), this);
}

void WebViewBridge::InstallBridgeScript() {
  WebKitUserContentManager* manager = private_->contentManager;
  if (private_->bridgeScript) {
    webkit_user_content_manager_remove_script(manager, private_->bridgeScript.get());
  }
  const auto& instance = host_->Instance();
  const std::string config = "{\"token\":" + JsonString(token_) + ",\"modules\":" +
                             (instance ? instance->DescribeModules() : std::string("{}")) + "}";
  const std::string source =
      HostResourceText("/io/tessarel/host/bridge.js") + "(" + config + ");\n";
  // Only the top frame of the bundle's own page gets the bridge, and with it
  // the token.
  const std::string pattern = std::string(kBundleOrigin) + "/*";
  const char* const allowList[] = {pattern.c_str(), nullptr};
  private_->bridgeScript.reset(
      webkit_user_script_new(source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                             WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, allowList, nullptr));
  webkit_user_content_manager_add_script(manager, private_->bridgeScript.get());
}

void WebViewBridge::Load() {
  if (closed_) return;
  std::unique_ptr<std::filesystem::path> bundleFile;
  try {
    bundleFile = std::make_unique<std::filesystem::path>(host_->BundleFile());
  } catch (const hresult_error& error) {
    std::fprintf(stderr, "tessarel: no bundle to run: %s\n", error.message().c_str());
  }
  if (bundleFile) {
    g_object_set_data_full(
        G_OBJECT(webView_), kBundleFileKey, bundleFile.release(), [](gpointer data) {
          std::unique_ptr<std::filesystem::path>(static_cast<std::filesystem::path*>(data));
        });
  }
  webkit_web_view_load_uri(webView_, std::string(kBundlePageUri).c_str());
}

void WebViewBridge::Close() {
  if (closed_) return;
  closed_ = true;
  if (webView_ != nullptr) {
    g_signal_handlers_disconnect_by_data(webView_, this);
    webkit_web_view_stop_loading(webView_);
  }
  if (WebKitUserContentManager* manager = private_->contentManager) {
    g_signal_handlers_disconnect_by_data(manager, this);
    webkit_user_content_manager_unregister_script_message_handler(manager, kBridgeHandler, nullptr);
    if (private_->console) {
      webkit_user_content_manager_unregister_script_message_handler(manager, kConsoleHandler,
                                                                    nullptr);
    }
    webkit_user_content_manager_remove_all_scripts(manager);
  }
  if (const auto& instance = host_->Instance()) instance->SetEventSink({});
}

void WebViewBridge::OnScriptMessage(JSCValue* message, WebKitScriptMessageReply* reply) {
  auto refuse = [&](const std::string& reason) {
    if (private_->console) PrintConsoleLine("host", "refused a message: " + reason);
    webkit_script_message_reply_return_error_message(reply, ("Refused: " + reason).c_str());
  };
  const char* pageUri = webkit_web_view_get_uri(webView_);
  if (closed_ || pageUri == nullptr || !IsBundlePageUri(pageUri)) {
    refuse("not from the bundle's page");
    return;
  }
  if (!jsc_value_is_string(message)) {
    refuse("malformed message");
    return;
  }
  GCharPtr text(jsc_value_to_string(message));
  BridgeMessage parsed = ParseBridgeMessage(text.get(), token_);
  if (const auto* refusal = std::get_if<BridgeRefusal>(&parsed)) {
    refuse(refusal->reason);
    return;
  }
  JSCContext* context = jsc_value_get_context(message);
  if (std::holds_alternative<BridgeRendered>(parsed)) {
    GObjectPtr<JSCValue> none(jsc_value_new_null(context));
    webkit_script_message_reply_return_value(reply, none.get());
    OnRendered();
    return;
  }
  // A copy: a method may reload the host, and the call must finish on the
  // instance it started on.
  const std::shared_ptr<ReactInstance> instance = host_->Instance();
  auto target = MakeReplyTarget(reply, context, uiThread_);
  auto deliver = [bridge = weak_from_this(), target](const std::string& envelope) {
    auto alive = bridge.lock();
    if (!alive || alive->closed_) return;  // the page is gone; nobody waits
    GObjectPtr<JSCValue> value(jsc_value_new_string(target->context, envelope.c_str()));
    webkit_script_message_reply_return_value(target->reply, value.get());
  };
  if (!instance) {
    deliver(RejectEnvelope("The script host is not running"));
    return;
  }
  BridgeReply replyOnce = [deliver, ui = instance->UiDispatcher(),
                           uiThread = uiThread_](std::string envelope) {
    if (std::this_thread::get_id() == uiThread) {
      deliver(envelope);
    } else {
      ui->Post([deliver, envelope = std::move(envelope)] { deliver(envelope); });
    }
  };
  DispatchBridgeCall(*instance, std::move(std::get<BridgeCall>(parsed)), std::move(replyOnce));
}

void WebViewBridge::OnLoadCommitted() {
  rendered_ = false;
  // Every document after the first starts a new instance: the modules of the
  // old document go, and new ones are made for the new document.
  if (++documentCount_ > 1) {
    host_->ReloadInstance();
    InstallBridgeScript();
  }
}

void WebViewBridge::OnLoadFinished() {
  const char* uri = webkit_web_view_get_uri(webView_);
  const auto& instance = host_->Instance();
  if (uri == nullptr || !IsBundlePageUri(uri) || !instance) return;
  std::string props = initialProps_.empty() ? std::string("null") : initialProps_;
  try {
    props = ParseJsonText(props).dump();
  } catch (const JsonFormatError&) {
    std::fprintf(stderr, "tessarel: initial-props is not JSON; starting with none\n");
    props = "null";
  }
  RunScript("TessarelNative.runApplication(" + JsonString(componentName_) + "," + props + ")");
  // From here on events reach the page, those queued while it loaded first.
  instance->SetEventSink(
      [bridge = weak_from_this()](const std::string& name, const std::string& argsJson) {
        if (auto alive = bridge.lock()) alive->EmitToPage(name, argsJson);
      });
}

void WebViewBridge::OnRendered() {
  if (rendered_) return;
  rendered_ = true;
  crashCount_ = 0;
  host_->ContentRendered.Raise();
}

void WebViewBridge::OnWebProcessTerminated() {
  // A page that keeps crashing before it draws is left alone after a few tries.
  constexpr int kMaxReloads = 3;
  if (closed_ || ++crashCount_ > kMaxReloads) return;
  std::fprintf(stderr, "tessarel: the page's web process ended; reloading the bundle\n");
  webkit_web_view_reload(webView_);
}

void WebViewBridge::EmitToPage(const std::string& eventName, const std::string& argsJson) {
  if (closed_) return;
  RunScript("TessarelNative.__emit(" + JsonString(eventName) + "," + argsJson + ")");
}

void WebViewBridge::RunScript(const std::string& script) {
  webkit_web_view_evaluate_javascript(
      webView_, script.c_str(), static_cast<gssize>(script.size()), nullptr, nullptr, nullptr,
      private_->console ? Callbacks::OnScriptFinished : nullptr, nullptr);
}

}  // namespace tessarel
