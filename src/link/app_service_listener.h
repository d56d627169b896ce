// Accepts companion connections on the app-service socket and hands each one
// to the application as one background activation.
//
//   AppServiceListener listener(AppServiceListener::SocketPathFor("tessarel/app-service"),
//                               [&app](const BackgroundActivatedEventArgs& args) {
//                                 app.OnBackgroundActivated(args);
//                               });
//
// The socket is $XDG_RUNTIME_DIR/<socket name>: its directory is created (or
// tightened) to mode 0700, the socket itself gets 0600, and a stale socket
// file left by a dead process is replaced. A peer whose uid differs from ours
// is refused right after accept, before any byte is read from it; the others
// authenticate with EXTERNAL. A companion's connection (one that sends a
// request, or stays silent for a moment, without greeting us as a message bus)
// is handed to the handler on the link thread, with a task instance whose
// TriggerDetails hold the connection and whose GetDeferral returns an
// ActivationDeferral. A peer that greets us with Hello (busctl, gdbus) is a
// visitor: never an activation; its requests reach the handlers of the
// connection delivered last. docs/link.md says why.
//
// Destroying the listener stops accepting, closes every connection (pending
// sends fail at once), stops the link thread and removes the socket file.
//
// Thread-safety: construct and destroy on one thread (not the link thread);
// the handler runs on the link thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/background_activation.h"

namespace tessarel {

namespace link {
class LinkLoop;
}

// Keeps one background activation open for as long as it is held
// uncompleted; releasing it unfinished changes nothing. Completing it ends
// the activation: its connection is closed.
class ActivationDeferral final : public BackgroundTaskDeferral {
 public:
  explicit ActivationDeferral(std::function<void()> endActivation)
      : endActivation_(std::move(endActivation)) {}
  void Complete() override;

 private:
  std::function<void()> endActivation_;
  std::atomic<bool> completed_{false};
};

class AppServiceListener {
 public:
  using ActivationHandler = std::function<void(const BackgroundActivatedEventArgs& args)>;

  // Creates the socket and starts accepting. Throws hresult_error when the
  // socket cannot be set up (another live listener on it, a path that is too
  // long, a directory that is not ours).
  AppServiceListener(std::filesystem::path socketPath, ActivationHandler handler);
  ~AppServiceListener();
  AppServiceListener(const AppServiceListener&) = delete;
  AppServiceListener& operator=(const AppServiceListener&) = delete;

  // $XDG_RUNTIME_DIR/<socketName>. Throws hresult_error(kFileNotFound) with a
  // description when XDG_RUNTIME_DIR is not set or not absolute.
  static std::filesystem::path SocketPathFor(std::string_view socketName);

  const std::filesystem::path& SocketPath() const noexcept { return socketPath_; }

 private:
  struct State;
  std::filesystem::path socketPath_;
  std::pair<std::uint64_t, std::uint64_t> socketIdentity_;  // device and inode
  std::shared_ptr<link::LinkLoop> loop_;
  std::shared_ptr<State> state_;
};

}  // namespace tessarel
