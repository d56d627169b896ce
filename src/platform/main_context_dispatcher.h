// A Dispatcher over a GLib main context: posted tasks run as idle callbacks
// of that context's loop, in the order posted, always later (never inline).
//
// Thread-safety: Post is safe from any thread; the tasks run on the thread
// that iterates the context.
#pragma once

#include <memory>

#include "platform/dispatcher.h"

typedef struct _GMainContext GMainContext;

namespace tessarel {

// Holds a reference on `context` for the dispatcher's life.
std::shared_ptr<Dispatcher> MakeMainContextDispatcher(GMainContext* context);

}  // namespace tessarel
