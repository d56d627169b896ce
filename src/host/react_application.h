// The script host's application object: a GTK application that owns the
// script host settings, the package providers and the window, and calls the
// activation overrides of the class derived from it.
//
//   class App : public ReactApplication { void OnLaunched(...) override; };
//   return app.Run(argc, argv);
//
// Nothing here exposes GTK: the GTK state lives behind a private pointer, so
// module code can see the application object without platform headers.
//
// Thread-safety: construct, configure and Run on the main (UI) thread. Exit
// may be called from any thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/react_module.h"
#include "platform/background_activation.h"

typedef struct _GtkWidget GtkWidget;

namespace tessarel {

class ReactNativeHost;

struct ReactInstanceSettings {
  std::string JavaScriptBundleFile;
  bool UseWebDebugger = true;
  bool UseFastRefresh = true;
  bool UseDeveloperSupport = true;
};

struct LaunchActivatedEventArgs {
  std::string Arguments;
};

struct IActivatedEventArgs {};

class ReactApplication {
 public:
  ReactApplication();
  virtual ~ReactApplication();
  ReactApplication(const ReactApplication&) = delete;
  ReactApplication& operator=(const ReactApplication&) = delete;

  ReactInstanceSettings& InstanceSettings() noexcept;
  const std::string& JavaScriptBundleFile() const noexcept;
  void JavaScriptBundleFile(std::string bundle);
  std::vector<std::shared_ptr<IReactPackageProvider>>& PackageProviders() noexcept;
  ReactNativeHost& Host();

  // Runs the application until its window closes or Exit is called; returns
  // the process exit status.
  int Run(int argc, char** argv);

  // Application.Exit: closes the window and the script host and ends Run.
  void Exit();

  // True once Exit has been called; lets tests that run no window see it.
  bool ExitRequested() const noexcept;

 protected:
  virtual void OnLaunched(const LaunchActivatedEventArgs& args);
  virtual void OnActivated(const IActivatedEventArgs& args);
  virtual void OnBackgroundActivated(const BackgroundActivatedEventArgs& args);

  // Window.Current.Content: whether the window shows a page already.
  bool WindowHasContent() const noexcept;

  // Frame.Navigate: shows `page` (a floating widget) as the window's content.
  // The base OnLaunched and OnActivated have made the window by then.
  void SetWindowContent(GtkWidget* page);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessarel
