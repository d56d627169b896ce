#include "host/bundle_page.h"

#include <algorithm>
#include <system_error>

#include "host/bridge_call.h"

namespace tessarel {

std::string IndexHtml() {
  std::string html =
      "<!DOCTYPE html>\n"
      "<html>\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>Tessarel</title>\n"
      "<style>html, body { margin: 0; padding: 0; width: 100%; height: 100%; overflow: hidden; }\n"
      "#root { display: flex; width: 100%; height: 100%; }</style>\n"
      "</head>\n<body>\n<div id=\"root\"></div>\n"
      "<script src=\"index.windows.bundle\"></script>\n"
      "</body>\n</html>\n";
  return html;
}

std::optional<std::filesystem::path> ResolveBundleResource(const std::filesystem::path& bundleFile,
                                                           std::string_view requestPath) {
  namespace fs = std::filesystem;
  if (requestPath == kBundleScriptPath) return bundleFile;
  if (!requestPath.starts_with('/') || requestPath.size() < 2) return std::nullopt;
  std::error_code error;
  const fs::path directory = fs::canonical(
      bundleFile.parent_path().empty() ? fs::current_path(error) : bundleFile.parent_path(), error);
  if (error) return std::nullopt;
  const fs::path candidate = fs::weakly_canonical(directory / requestPath.substr(1), error);
  if (error) return std::nullopt;
  // The resolved path (symbolic links followed) must stay inside the
  // directory: "..", encoded or not, cannot reach other files.
  auto [directoryEnd, candidateAt] =
      std::mismatch(directory.begin(), directory.end(), candidate.begin(), candidate.end());
  if (directoryEnd != directory.end() || candidateAt == candidate.end()) return std::nullopt;
  if (!fs::is_regular_file(candidate, error)) return std::nullopt;
  return candidate;
}

bool IsAllowedNavigation(std::string_view uri) noexcept {
  return IsBundlePageUri(uri) || uri == "about:blank" || uri == "about:srcdoc";
}

}  // namespace tessarel
