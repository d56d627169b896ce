// The host's own files compiled into the program (the page's bridge script
// and the console forwarder), from host.gresource.xml.
#pragma once

#include <string>

namespace tessarel {

// The text of a resource such as "/io/tessarel/host/bridge.js". Throws
// hresult_error(kFileNotFound) for a path that is not compiled in.
std::string HostResourceText(const char* path);

}  // namespace tessarel
