#include "app/key_press_passes.h"

#include <algorithm>
#include <utility>

namespace tessarel {

bool KeyPressPasses::IsFirstPass(Press press) {
  if (!press) return true;
  const auto back = std::find_if(awaiting_.begin(), awaiting_.end(),
                                 [&](const Press& seen) { return seen.get() == press.get(); });
  if (back != awaiting_.end()) {
    // Its second pass: it and everything seen before it are done.
    awaiting_.erase(awaiting_.begin(), std::next(back));
    return false;
  }
  awaiting_.push_back(std::move(press));
  if (awaiting_.size() > kLimit) awaiting_.pop_front();
  return true;
}

}  // namespace tessarel
