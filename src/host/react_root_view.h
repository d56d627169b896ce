// ReactRootView: the widget in which the script bundle is drawn. It holds one
// web view running the bundle of its ReactNativeHost; the component it runs
// and that component's initial properties come from its properties, usually
// set in a .ui file:
//
//   <object class="TessarelReactRootView" id="root_view">
//     <property name="component-name">Tessarel</property>
//     <property name="initial-props">{"theme": "dark"}</property>
//   </object>
//
//   tessarel::ReactRootViewSetReactNativeHost(view, &app.Host());   // starts it
//
// Properties changed after the bundle has started take effect at its next
// load. Disposing the view closes its bridge: replies and events still on
// their way to it are dropped.
//
// Thread-safety: UI thread only.
#pragma once

#include <gtk/gtk.h>

G_BEGIN_DECLS

#define TESSAREL_TYPE_REACT_ROOT_VIEW (tessarel_react_root_view_get_type())
G_DECLARE_FINAL_TYPE(TessarelReactRootView, tessarel_react_root_view, TESSAREL, REACT_ROOT_VIEW,
                     GtkWidget)

G_END_DECLS

typedef struct _WebKitWebView WebKitWebView;

namespace tessarel {

class ReactNativeHost;

// Binds the view to `host` and loads the bundle; null unbinds. The host must
// outlive the view's binding.
void ReactRootViewSetReactNativeHost(TessarelReactRootView* view, ReactNativeHost* host);
ReactNativeHost* ReactRootViewGetReactNativeHost(TessarelReactRootView* view);

// The web view, or null while no host is bound.
WebKitWebView* ReactRootViewGetWebView(TessarelReactRootView* view);

}  // namespace tessarel
