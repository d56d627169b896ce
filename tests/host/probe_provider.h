// A package of one module, "Probe", for host tests: a promise method per
// body (which gets the call's arguments and its promise), a void method
// "fireAndForget", and an optional initializer.
//
//   ProbeProvider({{"ping", [](IJSValueReader&, Promise p) { p.Resolve(JSValue(1)); }}});
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/react_module.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel::testing {

using Promise = ReactPromise<JSValue>;
using ProbeMethods = std::map<std::string, std::function<void(IJSValueReader&, Promise)>>;
using ProbeInitializer = std::function<void(const std::shared_ptr<IReactContext>&)>;

class ProbeProvider final : public IReactPackageProvider {
 public:
  explicit ProbeProvider(ProbeMethods methods, ProbeInitializer initializer = nullptr)
      : methods_(std::move(methods)), initializer_(std::move(initializer)) {}

  void CreatePackage(IReactPackageBuilder& packages) override {
    packages.AddModule(
        "Probe", [methods = methods_, initializer = initializer_](IReactModuleBuilder& builder) {
          if (initializer) builder.AddInitializer(initializer);
          for (const auto& [name, body] : methods) {
            builder.AddMethod(
                name, MethodReturnType::Promise,
                [body](IJSValueReader& args, auto writer, auto resolve, auto reject) {
                  body(args, Promise(std::move(writer), std::move(resolve), std::move(reject)));
                });
          }
          builder.AddMethod("fireAndForget", MethodReturnType::Void, [](auto&&...) {});
          return std::shared_ptr<void>();
        });
  }

 private:
  ProbeMethods methods_;
  ProbeInitializer initializer_;
};

}  // namespace tessarel::testing
