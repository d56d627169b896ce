#include "modules/tessarel_js.h"

// Bodies not written yet: each run ends at once and drops its promise, which
// the script sees as "Promise destroyed.".
namespace tessarel {

IAsyncAction TessarelJs::keyboards(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::isFlashing(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::resetFirmwareState(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::recoverDeviceState(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::flashingState(ReactPromise<JSValue>) { co_return; }

}  // namespace tessarel
