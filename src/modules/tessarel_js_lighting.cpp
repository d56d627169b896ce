#include "modules/tessarel_js.h"

// Bodies not written yet: each run ends at once and drops its promise, which
// the script sees as "Promise destroyed.".
namespace tessarel {

IAsyncAction TessarelJs::simulateKeyPress(JSValue, JSValue, JSValue, JSValue, JSValue,
                                          ReactPromise<JSValue>) {
  co_return;
}
IAsyncAction TessarelJs::setLedActiveColor(JSValue, JSValue, JSValue, JSValue, JSValue, JSValue,
                                           JSValue, ReactPromise<JSValue>) {
  co_return;
}
IAsyncAction TessarelJs::setLed(JSValue, JSValue, JSValue, JSValue, JSValue, JSValue, JSValue,
                                JSValue, ReactPromise<JSValue>) {
  co_return;
}

}  // namespace tessarel
