/* Keeps every shared library that a program loads mapped until it exits.
 *
 * Linked into the programs of the ASan+UBSan test build only. LeakSanitizer
 * looks for leaks when the program exits, and by then a library that was
 * loaded and unloaded while it ran is gone: its globals no longer hold on to
 * what it allocated, so those blocks turn into leaks, and its frames in their
 * stacks have no module name left that a suppression could match. GTK, for
 * one, opens the system's GL driver to probe it and closes it again, and the
 * driver takes its own libraries with it.
 *
 * The program's own symbols come first in the dynamic linker's lookup, ahead
 * of the C library and of the sanitizer's interceptors, so this definition
 * answers every dlclose in the process. It reports success and unloads
 * nothing: a library opened again gets its old handle back, and at exit
 * LeakSanitizer sees every library's globals and names every frame, ours
 * among them. The link exports the symbol (--export-dynamic-symbol) so that
 * libraries loaded at run time bind to it too. */
#include <dlfcn.h>

int dlclose(void* handle) {
  (void)handle;
  return 0;
}
