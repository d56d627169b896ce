// Saving and opening files for the user. The bundle runs in a web view, so these use the web's
// own ways: saving is a download of data the page made (a blob: URL), which the host turns into
// a save dialog where the user picks the place; opening is a file input, for which the host shows
// its file chooser. A React Native build would put a document picker module here instead.

// Offers `text` to be saved under the suggested `fileName`. Call from a user's click: the host
// only saves downloads that a person started.
export function saveTextFile(fileName, text, mimeType = 'application/json') {
  const url = URL.createObjectURL(new Blob([text], { type: mimeType }));
  const link = document.createElement('a');
  link.href = url;
  link.download = fileName;
  link.style.display = 'none';
  document.body.appendChild(link);
  link.click();
  link.remove();
  // The download has read the data by the time the user has chosen a place; keep it a while.
  setTimeout(() => URL.revokeObjectURL(url), 60_000);
}

// Lets the user pick one file; resolves with {name, text}, or null when nothing was picked.
// Call from a user's click.
export function openTextFile(accept = '.json,application/json') {
  return new Promise((resolve) => {
    const input = document.createElement('input');
    input.type = 'file';
    input.accept = accept;
    input.style.display = 'none';
    const finish = (value) => {
      input.remove();
      resolve(value);
    };
    input.addEventListener('change', () => {
      const file = input.files?.[0];
      if (!file) return finish(null);
      file.text().then(
        (text) => finish({ name: file.name, text }),
        () => finish(null),
      );
    });
    input.addEventListener('cancel', () => finish(null));
    document.body.appendChild(input);
    input.click();
  });
}
