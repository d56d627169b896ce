// The web view side of the script bridge: one WebKitWebView that shows the
// bundle's page from the tessarel:// scheme, the page's message channel to
// the host's modules, event delivery, navigation policy and --console.
//
//   auto bridge = WebViewBridge::Create(host, "Tessarel", "{}");
//   gtk_widget_set_parent(bridge->Widget(), parent);
//   bridge->Load();
//   ...
//   bridge->Close();   // before the widget goes: later replies are dropped
//
// The view answers only messages from the bundle's own page: the view must
// show a tessarel://app/ document and the message must carry the token that
// only the bridge script in that page's top frame holds.
//
// Thread-safety: UI thread only. Replies to the page may be produced on any
// thread (a promise settled elsewhere); they are posted to the UI thread and
// dropped there if the bridge has been closed.
#pragma once

#include <memory>
#include <string>
#include <thread>

typedef struct _GtkWidget GtkWidget;
typedef struct _JSCValue JSCValue;
typedef struct _WebKitScriptMessageReply WebKitScriptMessageReply;
typedef struct _WebKitWebView WebKitWebView;

namespace tessarel {

class ReactNativeHost;

class WebViewBridge : public std::enable_shared_from_this<WebViewBridge> {
 public:
  static std::shared_ptr<WebViewBridge> Create(ReactNativeHost& host, std::string componentName,
                                               std::string initialProps);
  ~WebViewBridge();
  WebViewBridge(const WebViewBridge&) = delete;
  WebViewBridge& operator=(const WebViewBridge&) = delete;

  GtkWidget* Widget() const noexcept;
  WebKitWebView* WebView() const noexcept { return webView_; }

  // Starts the bundle's page (again).
  void Load();

  // Disconnects from the web view and the host. Idempotent.
  void Close();

  void SetComponent(std::string componentName, std::string initialProps);

 private:
  struct Private;
  struct Callbacks;
  WebViewBridge(ReactNativeHost& host, std::string componentName, std::string initialProps);
  void Attach();
  void InstallBridgeScript();
  void OnScriptMessage(JSCValue* message, WebKitScriptMessageReply* reply);
  void OnLoadCommitted();
  void OnLoadFinished();
  void OnRendered();
  void OnWebProcessTerminated();
  void EmitToPage(const std::string& eventName, const std::string& argsJson);
  void RunScript(const std::string& script);

  ReactNativeHost* host_;
  std::string componentName_;
  std::string initialProps_;
  std::string token_;
  WebKitWebView* webView_ = nullptr;  // a reference of our own
  std::unique_ptr<Private> private_;
  std::thread::id uiThread_ = std::this_thread::get_id();
  int documentCount_ = 0;
  int crashCount_ = 0;
  bool rendered_ = false;
  bool closed_ = false;
};

}  // namespace tessarel
