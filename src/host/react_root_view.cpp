#include "host/react_root_view.h"

#include <memory>
#include <string>

#include "host/react_native_host.h"
#include "host/web_view_bridge.h"

namespace tessarel {
namespace {

struct RootViewState {
  std::string componentName;
  std::string initialProps;
  ReactNativeHost* host = nullptr;
  std::shared_ptr<WebViewBridge> bridge;
};

}  // namespace
}  // namespace tessarel

struct _TessarelReactRootView {
  GtkWidget parent_instance;
  // GObject runs no C++ constructors: the state lives behind a pointer made
  // in init and deleted in finalize.
  tessarel::RootViewState* state;
};

G_DEFINE_FINAL_TYPE(TessarelReactRootView, tessarel_react_root_view, GTK_TYPE_WIDGET)

namespace {

enum RootViewProperty {
  kPropertyNone,
  kPropertyComponentName,
  kPropertyInitialProps,
  kPropertyCount
};

GParamSpec* rootViewProperties[kPropertyCount];  // written once, in class_init

void CloseBridge(tessarel::RootViewState* state) {
  if (!state->bridge) return;
  state->bridge->Close();
  gtk_widget_unparent(state->bridge->Widget());
  state->bridge.reset();
}

void RootViewSetProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
  auto* state = TESSAREL_REACT_ROOT_VIEW(object)->state;
  const char* text = g_value_get_string(value);
  switch (id) {
    case kPropertyComponentName:
      state->componentName = text ? text : "";
      break;
    case kPropertyInitialProps:
      state->initialProps = text ? text : "";
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
      return;
  }
  if (state->bridge) state->bridge->SetComponent(state->componentName, state->initialProps);
}

void RootViewGetProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
  auto* state = TESSAREL_REACT_ROOT_VIEW(object)->state;
  switch (id) {
    case kPropertyComponentName:
      g_value_set_string(value, state->componentName.c_str());
      break;
    case kPropertyInitialProps:
      g_value_set_string(value, state->initialProps.c_str());
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
  }
}

void RootViewDispose(GObject* object) {
  CloseBridge(TESSAREL_REACT_ROOT_VIEW(object)->state);
  G_OBJECT_CLASS(tessarel_react_root_view_parent_class)->dispose(object);
}

void RootViewFinalize(GObject* object) {
  std::unique_ptr<tessarel::RootViewState>(TESSAREL_REACT_ROOT_VIEW(object)->state);
  G_OBJECT_CLASS(tessarel_react_root_view_parent_class)->finalize(object);
}

// Keyboard focus goes to the first child that takes it (the web view).
gboolean RootViewGrabFocus(GtkWidget* widget) {
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (gtk_widget_grab_focus(child)) return TRUE;
  }
  return FALSE;
}

}  // namespace

static void tessarel_react_root_view_class_init(TessarelReactRootViewClass* klass) {
  GObjectClass* objectClass = G_OBJECT_CLASS(klass);
  objectClass->set_property = RootViewSetProperty;
  objectClass->get_property = RootViewGetProperty;
  objectClass->dispose = RootViewDispose;
  objectClass->finalize = RootViewFinalize;

  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                              G_PARAM_EXPLICIT_NOTIFY);
  rootViewProperties[kPropertyComponentName] = g_param_spec_string(
      "component-name", nullptr, "The registered component the bundle runs", "", flags);
  rootViewProperties[kPropertyInitialProps] = g_param_spec_string(
      "initial-props", nullptr, "The component's initial properties as JSON text", "", flags);
  g_object_class_install_properties(objectClass, kPropertyCount, rootViewProperties);

  GtkWidgetClass* widgetClass = GTK_WIDGET_CLASS(klass);
  gtk_widget_class_set_layout_manager_type(widgetClass, GTK_TYPE_BIN_LAYOUT);
  gtk_widget_class_set_css_name(widgetClass, "reactrootview");
  // Keyboard focus goes to the web view inside.
  widgetClass->grab_focus = RootViewGrabFocus;
}

static void tessarel_react_root_view_init(TessarelReactRootView* self) {
  self->state = std::make_unique<tessarel::RootViewState>().release();
  gtk_widget_set_hexpand(GTK_WIDGET(self), TRUE);
  gtk_widget_set_vexpand(GTK_WIDGET(self), TRUE);
}

namespace tessarel {

void ReactRootViewSetReactNativeHost(TessarelReactRootView* view, ReactNativeHost* host) {
  g_return_if_fail(TESSAREL_IS_REACT_ROOT_VIEW(view));
  RootViewState* state = view->state;
  if (state->host == host) return;
  CloseBridge(state);
  state->host = host;
  if (host == nullptr) return;
  state->bridge = WebViewBridge::Create(*host, state->componentName, state->initialProps);
  gtk_widget_set_parent(state->bridge->Widget(), GTK_WIDGET(view));
  state->bridge->Load();
}

ReactNativeHost* ReactRootViewGetReactNativeHost(TessarelReactRootView* view) {
  g_return_val_if_fail(TESSAREL_IS_REACT_ROOT_VIEW(view), nullptr);
  return view->state->host;
}

WebKitWebView* ReactRootViewGetWebView(TessarelReactRootView* view) {
  g_return_val_if_fail(TESSAREL_IS_REACT_ROOT_VIEW(view), nullptr);
  return view->state->bridge ? view->state->bridge->WebView() : nullptr;
}

}  // namespace tessarel
