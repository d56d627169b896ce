#include "modules/tessarel_js.h"

// Bodies not written yet: each run ends at once and drops its promise, which
// the script sees as "Promise destroyed.".
namespace tessarel {

IAsyncAction TessarelJs::updateDevice(JSValue, JSValue, ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::resetFirmware(JSValue, JSValue, ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::recoverDevice(JSValue, ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::firmwareVersion(JSValue, ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::resetToBootloader(JSValue, ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::selectFile(ReactPromise<JSValue>) { co_return; }
IAsyncAction TessarelJs::setCancelUpdate(JSValue, ReactPromise<JSValue>) { co_return; }

}  // namespace tessarel
