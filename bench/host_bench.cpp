// The script round trip of a trivial promise method (a page's call of
// SettingsJs.appVersion() until its promise resolves) against a bare web
// view message echo (a script message handler on the same page that replies
// at once with what it got). Both are timed in the page with
// performance.now(), over batches of sequential calls, in the same run.
// Prints the figures and their ratio; asserts nothing.
//
//   build/bin/tessarel_host_bench          (starts itself under xvfb-run when
//                                            there is no display)
#include <benchmark/benchmark.h>
#include <gtk/gtk.h>
#include <unistd.h>
#include <webkit/webkit.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/react_native_host.h"
#include "host/react_package_provider.h"
#include "host/react_root_view.h"
#include "platform/dispatcher.h"
#include "platform/main_context_dispatcher.h"

namespace {

using tessarel::ReactNativeHost;

constexpr int kCallsPerBatch = 200;

struct BenchPage {
  ReactNativeHost host;
  GtkWindow* window = nullptr;
  WebKitWebView* view = nullptr;
  bool rendered = false;
};

BenchPage* page = nullptr;                                       // set up once in main
std::map<std::string, std::vector<double>> perCallMicroseconds;  // per benchmark

gboolean OnEcho(WebKitUserContentManager*, JSCValue* message, WebKitScriptMessageReply* reply,
                gpointer) {
  webkit_script_message_reply_return_value(reply, message);
  return TRUE;
}

void IterateUntil(const bool& done) {
  while (!done) g_main_context_iteration(nullptr, TRUE);
}

// Runs one batch in the page; the milliseconds it took, or a negative number.
double RunBatch(const char* kind) {
  struct Call {
    bool done = false;
    double milliseconds = -1;
  } call;
  const std::string body =
      std::string("return await __bench.") + kind + "(" + std::to_string(kCallsPerBatch) + ");";
  webkit_web_view_call_async_javascript_function(
      page->view, body.c_str(), -1, nullptr, nullptr, nullptr, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* call = static_cast<Call*>(data);
        GError* error = nullptr;
        JSCValue* value = webkit_web_view_call_async_javascript_function_finish(
            WEBKIT_WEB_VIEW(source), result, &error);
        if (value != nullptr) {
          call->milliseconds = jsc_value_to_double(value);
          g_object_unref(value);
        } else {
          std::fprintf(stderr, "batch failed: %s\n", error ? error->message : "?");
          if (error) g_error_free(error);
        }
        call->done = true;
      },
      &call);
  IterateUntil(call.done);
  return call.milliseconds;
}

void RoundTrip(benchmark::State& state, const char* kind) {
  for (auto _ : state) {
    const double milliseconds = RunBatch(kind);
    if (milliseconds < 0) {
      state.SkipWithError("the page did not answer");
      return;
    }
    state.SetIterationTime(milliseconds / 1000.0);
    perCallMicroseconds[kind].push_back(milliseconds * 1000.0 / kCallsPerBatch);
  }
  state.SetItemsProcessed(state.iterations() * kCallsPerBatch);
}

void BM_ModuleMethodRoundTrip(benchmark::State& state) {
  RoundTrip(state, "module");
}
void BM_BareMessageEcho(benchmark::State& state) {
  RoundTrip(state, "echo");
}

// Alternated, so that drift of the machine hits both alike.
BENCHMARK(BM_BareMessageEcho)->UseManualTime()->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(BM_ModuleMethodRoundTrip)->UseManualTime()->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(BM_BareMessageEcho)->UseManualTime()->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(BM_ModuleMethodRoundTrip)->UseManualTime()->Unit(benchmark::kMillisecond)->Repetitions(3);

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  // Never on the user's desktop by accident: without a display, start again
  // under an X server of our own.
  if (std::getenv("DISPLAY") == nullptr && std::getenv("HOST_BENCH_UNDER_XVFB") == nullptr) {
    setenv("HOST_BENCH_UNDER_XVFB", "1", 1);
    std::vector<char*> args = {const_cast<char*>("xvfb-run"), const_cast<char*>("-a"),
                               const_cast<char*>("-s"), const_cast<char*>("-screen 0 1280x800x24")};
    for (int i = 0; i < argc; ++i) args.push_back(argv[i]);
    args.push_back(nullptr);
    execvp(args[0], args.data());
    std::perror("xvfb-run");
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  gtk_init();
  auto ui = tessarel::MakeMainContextDispatcher(g_main_context_default());
  tessarel::ScopedThreadDispatcher installed(ui);
  tessarel::CoreApplication::SetMainViewDispatcher(ui);

  auto bench = std::make_unique<BenchPage>();
  page = bench.get();
  page->host.InstanceSettings().UseDeveloperSupport = false;
  page->host.PackageProviders().push_back(std::make_shared<tessarel::ReactPackageProvider>());
  page->host.Overrides().bundleFile = TESSAREL_HOST_BENCH_BUNDLE;
  const auto rendered = page->host.ContentRendered.Add([] { page->rendered = true; });

  page->window = GTK_WINDOW(gtk_window_new());
  gtk_window_set_default_size(page->window, 1200, 800);
  auto* root = TESSAREL_REACT_ROOT_VIEW(
      g_object_new(TESSAREL_TYPE_REACT_ROOT_VIEW, "component-name", "Bench", nullptr));
  gtk_window_set_child(page->window, GTK_WIDGET(root));
  tessarel::ReactRootViewSetReactNativeHost(root, &page->host);
  page->view = tessarel::ReactRootViewGetWebView(root);
  WebKitUserContentManager* manager = webkit_web_view_get_user_content_manager(page->view);
  g_signal_connect(manager, "script-message-with-reply-received::echo", G_CALLBACK(OnEcho),
                   nullptr);
  webkit_user_content_manager_register_script_message_handler_with_reply(manager, "echo", nullptr);
  gtk_window_present(page->window);
  IterateUntil(page->rendered);

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  const double module = Median(perCallMicroseconds["module"]);
  const double echo = Median(perCallMicroseconds["echo"]);
  // The machine's load drifts; a pair of batches run back to back sees
  // nearly the same load, so the ratio is also taken pair by pair (the order
  // inside a pair alternating), and its median printed.
  constexpr int kPairs = 40;
  std::vector<double> pairRatios;
  for (int pair = 0; pair < kPairs; ++pair) {
    const bool echoFirst = pair % 2 == 0;
    const double first = RunBatch(echoFirst ? "echo" : "module");
    const double second = RunBatch(echoFirst ? "module" : "echo");
    const double echoTime = echoFirst ? first : second;
    const double moduleTime = echoFirst ? second : first;
    if (echoTime > 0 && moduleTime > 0) pairRatios.push_back(moduleTime / echoTime);
  }
  std::printf(
      "\nScript round trip, median per call over %zu batches of %d:\n"
      "  SettingsJs.appVersion() to resolved promise  %8.1f us\n"
      "  bare web view message echo                   %8.1f us\n"
      "  ratio of the medians                         %8.2f\n"
      "  median ratio of %zu back-to-back pairs        %8.2f  (goal: at most 1.25)\n",
      perCallMicroseconds["module"].size(), kCallsPerBatch, module, echo,
      echo > 0 ? module / echo : 0.0, pairRatios.size(), Median(pairRatios));

  page->host.ContentRendered.Remove(rendered);
  gtk_window_destroy(page->window);
  tessarel::CoreApplication::SetMainViewDispatcher(nullptr);
  return 0;
}
