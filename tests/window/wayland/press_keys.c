// Presses keys on a Wayland compositor's seat the way xdotool does on an X
// server: through a keyboard of its own (the virtual keyboard protocol) whose
// keymap is the standard evdev one with the US layout, so that a client sees
// each key with its real hardware keycode (evdev code + 8) and keysyms.
//
//   press_keys [--delay MS] KEY...
//   press_keys --hold
//
// KEY is a keysym name (a, 1, Return, F1, KP_Subtract, minus, exclam) or an
// XKB key name in angle brackets (<FK13>) for a key whose keysym is not known
// under the wanted name. A keysym found only on a key's shifted level is
// pressed with the left Shift key held, as a person would type it. Every key
// goes down and up; --delay waits MS milliseconds between keys (default 0:
// all keys in one burst). Needs WAYLAND_DISPLAY and a compositor that offers
// zwp_virtual_keyboard_manager_v1 (sway, and wlroots compositors in general).
// Exits 0 when the compositor has taken every key, 1 on a Wayland failure,
// 2 on a bad command line.
//
// --hold adds a keyboard that presses nothing, prints "ready" once the
// compositor has it, and stays until it is killed. A seat whose only keyboards
// come and go with each run of press_keys would give clients no keyboard
// between runs: a client makes its own keyboard object only when it learns
// that the seat has one again, and keys sent before that are lost to it.
#define _GNU_SOURCE
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "virtual-keyboard-unstable-v1-client-protocol.h"

enum { kEvdevOffset = 8, kShiftLeftKeycode = 50 };

struct key_press {
  xkb_keycode_t keycode;
  bool shifted;
};

struct globals {
  struct wl_seat* seat;
  struct zwp_virtual_keyboard_manager_v1* manager;
};

struct keyboard {
  struct zwp_virtual_keyboard_v1* device;
  struct xkb_state* state;
};

static void on_global(void* data, struct wl_registry* registry, uint32_t name,
                      const char* interface, uint32_t version) {
  (void)version;
  struct globals* globals = data;
  if (strcmp(interface, wl_seat_interface.name) == 0 && globals->seat == NULL) {
    globals->seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
  } else if (strcmp(interface, zwp_virtual_keyboard_manager_v1_interface.name) == 0) {
    globals->manager =
        wl_registry_bind(registry, name, &zwp_virtual_keyboard_manager_v1_interface, 1);
  }
}

static void on_global_remove(void* data, struct wl_registry* registry, uint32_t name) {
  (void)data;
  (void)registry;
  (void)name;
}

static const struct wl_registry_listener registry_listener = {on_global, on_global_remove};

// The key that gives `name`: an XKB key name in angle brackets, or the first
// key (lowest keycode) with the keysym on its first or, failing that, its
// shifted level, as xdotool chooses.
static bool find_key(struct xkb_keymap* keymap, const char* name, struct key_press* press) {
  const size_t length = strlen(name);
  if (length > 2 && name[0] == '<' && name[length - 1] == '>') {
    char key_name[64];
    if (length - 2 >= sizeof key_name) return false;
    memcpy(key_name, name + 1, length - 2);
    key_name[length - 2] = '\0';
    press->keycode = xkb_keymap_key_by_name(keymap, key_name);
    press->shifted = false;
    return press->keycode != XKB_KEYCODE_INVALID;
  }
  const xkb_keysym_t wanted = xkb_keysym_from_name(name, XKB_KEYSYM_NO_FLAGS);
  if (wanted == XKB_KEY_NoSymbol) return false;
  for (xkb_level_index_t level = 0; level < 2; ++level) {
    for (xkb_keycode_t keycode = xkb_keymap_min_keycode(keymap);
         keycode <= xkb_keymap_max_keycode(keymap); ++keycode) {
      const xkb_keysym_t* syms = NULL;
      if (xkb_keymap_key_get_syms_by_level(keymap, keycode, 0, level, &syms) == 1 &&
          syms[0] == wanted) {
        press->keycode = keycode;
        press->shifted = level == 1;
        return true;
      }
    }
  }
  return false;
}

static uint32_t now_ms(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (uint32_t)((uint64_t)now.tv_sec * 1000u + (uint64_t)now.tv_nsec / 1000000u);
}

