// Tells a key press's first pass through the main page from its second one.
//
//   KeyPressPasses passes;
//   if (passes.IsFirstPass(Hold(event))) Forward(event);
//
// The web view hands every press to its web process and answers it only when
// the page has looked at it. A press the page did not use is then put back
// into the display's event queue, the same event once more, and passes the
// page a second time on its way to the window. With fast typing several
// presses are in the web process at once, so second passes come back after
// newer first passes: remembering only the last press is not enough.
//
// So every press seen for the first time is remembered until it can no longer
// come back. The web process answers presses one at a time, in the order the
// page forwarded them, and an unused press is queued again at once; so when a
// press comes back, every press remembered before it has been answered
// already and either came back before it or was used by the page and never
// will. Those are forgotten with it. Presses that never reach the web view
// (the focus elsewhere) are forgotten the same way, or, should nothing come
// back for a long time, once more than kLimit presses are remembered.
//
// A press is held (a reference to the event) while it is remembered, so that
// a new event can never take its address and be mistaken for it.
//
// Thread-safety: none; the key controller uses it on the UI thread only.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>

namespace tessarel {

class KeyPressPasses {
 public:
  // More presses in the web process at once than anyone types while it is
  // busy; the oldest is forgotten beyond this.
  static constexpr std::size_t kLimit = 256;

  // An event, kept alive by its holder; compared by address.
  using Press = std::shared_ptr<const void>;

  // True the first time `press` is seen, false when it comes back. An empty
  // press (no event) is always a first pass and is not remembered.
  bool IsFirstPass(Press press);

  // How many presses could still come back.
  std::size_t Remembered() const noexcept { return awaiting_.size(); }

 private:
  std::deque<Press> awaiting_;  // in the order they were first seen
};

}  // namespace tessarel
