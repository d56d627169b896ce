#include "modules/key_binder_js.h"

#include <algorithm>

#include "app/app.h"

namespace tessarel {

KeyBinderJs::~KeyBinderJs() {
  // The sender (a member) is destroyed after this body, so the list never
  // holds an instance whose sender is gone.
  if (App* app = App::Current()) {
    std::vector<KeyDown*>& binders = app->KeyBinders();
    auto found = std::find(binders.begin(), binders.end(), static_cast<KeyDown*>(this));
    if (found != binders.end()) binders.erase(found);
  }
}

void KeyBinderJs::Initialize() {
  if (App* app = App::Current()) app->KeyBinders().push_back(this);
}

void KeyBinderJs::OnKeyDown(std::int32_t code) {
  keyDown(code);
}

namespace {

std::shared_ptr<void> ProvideKeyBinderJs(IReactModuleBuilder& builder) {
  auto module = std::make_shared<KeyBinderJs>();
  builder.SetEventEmitterName("RCTDeviceEventEmitter");
  // The event first, then the module initializer: by the time the instance
  // is in the list, its sender is set. The host context lives on only inside
  // the sender.
  std::weak_ptr<KeyBinderJs> weak = module;
  builder.AddInitializer([weak](const std::shared_ptr<IReactContext>& context) {
    auto instance = weak.lock();
    if (!instance) return;
    instance->keyDown = [context](std::int32_t code) {
      context->EmitJSEvent("", "keyDown", [code](IJSValueWriter& writer) {
        writer.WriteArrayBegin();
        writer.WriteInt64(code);
        writer.WriteArrayEnd();
      });
    };
  });
  builder.AddInitializer([weak](const std::shared_ptr<IReactContext>&) {
    if (auto instance = weak.lock()) instance->Initialize();
  });
  return module;
}

}  // namespace

const ModuleRegistration KeyBinderJs_ModuleRegistration("KeyBinderJs", ProvideKeyBinderJs);

}  // namespace tessarel
