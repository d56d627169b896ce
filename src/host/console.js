// Copies the page's console messages and uncaught errors to the host, which
// prints them on standard output. Injected only with --console.
(function () {
  'use strict';

  const channel = window.webkit.messageHandlers.tessarelConsole;
  const send = channel.postMessage.bind(channel);

  function format(value) {
    if (typeof value === 'string') return value;
    if (value instanceof Error) return value.stack ? `${value}\n${value.stack}` : String(value);
    try {
      const text = JSON.stringify(value);
      return text === undefined ? String(value) : text;
    } catch (error) {
      return String(value);
    }
  }

  function forward(level, text) {
    try {
      send(JSON.stringify({ level, text }));
    } catch (error) {
      // The host is gone; the page's own console still has the message.
    }
  }

  for (const level of ['log', 'info', 'warn', 'error', 'debug']) {
    const original = console[level];
    console[level] = function (...args) {
      forward(level, args.map(format).join(' '));
      return original.apply(this, args);
    };
  }

  addEventListener('error', (event) => {
    forward('error', `Uncaught ${event.message} (${event.filename}:${event.lineno})`);
  });
  addEventListener('unhandledrejection', (event) => {
    forward('error', `Unhandled rejection: ${format(event.reason)}`);
  });
})();