// Sends one key event, and the modifier state after it when that changed,
// as a keyboard device does.
static void send_key(struct keyboard* keyboard, xkb_keycode_t keycode, bool down) {
  zwp_virtual_keyboard_v1_key(
      keyboard->device, now_ms(), keycode - kEvdevOffset,
      down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
  const enum xkb_state_component changed =
      xkb_state_update_key(keyboard->state, keycode, down ? XKB_KEY_DOWN : XKB_KEY_UP);
  if (changed & (XKB_STATE_MODS_EFFECTIVE | XKB_STATE_LAYOUT_EFFECTIVE)) {
    zwp_virtual_keyboard_v1_modifiers(
        keyboard->device, xkb_state_serialize_mods(keyboard->state, XKB_STATE_MODS_DEPRESSED),
        xkb_state_serialize_mods(keyboard->state, XKB_STATE_MODS_LATCHED),
        xkb_state_serialize_mods(keyboard->state, XKB_STATE_MODS_LOCKED),
        xkb_state_serialize_layout(keyboard->state, XKB_STATE_LAYOUT_EFFECTIVE));
  }
}

// Hands the keymap's text to the compositor through a memory file.
static bool send_keymap(struct zwp_virtual_keyboard_v1* device, struct xkb_keymap* keymap) {
  char* text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
  if (text == NULL) return false;
  const size_t size = strlen(text) + 1;
  const int fd = memfd_create("press-keys-keymap", MFD_CLOEXEC);
  bool written = fd >= 0;
  for (size_t done = 0; written && done < size;) {
    const ssize_t n = write(fd, text + done, size - done);
    written = n > 0;
    if (written) done += (size_t)n;
  }
  free(text);
  if (written)
    zwp_virtual_keyboard_v1_keymap(device, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, (uint32_t)size);
  if (fd >= 0) close(fd);
  return written;
}

static int usage(void) {
  fprintf(stderr, "usage: press_keys [--delay MS] KEY...\n");
  return 2;
}

int main(int argc, char** argv) {
  long delay_ms = 0;
  int first_key = 1;
  const bool hold = argc == 2 && strcmp(argv[1], "--hold") == 0;
  if (hold) {
    first_key = argc;
  } else if (argc > 2 && strcmp(argv[1], "--delay") == 0) {
    char* end = NULL;
    delay_ms = strtol(argv[2], &end, 10);
    if (*argv[2] == '\0' || *end != '\0' || delay_ms < 0) return usage();
    first_key = 3;
  }
  if (first_key >= argc && !hold) return usage();

  struct xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const struct xkb_rule_names names = {.rules = "evdev", .model = "pc105", .layout = "us"};
  struct xkb_keymap* keymap =
      context != NULL ? xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                      : NULL;
  if (keymap == NULL) {
    fprintf(stderr, "press_keys: cannot compile the evdev keymap\n");
    return 1;
  }
  const int count = argc - first_key;
  struct key_press* presses = calloc((size_t)count + 1, sizeof *presses);
  if (presses == NULL) return 1;
  for (int i = 0; i < count; ++i) {
    if (!find_key(keymap, argv[first_key + i], &presses[i])) {
      fprintf(stderr, "press_keys: no key gives %s in the evdev keymap\n", argv[first_key + i]);
      return 2;
    }
  }

  struct wl_display* display = wl_display_connect(NULL);
  if (display == NULL) {
    fprintf(stderr, "press_keys: cannot connect to the Wayland display\n");
    return 1;
  }
  struct globals globals = {0};
  struct wl_registry* registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &registry_listener, &globals);
  wl_display_roundtrip(display);
  if (globals.seat == NULL || globals.manager == NULL) {
    fprintf(stderr, "press_keys: the compositor offers no %s\n",
            globals.seat == NULL ? "seat" : "virtual keyboard");
    return 1;
  }

  struct keyboard keyboard = {
      zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(globals.manager, globals.seat),
      xkb_state_new(keymap)};
  if (keyboard.state == NULL || !send_keymap(keyboard.device, keymap)) {
    fprintf(stderr, "press_keys: cannot hand over the keymap\n");
    return 1;
  }
  // The compositor must know the keymap before the first key.
  int status = wl_display_roundtrip(display) < 0;
  if (hold && status == 0) {
    puts("ready");
    fflush(stdout);
    while (wl_display_dispatch(display) >= 0) {
    }
    status = 1;
  }
  for (int i = 0; i < count && status == 0; ++i) {
    if (presses[i].shifted) send_key(&keyboard, kShiftLeftKeycode, true);
    send_key(&keyboard, presses[i].keycode, true);
    send_key(&keyboard, presses[i].keycode, false);
    if (presses[i].shifted) send_key(&keyboard, kShiftLeftKeycode, false);
    if (wl_display_flush(display) < 0) status = 1;
    if (delay_ms > 0 && i + 1 < count) {
      const struct timespec pause = {delay_ms / 1000, (delay_ms % 1000) * 1000000L};
      nanosleep(&pause, NULL);
    }
  }
  // Every key has been handled once the compositor answers after them.
  if (status == 0 && wl_display_roundtrip(display) < 0) status = 1;
  if (status != 0) fprintf(stderr, "press_keys: the Wayland connection failed\n");

  zwp_virtual_keyboard_v1_destroy(keyboard.device);
  wl_display_roundtrip(display);
  xkb_state_unref(keyboard.state);
  zwp_virtual_keyboard_manager_v1_destroy(globals.manager);
  wl_seat_destroy(globals.seat);
  wl_registry_destroy(registry);
  wl_display_disconnect(display);
  free(presses);
  xkb_keymap_unref(keymap);
  xkb_context_unref(context);
  return status;
}
