#include "app/key_forwarding.h"

namespace tessarel {

void AttachKeyForwarding(GtkWidget*) {}

}  // namespace tessarel
