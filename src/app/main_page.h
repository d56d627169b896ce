// MainPage: the application's only page. Its markup (main_page.ui, compiled
// into the program) holds one ReactRootView filling the page, whose component
// name and initial properties are set there. Making a page binds that root
// view to App::Current()'s script host, which starts the bundle, and attaches
// key forwarding to the page.
//
//   ShowPage(MainPageNew());
//
// Thread-safety: UI thread only.
#pragma once

#include <gtk/gtk.h>

#include "host/react_root_view.h"

G_BEGIN_DECLS

#define TESSAREL_TYPE_MAIN_PAGE (tessarel_main_page_get_type())
G_DECLARE_FINAL_TYPE(TessarelMainPage, tessarel_main_page, TESSAREL, MAIN_PAGE, GtkWidget)

G_END_DECLS

namespace tessarel {

// A new page (floating reference).
GtkWidget* MainPageNew();

// The root view from the markup.
TessarelReactRootView* MainPageGetRootView(TessarelMainPage* page);

}  // namespace tessarel
