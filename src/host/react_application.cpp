#include "host/react_application.h"

#include <gtk/gtk.h>

#include <atomic>
#include <cstdio>
#include <mutex>

#include "host/react_native_host.h"
#include "host/window_snapshot.h"
#include "platform/dispatcher.h"
#include "platform/main_context_dispatcher.h"
#include "platform/package.h"

namespace tessarel {
namespace {

constexpr char kDefaultApplicationId[] = "io.tessarel.Host";
constexpr int kDefaultWidth = 1200;
constexpr int kDefaultHeight = 800;

// The GTK application id is the package's identity name.
std::string ApplicationId() {
  try {
    const std::string& name = Package::Current().Id().Name;
    if (g_application_id_is_valid(name.c_str())) return name;
  } catch (const std::exception&) {
    // A program without a package still runs (with --bundle) under the default id.
  }
  return kDefaultApplicationId;
}

}  // namespace

struct ReactApplication::Impl {
  std::atomic<bool> exitRequested{false};
  ReactNativeHost host;
  GtkApplication* application = nullptr;  // owned while Run runs
  GtkWindow* window = nullptr;            // weak: cleared when the window goes
  bool launchFailed = false;
  bool screenshotTaken = false;

  // What Exit needs from another thread.
  std::mutex runningMutex;
  std::shared_ptr<Dispatcher> ui;

  static void OnActivate(GApplication*, gpointer data) {
    auto* self = static_cast<ReactApplication*>(data);
    try {
      self->OnLaunched(LaunchActivatedEventArgs{});
    } catch (const std::exception& error) {
      std::fprintf(stderr, "tessarel: launch failed: %s\n", error.what());
      self->impl_->launchFailed = true;
      g_application_quit(G_APPLICATION(self->impl_->application));
    }
  }

  void EnsureWindow() {
    if (window != nullptr || application == nullptr) return;
    window = GTK_WINDOW(gtk_application_window_new(application));
    g_object_add_weak_pointer(G_OBJECT(window), reinterpret_cast<gpointer*>(&window));
    gtk_window_set_title(window, "Tessarel");
    gtk_window_set_default_size(window, kDefaultWidth, kDefaultHeight);
  }

  void TakeScreenshot() {
    if (screenshotTaken || window == nullptr) return;
    screenshotTaken = true;
    SaveWindowScreenshot(window, host.Overrides().screenshotFile);
  }
};

ReactApplication::ReactApplication() : impl_(std::make_unique<Impl>()) {}

ReactApplication::~ReactApplication() = default;

ReactInstanceSettings& ReactApplication::InstanceSettings() noexcept {
  return impl_->host.InstanceSettings();
}

const std::string& ReactApplication::JavaScriptBundleFile() const noexcept {
  return impl_->host.InstanceSettings().JavaScriptBundleFile;
}

void ReactApplication::JavaScriptBundleFile(std::string bundle) {
  impl_->host.InstanceSettings().JavaScriptBundleFile = std::move(bundle);
}

std::vector<std::shared_ptr<IReactPackageProvider>>& ReactApplication::PackageProviders() noexcept {
  return impl_->host.PackageProviders();
}

ReactNativeHost& ReactApplication::Host() {
  return impl_->host;
}

int ReactApplication::Run(int argc, char** argv) {
  auto ui = MakeMainContextDispatcher(g_main_context_default());
  ScopedThreadDispatcher installed(ui);
  CoreApplication::SetMainViewDispatcher(ui);

  // A development run (any override given) is an instance of its own; a
  // normal second start hands its activation to the running one.
  const DevelopmentOverrides& overrides = impl_->host.Overrides();
  const bool development =
      !overrides.bundleFile.empty() || overrides.console || !overrides.screenshotFile.empty();
  GtkApplication* application =
      gtk_application_new(ApplicationId().c_str(),
                          development ? G_APPLICATION_NON_UNIQUE : G_APPLICATION_DEFAULT_FLAGS);
  {
    std::lock_guard lock(impl_->runningMutex);
    impl_->application = application;
    impl_->ui = ui;
  }
  g_signal_connect(application, "activate", G_CALLBACK(Impl::OnActivate), this);
  event_token rendered;
  if (!overrides.screenshotFile.empty()) {
    rendered = impl_->host.ContentRendered.Add([impl = impl_.get()] { impl->TakeScreenshot(); });
  }

  int status = 0;
  if (!impl_->exitRequested) status = g_application_run(G_APPLICATION(application), argc, argv);
  if (impl_->launchFailed && status == 0) status = 1;

  impl_->host.ContentRendered.Remove(rendered);
  // A window still open (Exit quits the loop before it is gone) goes now,
  // while the host it shows is still alive.
  if (impl_->window != nullptr) gtk_window_destroy(impl_->window);
  {
    std::lock_guard lock(impl_->runningMutex);
    impl_->application = nullptr;
    impl_->ui.reset();
  }
  g_signal_handlers_disconnect_by_data(application, this);
  g_object_unref(application);
  CoreApplication::SetMainViewDispatcher(nullptr);
  return status;
}

void ReactApplication::Exit() {
  impl_->exitRequested = true;
  std::shared_ptr<Dispatcher> ui;
  GtkApplication* application = nullptr;
  {
    std::lock_guard lock(impl_->runningMutex);
    ui = impl_->ui;
    if (impl_->application != nullptr) {
      application = GTK_APPLICATION(g_object_ref(impl_->application));
    }
  }
  if (!ui || application == nullptr) return;
  ui->Post([application] {
    // Copied: destroying a window takes it out of the application's list.
    GList* windows = g_list_copy(gtk_application_get_windows(application));
    for (GList* item = windows; item != nullptr; item = item->next) {
      gtk_window_destroy(GTK_WINDOW(item->data));
    }
    g_list_free(windows);
    g_application_quit(G_APPLICATION(application));
    g_object_unref(application);
  });
}

bool ReactApplication::ExitRequested() const noexcept {
  return impl_->exitRequested;
}

void ReactApplication::OnLaunched(const LaunchActivatedEventArgs&) {
  impl_->EnsureWindow();
  if (impl_->window != nullptr) gtk_window_present(impl_->window);
}

void ReactApplication::OnActivated(const IActivatedEventArgs&) {
  impl_->EnsureWindow();
  if (impl_->window != nullptr) gtk_window_present(impl_->window);
}

void ReactApplication::OnBackgroundActivated(const BackgroundActivatedEventArgs&) {}

bool ReactApplication::WindowHasContent() const noexcept {
  return impl_->window != nullptr && gtk_window_get_child(impl_->window) != nullptr;
}

void ReactApplication::SetWindowContent(GtkWidget* page) {
  impl_->EnsureWindow();
  if (impl_->window != nullptr) {
    gtk_window_set_child(impl_->window, page);
    // The window was shown before it had content, so nothing in it has the
    // keyboard yet: the new page takes it, as a page navigated to does.
    if (page != nullptr) gtk_widget_grab_focus(page);
  } else if (page != nullptr) {
    // No window to take it (the application is not running): drop it.
    g_object_unref(g_object_ref_sink(page));
  }
}

}  // namespace tessarel
