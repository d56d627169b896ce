/* A library that the leak-check probe loads and unloads: it keeps the only
 * pointer to a block of its own in a global, as a GL driver keeps its
 * state. */
#include <stdlib.h>

static void* kept_block;

int unloaded_module_keep(size_t size) {
  kept_block = realloc(kept_block, size);
  return kept_block != NULL;
}
