// The program's start: the command line (the development overrides and
// nothing else), the one App, and its run.
//
//   int main(int argc, char** argv) { return RunHost(argc, argv, ClassRegistry::Default()); }
//
// Thread-safety: main thread only.
#pragma once

#include <string>

#include "host/react_native_host.h"

namespace tessarel {

class ClassRegistry;

struct CommandLine {
  DevelopmentOverrides overrides;
  bool help = false;
  std::string error;  // set when the command line cannot be used
};

// Reads --bundle FILE, --console, --screenshot FILE (also --bundle=FILE and
// --screenshot=FILE) and --help. Paths are made absolute.
CommandLine ParseCommandLine(int argc, const char* const* argv);

extern const char kUsage[];

// Returns the process exit status: 0 after a normal run, 1 when the App
// cannot be made (a provider class that is not registered, named on
// standard error), 2 for a bad command line.
int RunHost(int argc, char** argv, const ClassRegistry& registry);

}  // namespace tessarel
