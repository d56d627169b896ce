// Asking the page before its window closes, so that it can keep unsaved
// work from being lost.
//
//   AskPageBeforeClosing(webView);   // once, when the view is made
//
// When the window that shows the view is asked to close (its close button,
// the window manager, the page's window.close()), the host first calls
// TessarelNative.__closeRequested() in the bundle's page (bridge.js), which
// asks the handler the page registered with
// TessarelNative.setCloseRequestHandler. The window closes when the answer is
// true, when the page has no handler, when the call fails, or when no answer
// comes within kCloseAnswerTimeout (a hung page must not keep the window
// open). On false the window stays; the page asks the user and, if the user
// agrees, calls window.close() once its handler will answer true.
//
// A window shown with a page of another origin, or with none, closes at once.
// The view's state is released with the view; an answer that comes after the
// view or the window has gone is dropped.
//
// Thread-safety: UI thread only.
#pragma once

#include <chrono>

typedef struct _WebKitWebView WebKitWebView;

namespace tessarel {

inline constexpr std::chrono::milliseconds kCloseAnswerTimeout{2000};

void AskPageBeforeClosing(WebKitWebView* view);

}  // namespace tessarel
