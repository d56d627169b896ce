#include "host/host_resources.h"

#include <gio/gio.h>

#include "platform/hresult_error.h"

#include <mutex>

extern "C" GResource* tessarel_host_get_resource(void);
extern "C" void tessarel_host_register_resource(void);

namespace tessarel {

std::string HostResourceText(const char* path) {
  // Registered by hand: a self-registering object of a static archive would
  // be left out of the link.
  static std::once_flag registered;
  std::call_once(registered, tessarel_host_register_resource);
  GError* error = nullptr;
  GBytes* bytes = g_resource_lookup_data(tessarel_host_get_resource(), path,
                                         G_RESOURCE_LOOKUP_FLAGS_NONE, &error);
  if (bytes == nullptr) {
    const std::string text = error ? error->message : path;
    if (error) g_error_free(error);
    throw hresult_error(error_codes::kFileNotFound, text);
  }
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  std::string text(data, size);
  g_bytes_unref(bytes);
  return text;
}

}  // namespace tessarel
