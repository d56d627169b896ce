#include "modules/tessarel_js.h"

// Bodies not written yet: each run ends at once and drops its promise, which
// the script sees as "Promise destroyed.".
namespace tessarel {

IAsyncAction TessarelJs::isLaunchAtStartUpEnabled(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::setIsLaunchAtStartUpEnabled(JSValue, ReactPromise<JSValue>) { co_return; }

}  // namespace tessarel
