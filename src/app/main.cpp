#include "app/heap_settings.h"
#include "app/host_main.h"
#include "host/class_registry.h"

int main(int argc, char** argv) {
  tessarel::KeepHeapForLargeReplies();
  return tessarel::RunHost(argc, argv, tessarel::ClassRegistry::Default());
}
