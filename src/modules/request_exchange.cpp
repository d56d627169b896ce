#include "modules/request_exchange.h"

#include <string>
#include <utility>

#include "app/app.h"

namespace tessarel {

IAsyncAction SendDeviceRequest(std::shared_ptr<const void> module, ReactPromise<JSValue> promise,
                               DeviceRequest request, std::vector<RequestArgument> arguments) {
  // Parameters live in the coroutine frame: the module, the promise and the
  // arguments stay alive until the run ends, whichever way it ends.
  static_cast<void>(module);
  App* app = App::Current();
  if (app == nullptr) co_return;  // no application: the dropped promise rejects
  std::optional<AppServiceConnection> connection = app->GetServiceConnection(promise);
  if (!connection) co_return;  // already rejected; nothing is sent

  std::optional<AppServiceResponse> response;
  try {
    ValueSet message;
    message.Insert("method", PropertyValue::CreateString(std::string(request.method)));
    for (RequestArgument& argument : arguments) {
      message.Insert(std::string(argument.key), std::move(argument.value));
    }
    // Suspends without blocking; resumes in the context captured here.
    response = co_await connection->SendMessageAsync(std::move(message));
  } catch (const hresult_error& error) {
    RejectWithPlatformError(request, error, promise);
    co_return;
  }
  SettleFromResponse(request, *response, promise);
}

}  // namespace tessarel
