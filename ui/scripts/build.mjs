// Builds the UI with esbuild.
//
//   node scripts/build.mjs                 dist/index.windows.bundle (the host's bundle)
//   node scripts/build.mjs --dev           dist/dev.html + dist/dev.js (browser page with the mock),
//                                          dist/host.html (the host bundle against the mock)
//   node scripts/build.mjs --dev --serve   the dev page, rebuilt on change, on http://127.0.0.1:8080/
//   node scripts/build.mjs --entry IN OUT  a host bundle from another entry (the end-to-end test's
//                                          probe around the UI, tests/ui/probe_entry.js)
//
// The host's bundle is one classic (non-module) script: the host's page loads it with a plain
// <script src>, and its content security policy allows no eval, so the output is an IIFE.
import * as esbuild from 'esbuild';
import { mkdir, writeFile } from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const uiDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');

// Options shared by the host bundle and the dev page. Code is written for React Native and
// imports from 'react-native'; the alias points that at our shim over react-native-web.
export function bundleOptions({ dev = false, outfile, entry } = {}) {
  return {
    absWorkingDir: uiDir,
    entryPoints: [entry ?? (dev ? 'src/dev/index.js' : 'src/index.js')],
    outfile: outfile ?? path.join(uiDir, dev ? 'dist/dev.js' : 'dist/index.windows.bundle'),
    bundle: true,
    format: 'iife',
    platform: 'browser',
    // WebKitGTK 6.0 and current browsers.
    target: ['es2020', 'safari15'],
    jsx: 'automatic',
    loader: { '.js': 'jsx' },
    alias: { 'react-native': './src/react-native.js' },
    define: {
      'process.env.NODE_ENV': JSON.stringify(dev ? 'development' : 'production'),
      __DEV__: dev ? 'true' : 'false',
    },
    minify: !dev,
    sourcemap: dev ? 'inline' : false,
    legalComments: 'none',
    logLevel: 'warning',
  };
}

const devPage = `<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Tessarel (dev)</title>
<style>html, body, #root { height: 100%; margin: 0; }</style>
</head>
<body>
<div id="root"></div>
<script src="dev.js"></script>
</body>
</html>
`;

// The production bundle inside a page like the host's, with the simulated service standing in
// for the host's bridge.
const hostPage = devPage
  .replace('Tessarel (dev)', 'Tessarel (host bundle, simulated service)')
  .replace('<script src="dev.js"></script>', '<script src="mock-host.js"></script>\n<script src="index.windows.bundle"></script>');

async function main(argv) {
  const entryAt = argv.indexOf('--entry');
  if (entryAt >= 0) {
    const [entry, outfile] = argv.slice(entryAt + 1, entryAt + 3).map((file) => path.resolve(file));
    await esbuild.build(bundleOptions({ entry, outfile }));
    return;
  }
  const dev = argv.includes('--dev');
  const serve = argv.includes('--serve');
  await mkdir(path.join(uiDir, 'dist'), { recursive: true });
  const builds = [bundleOptions()];
  if (dev) {
    await writeFile(path.join(uiDir, 'dist/dev.html'), devPage);
    await writeFile(path.join(uiDir, 'dist/host.html'), hostPage);
    builds.push(bundleOptions({ dev: true }));
    builds.push(bundleOptions({ dev: true, entry: 'src/dev/mockHost.js', outfile: path.join(uiDir, 'dist/mock-host.js') }));
  }
  if (!serve) {
    await Promise.all(builds.map((options) => esbuild.build(options)));
    return;
  }
  const contexts = await Promise.all(builds.map((options) => esbuild.context(options)));
  await Promise.all(contexts.map((context) => context.watch()));
  const context = contexts[1];
  const { port } = await context.serve({ host: '127.0.0.1', port: 8080, servedir: path.join(uiDir, 'dist') });
  console.log(`Dev page: http://127.0.0.1:${port}/dev.html (rebuilds on change; Ctrl+C stops)`);
}

if (process.argv[1] && path.resolve(process.argv[1]) === fileURLToPath(import.meta.url)) {
  main(process.argv.slice(2)).catch((error) => {
    console.error(error.message ?? error);
    process.exit(1);
  });
}
