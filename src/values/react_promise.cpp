#include "values/react_promise.h"

#include <memory>
#include <utility>

namespace tessarel {

// The block that every copy of one promise points to. The reference count is
// our own rather than a shared_ptr's: the copy whose decrement takes it from
// one to zero is, without doubt, the last holder, and that copy must issue the
// "Promise destroyed." rejection. (shared_ptr::use_count cannot tell that
// reliably when copies are released on two threads at once.)
struct ReactPromiseBase::Shared {
  Shared(std::shared_ptr<IJSValueWriter> valueWriter, MethodResultCallback resolveCallback,
         MethodResultCallback rejectCallback)
      : writer(std::move(valueWriter)),
        resolve(std::move(resolveCallback)),
        reject(std::move(rejectCallback)) {}

  std::atomic<int> references{1};
  std::atomic<State> state{State::Pending};
  const std::shared_ptr<IJSValueWriter> writer;
  const MethodResultCallback resolve;
  const MethodResultCallback reject;
};

namespace {

constexpr std::string_view kDestroyedMessage = "Promise destroyed.";

}  // namespace

ReactPromiseBase::ReactPromiseBase(std::shared_ptr<IJSValueWriter> writer,
                                   MethodResultCallback resolve, MethodResultCallback reject)
    // The block is owned by the reference count from here on; Release frees it.
    : shared_(std::make_unique<Shared>(std::move(writer), std::move(resolve), std::move(reject))
                  .release()) {}

ReactPromiseBase::ReactPromiseBase(const ReactPromiseBase& other) noexcept
    : shared_(other.shared_) {
  if (shared_) shared_->references.fetch_add(1, std::memory_order_relaxed);
}

ReactPromiseBase& ReactPromiseBase::operator=(const ReactPromiseBase& other) noexcept {
  if (shared_ == other.shared_) return *this;  // self-assignment or another copy of the same
  if (other.shared_) other.shared_->references.fetch_add(1, std::memory_order_relaxed);
  ReactPromiseBase old(std::move(*this));  // released once this holds the new block
  shared_ = other.shared_;
  return *this;
}

ReactPromiseBase::ReactPromiseBase(ReactPromiseBase&& other) noexcept
    : shared_(std::exchange(other.shared_, nullptr)) {}

ReactPromiseBase& ReactPromiseBase::operator=(ReactPromiseBase&& other) noexcept {
  if (this == &other) return *this;
  // The old promise is released only once this object holds the new one: its
  // rejection runs host code, which must not see a half-assigned handle.
  ReactPromiseBase old(std::move(*this));
  shared_ = std::exchange(other.shared_, nullptr);
  return *this;
}

ReactPromiseBase::~ReactPromiseBase() {
  Release();
}

void ReactPromiseBase::Release() noexcept {
  Shared* shared = std::exchange(shared_, nullptr);
  if (!shared) return;
  // acq_rel: the last holder must see every write the other holders made
  // before they let go, and free the block only after them.
  if (shared->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  const std::unique_ptr<Shared> owned(shared);
  shared_ = shared;  // Reject works on shared_; it is cleared again below
  Reject(kDestroyedMessage);
  shared_ = nullptr;
}

bool ReactPromiseBase::TrySettle(State next) const noexcept {
  if (!shared_) return false;  // moved-from: holds no promise
  State expected = State::Pending;
  return shared_->state.compare_exchange_strong(expected, next, std::memory_order_acq_rel,
                                                std::memory_order_acquire);
}

void ReactPromiseBase::Reject(std::string_view message) const noexcept {
  if (!TrySettle(State::Rejected)) return;
  IJSValueWriter* writer = shared_->writer.get();
  if (!writer || !shared_->reject) return;
  // Any exception from the writer or the host's callback leaves this noexcept
  // function, which ends the process: a reply that cannot be delivered must
  // not be mistaken for one that was.
  writer->WriteArrayBegin();
  writer->WriteObjectBegin();
  writer->WritePropertyName("code");
  writer->WriteString("EUNSPECIFIED");
  writer->WritePropertyName("message");
  writer->WriteString(message);
  writer->WritePropertyName("userInfo");
  writer->WriteNull();
  writer->WriteObjectEnd();
  writer->WriteArrayEnd();
  shared_->reject(*writer);
}

void ReactPromise<JSValue>::Resolve(const JSValue& value) const noexcept {
  if (!TrySettle(State::Resolved)) return;
  IJSValueWriter* writer = shared_->writer.get();
  if (!writer || !shared_->resolve) return;
  writer->WriteArrayBegin();
  WriteValue(*writer, value);
  writer->WriteArrayEnd();
  shared_->resolve(*writer);
}

}  // namespace tessarel
