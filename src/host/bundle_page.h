// What the custom scheme serves: the generated page, the bundle, and the
// files that sit next to the bundle (images, fonts).
//
//   tessarel://app/index.html            the page (IndexHtml())
//   tessarel://app/index.windows.bundle  the bundle file, whatever its name
//   tessarel://app/<path>                <bundle directory>/<path>
//
// Every response carries kContentSecurityPolicy as a header, which keeps
// remote content out of the page: scripts only from the bundle's origin (no
// inline script, no eval), no remote fetches, frames or images. A frame of an
// opaque origin cannot run the bundle's scripts either: 'self' is not its
// origin.
//
// Thread-safety: pure functions.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tessarel {

inline constexpr std::string_view kBundleScheme = "tessarel";
inline constexpr std::string_view kBundlePageUri = "tessarel://app/index.html";
inline constexpr std::string_view kBundleScriptPath = "/index.windows.bundle";
inline constexpr std::string_view kContentSecurityPolicy =
    "default-src 'self' tessarel:; script-src 'self'; style-src 'self' 'unsafe-inline'; "
    "img-src 'self' data: tessarel:";

std::string IndexHtml();

// The file that serves `requestPath` (the URI's path, "/..."): the bundle
// itself, or a regular file inside the bundle's directory. nullopt for
// anything that would leave that directory or does not exist.
std::optional<std::filesystem::path> ResolveBundleResource(const std::filesystem::path& bundleFile,
                                                           std::string_view requestPath);

// True where the page may go: documents of the bundle's origin, and the
// empty documents that frames of the page start with.
bool IsAllowedNavigation(std::string_view uri) noexcept;

}  // namespace tessarel
