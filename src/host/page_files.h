// The files the page may exchange with the user, and no others: it may save
// data it made itself where the user chooses, and read a file the user picks.
//
//   AllowPageFileExchange(webView, console);   // before the view's own policy handler
//
// Saving: a navigation of the bundle's page to a blob: URL of its own origin
// or to a data: URL (what an <a download> of page-made data does) becomes a
// download. Its destination is asked of the user in GTK's save dialog (a
// GtkFileChooserNative, transient for the view's window), with the name the
// page suggested; cancelling the dialog cancels the download. Every other
// download of the view (a tessarel:// file the engine cannot show, a page of
// another origin) is cancelled before anything is written, and with
// `console` reported as "[host] refused download of <uri>".
//
// Reading: the page's <input type="file"> opens GTK's file chooser (WebKit's
// own run-file-chooser handler), for the bundle's page only; any other
// document's request is cancelled.
//
// Thread-safety: UI thread only.
#pragma once

#include <string_view>

typedef struct _WebKitWebView WebKitWebView;

namespace tessarel {

// blob:tessarel://app/... and data:... : data that the page made itself.
bool IsPageMadeData(std::string_view uri) noexcept;

void AllowPageFileExchange(WebKitWebView* view, bool console);

}  // namespace tessarel
