#include "modules/tessarel_js.h"

namespace tessarel {

// Not subscribed to the companion yet.
void TessarelJs::SubscribeToCompanion() {}
void TessarelJs::OnCompanionConnected(const App&) {}
void TessarelJs::OnCompanionMessage(const AppServiceConnection&,
                                    const AppServiceRequestReceivedEventArgs&) {}
void TessarelJs::AttachToConnection(const AppServiceConnection&) {}

}  // namespace tessarel
