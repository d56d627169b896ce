#include "app/host_main.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "app/app.h"
#include "host/class_registry.h"
#include "platform/hresult_error.h"

namespace tessarel {

const char kUsage[] =
    "Usage: tessarel [--bundle FILE] [--console] [--screenshot FILE]\n"
    "  --bundle FILE      run this bundle file instead of the package's\n"
    "  --console          copy the page's console messages to standard output\n"
    "  --screenshot FILE  write a PNG of the window once the page has drawn\n";

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  CommandLine result;
  // A path option's value: "--name=VALUE" or the next argument.
  auto takePath = [&](int& index, std::string_view argument, std::string_view name,
                      std::filesystem::path& target) {
    std::string_view value;
    if (argument.size() > name.size()) {
      value = argument.substr(name.size() + 1);
    } else if (index + 1 < argc) {
      value = argv[++index];
    }
    if (value.empty()) {
      result.error = std::string(name) + " needs a file";
      return;
    }
    std::error_code ignored;
    target = std::filesystem::absolute(std::filesystem::path(value), ignored);
  };
  for (int index = 1; index < argc && result.error.empty(); ++index) {
    const std::string_view argument = argv[index];
    auto is = [&](std::string_view name) {
      return argument == name || (argument.starts_with(name) && argument.size() > name.size() &&
                                  argument[name.size()] == '=');
    };
    if (argument == "--console") {
      result.overrides.console = true;
    } else if (argument == "--help" || argument == "-h") {
      result.help = true;
    } else if (is("--bundle")) {
      takePath(index, argument, "--bundle", result.overrides.bundleFile);
    } else if (is("--screenshot")) {
      takePath(index, argument, "--screenshot", result.overrides.screenshotFile);
    } else {
      result.error = "unknown argument " + std::string(argument);
    }
  }
  return result;
}

int RunHost(int argc, char** argv, const ClassRegistry& registry) {
  const CommandLine commandLine = ParseCommandLine(argc, argv);
  if (!commandLine.error.empty()) {
    std::fprintf(stderr, "tessarel: %s\n%s", commandLine.error.c_str(), kUsage);
    return 2;
  }
  if (commandLine.help) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  std::unique_ptr<App> app;
  try {
    app = std::make_unique<App>(registry);
  } catch (const hresult_error& error) {
    std::fprintf(stderr, "tessarel: cannot start: %s (0x%08X)\n", error.message().c_str(),
                 static_cast<unsigned>(error.code()));
    return 1;
  }
  app->Host().Overrides() = commandLine.overrides;
  // GTK sees no arguments of ours.
  char* gtkArguments[] = {argv[0], nullptr};
  return app->Run(1, gtkArguments);
}

}  // namespace tessarel
