// Entry of the bundle. The host calls TessarelNative.runApplication('Tessarel', ...) once the
// bundle has loaded; opened without a host, the bundle starts itself so that it can say so.
import { AppRegistry } from 'react-native';
import App from './App.jsx';

AppRegistry.registerComponent('Tessarel', () => App);

if (typeof document !== 'undefined') {
  // In a web page the root element must pass the window's height down to the app's flex
  // layout, as a React Native root view does.
  const style = document.createElement('style');
  style.textContent = 'html, body { height: 100%; margin: 0; } #root { display: flex; flex-direction: column; height: 100%; }';
  document.head.appendChild(style);

  const rootTag = document.getElementById('root');
  if (!globalThis.TessarelNative && rootTag) AppRegistry.runApplication('Tessarel', { rootTag, initialProps: {} });
}
