// The application object: configures the script host, lists the package
// providers, shows the main page at first launch and holds the companion link
// and the list of key binders.
//
// There is exactly one App per process; modules reach it with App::Current().
//
// Thread-safety: the link members are guarded as described below and may be
// used from any thread; keyBinders is used on the UI thread only.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "host/react_application.h"
#include "platform/app_service.h"
#include "platform/event.h"
#include "values/react_promise.h"

namespace tessarel {

class AppServiceListener;
class ClassRegistry;
class KeyDown;

class App final : public ReactApplication {
 public:
  // Activates the package providers from ClassRegistry::Default().
  App();
  // Activates them from `registry`; throws hresult_error(kClassNotRegistered)
  // naming the first provider class that `registry` cannot make.
  explicit App(const ClassRegistry& registry);
  ~App() override;

  // Application.Current: the one App of the process, or nullptr.
  static App* Current() noexcept;

  // The channel copied out under connectionMutex. When there is none, rejects
  // `promise` with "Service connection isn't running yet" and returns nullopt.
  std::optional<AppServiceConnection> GetServiceConnection(const ReactPromise<JSValue>& promise);

  // The same copy without a promise: nullopt until the first channel arrives.
  std::optional<AppServiceConnection> GetConnectionForSubscriber();

  // Live KeyBinderJs instances in initialisation order. UI thread only.
  std::vector<KeyDown*>& KeyBinders() noexcept { return keyBinders; }

  void OnBackgroundActivated(const BackgroundActivatedEventArgs& args) override;

  // Starts accepting companion connections on the app-service socket; each
  // accepted connection arrives as one OnBackgroundActivated. Idempotent.
  // Called at launch, before the companion is started.
  void StartLink();

 protected:
  void OnLaunched(const LaunchActivatedEventArgs& args) override;
  void OnActivated(const IActivatedEventArgs& args) override;

 private:
  void LaunchCompanion();
  void OnRequestReceived(const AppServiceConnection& sender,
                         const AppServiceRequestReceivedEventArgs& args);
  void RaiseServiceConnected();

  std::mutex connectionMutex;
  std::shared_ptr<BackgroundTaskDeferral> backgroundDeferral;
  std::vector<KeyDown*> keyBinders;
  std::optional<AppServiceConnection> serviceConnection;
  event_token requestReceivedToken;
  std::unique_ptr<AppServiceListener> listener_;

 public:
  // Raised (with this App) after each newly accepted channel has been stored.
  // Uses its own lock, never held together with connectionMutex.
  Event<const App&> ServiceConnected;

 private:
  // Declared last, so destroyed first: stops the listener and its link thread
  // before any other member goes, so that no activation or message reaches a
  // half-destroyed App.
  struct LinkShutdown {
    App* app;
    ~LinkShutdown();
  };
  LinkShutdown linkShutdown_{this};
};

}  // namespace tessarel
