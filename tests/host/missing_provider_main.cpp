// The tessarel program with one provider class left out of its registry, for
// the test that start-up fails cleanly and names the class.
#include "app/host_main.h"
#include "host/class_registry.h"

int main(int argc, char** argv) {
  tessarel::ClassRegistry registry = tessarel::ClassRegistry::Default();
  registry.Unregister("RNCConfig.ReactPackageProvider");
  return tessarel::RunHost(argc, argv, registry);
}
