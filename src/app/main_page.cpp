#include "app/main_page.h"

#include "app/app.h"
#include "app/key_forwarding.h"
#include "metadata/host_types.h"

extern "C" void tessarel_app_register_resource(void);

struct _TessarelMainPage {
  GtkWidget parent_instance;
  TessarelReactRootView* rootView;  // bound from the markup
};

G_DEFINE_FINAL_TYPE(TessarelMainPage, tessarel_main_page, GTK_TYPE_WIDGET)

namespace {

void MainPageDispose(GObject* object) {
  gtk_widget_dispose_template(GTK_WIDGET(object), TESSAREL_TYPE_MAIN_PAGE);
  G_OBJECT_CLASS(tessarel_main_page_parent_class)->dispose(object);
}

// Keyboard focus goes to the first child that takes it (the web view).
gboolean MainPageGrabFocus(GtkWidget* widget) {
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (gtk_widget_grab_focus(child)) return TRUE;
  }
  return FALSE;
}

}  // namespace

static void tessarel_main_page_class_init(TessarelMainPageClass* klass) {
  G_OBJECT_CLASS(klass)->dispose = MainPageDispose;
  GtkWidgetClass* widgetClass = GTK_WIDGET_CLASS(klass);
  // The markup names the root view's type; it must be known before loading.
  tessarel::EnsureHostTypesRegistered();
  tessarel_app_register_resource();
  gtk_widget_class_set_template_from_resource(widgetClass, "/io/tessarel/app/main_page.ui");
  gtk_widget_class_bind_template_child_full(widgetClass, "root_view", FALSE,
                                            G_STRUCT_OFFSET(TessarelMainPage, rootView));
  gtk_widget_class_set_layout_manager_type(widgetClass, GTK_TYPE_BIN_LAYOUT);
  gtk_widget_class_set_css_name(widgetClass, "mainpage");
  widgetClass->grab_focus = MainPageGrabFocus;
}

static void tessarel_main_page_init(TessarelMainPage* self) {
  gtk_widget_init_template(GTK_WIDGET(self));
  if (tessarel::App* app = tessarel::App::Current()) {
    tessarel::ReactRootViewSetReactNativeHost(self->rootView, &app->Host());
  }
  tessarel::AttachKeyForwarding(GTK_WIDGET(self));
}

namespace tessarel {

GtkWidget* MainPageNew() {
  return GTK_WIDGET(g_object_new(TESSAREL_TYPE_MAIN_PAGE, nullptr));
}

TessarelReactRootView* MainPageGetRootView(TessarelMainPage* page) {
  g_return_val_if_fail(TESSAREL_IS_MAIN_PAGE(page), nullptr);
  return page->rootView;
}

}  // namespace tessarel
