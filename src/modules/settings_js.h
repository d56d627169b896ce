// The settings module: tells the script the version of the installed package.
//
//   // script side
//   const version = await NativeModules.SettingsJs.appVersion();   // "0.1.0.0"
//
// The module holds no state; the host makes one instance per script instance.
//
// Thread-safety: appVersion runs on the script host's native-call thread and
// reads only the package, which is immutable once loaded.
#pragma once

#include <string>

#include "platform/package.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {

class SettingsJs {
 public:
  // Resolves with the package version as "Major.Minor.Build.Revision". It
  // never rejects: a program without package identity ends here, with a
  // message on standard error first.
  void appVersion(ReactPromise<JSValue> promise) noexcept;
};

// "Major.Minor.Build.Revision", in decimal, without padding.
std::string FormatPackageVersion(const PackageVersion& version);

}  // namespace tessarel
