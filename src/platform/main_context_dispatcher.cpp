#include "platform/main_context_dispatcher.h"

#include <glib.h>

namespace tessarel {
namespace {

class MainContextDispatcher final : public Dispatcher {
 public:
  explicit MainContextDispatcher(GMainContext* context) : context_(g_main_context_ref(context)) {}
  ~MainContextDispatcher() override { g_main_context_unref(context_); }
  MainContextDispatcher(const MainContextDispatcher&) = delete;
  MainContextDispatcher& operator=(const MainContextDispatcher&) = delete;

  void Post(Task task) override {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
          (*static_cast<Task*>(data))();
          return G_SOURCE_REMOVE;
        },
        std::make_unique<Task>(std::move(task)).release(),
        [](gpointer data) { std::unique_ptr<Task>(static_cast<Task*>(data)); });
    g_source_attach(source, context_);
    g_source_unref(source);
  }

 private:
  GMainContext* context_;
};

}  // namespace

std::shared_ptr<Dispatcher> MakeMainContextDispatcher(GMainContext* context) {
  return std::make_shared<MainContextDispatcher>(context);
}

}  // namespace tessarel
