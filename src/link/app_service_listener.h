// Accepts companion connections on the app-service socket and hands each one
// to the application as a background activation. (Being built.)
#pragma once

namespace tessarel {

class AppServiceListener {
 public:
  virtual ~AppServiceListener() = default;
};

}  // namespace tessarel
