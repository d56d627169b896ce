// A multicast event with registration by token, as the platform's events work.
//
//   Event<const App&> connected;
//   event_token token = connected.Add([](const App&) { ... });
//   connected.Raise(app);          // every handler, in order of registration
//   connected.Remove(token);
//
// The handler list has its own lock, held only to change or copy the list:
// Raise takes a snapshot and calls the handlers with no lock held, so a
// handler may add or remove handlers (also itself) while it runs.
//
// Thread-safety: every member is safe to call from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace tessarel {

struct event_token {
  std::int64_t value = 0;
  explicit operator bool() const noexcept { return value != 0; }
  friend bool operator==(event_token, event_token) = default;
};

template <class... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;
  using Registration = std::pair<event_token, Handler>;

  Event() = default;
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  event_token Add(Handler handler) {
    std::lock_guard lock(mutex_);
    const event_token token{++lastToken_};
    handlers_.emplace_back(token, std::move(handler));
    return token;
  }

  // Removing a token that is not registered does nothing.
  void Remove(event_token token) {
    std::lock_guard lock(mutex_);
    std::erase_if(handlers_, [token](const Registration& r) { return r.first == token; });
  }

  std::vector<Registration> Snapshot() const {
    std::lock_guard lock(mutex_);
    return handlers_;
  }

  bool HasHandlers() const {
    std::lock_guard lock(mutex_);
    return !handlers_.empty();
  }

  // Calls every handler registered when the call starts. An exception from a
  // handler propagates and the later handlers are not called; callers that
  // need another policy walk Snapshot() themselves.
  void Raise(Args... args) const {
    for (const auto& [token, handler] : Snapshot()) handler(args...);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Registration> handlers_;
  std::int64_t lastToken_ = 0;
};

}  // namespace tessarel
