// The configurator: keyboards on the left with the key tester, the selected keyboard's keys,
// firmware and applications on the right.
import { useEffect, useState } from 'react';
import { ScrollView, StyleSheet, Text, View } from 'react-native';
import AppPaths from './components/AppPaths.jsx';
import Banners from './components/Banners.jsx';
import EmptyState from './components/EmptyState.jsx';
import FirmwarePanel from './components/FirmwarePanel.jsx';
import Header from './components/Header.jsx';
import KeyboardList from './components/KeyboardList.jsx';
import KeyboardView from './components/KeyboardView.jsx';
import KeyEditor from './components/KeyEditor.jsx';
import KeyTester from './components/KeyTester.jsx';
import { Card, Pill, Tabs, textStyles } from './components/ui.jsx';
import { keyAt } from './logic/layout.js';
import { colors, fonts } from './theme.js';
import { useTessarel } from './useTessarel.js';

const sections = [
  { key: 'keys', label: 'Keys & lighting' },
  { key: 'firmware', label: 'Firmware' },
  { key: 'apps', label: 'Applications' },
];

function ServiceState({ service, keyboards, onRetry }) {
  switch (service.status) {
    case 'noHost':
      return <EmptyState testID="state-no-host" title="The keyboard service isn't available here" detail="This page runs outside the Tessarel app, so there is no keyboard service to talk to. Open it from the app, or use the dev page with its simulated keyboards." />;
    case 'waiting':
      return <EmptyState testID="state-waiting" busy title="Waiting for the keyboard service…" detail={`The keyboards appear as soon as the service connects. (${service.detail})`} actionLabel="Try again" onAction={onRetry} />;
    case 'error':
      return <EmptyState testID="state-error" title="Couldn't read the keyboards" detail={service.detail} actionLabel="Try again" onAction={onRetry} />;
    case 'connecting':
      return <EmptyState testID="state-loading" busy title="Loading keyboards…" />;
    default:
      return keyboards.length === 0 ? (
        <EmptyState testID="state-empty" title="No keyboards connected" detail="Plug in a Tessarel keyboard; it shows up here by itself." actionLabel="Refresh" onAction={onRetry} />
      ) : null;
  }
}

function KeysSection({ keyboard, actions }) {
  const [layerIndex, setLayerIndex] = useState(0);
  const [selectedKey, setSelectedKey] = useState(null);
  const layers = keyboard.layers.filter(Boolean);
  const layer = layers[Math.min(layerIndex, layers.length - 1)] ?? null;
  const keyData = layer && selectedKey ? keyAt(layer, selectedKey.x, selectedKey.y) : null;

  useEffect(() => {
    setLayerIndex(0);
    setSelectedKey(null);
  }, [keyboard.id]);

  if (!layer) {
    return (
      <Card>
        <EmptyState title="This keyboard has no layers" detail="The keyboard service reported no layer to show." />
      </Card>
    );
  }
  return (
    <View>
      <View style={styles.layerBar}>
        <Tabs
          testID="layer-tabs"
          items={layers.map((entry, index) => ({ key: index, label: `Layer ${entry.type}` }))}
          selected={Math.min(layerIndex, layers.length - 1)}
          onSelect={setLayerIndex}
        />
        <Text style={textStyles.muted}>{selectedKey ? 'Editing the highlighted key' : 'Pick a key to edit it'}</Text>
      </View>
      <KeyboardView layer={layer} selected={keyData ? selectedKey : null} onSelectKey={setSelectedKey} />
      {keyData ? (
        <KeyEditor key={keyboard.id} keyboard={keyboard} layer={layer} position={selectedKey} keyData={keyData} actions={actions} />
      ) : (
        <View style={styles.pickHint}>
          <Text style={styles.pickHintText}>Select a key above to see its action and macros, change its colour, light it, or send its key press to an application.</Text>
        </View>
      )}
    </View>
  );
}

export default function App() {
  const tessarel = useTessarel();
  const { service, keyboards, keyboardsRevision, errors, notices, appVersion, launchAtStartUp, firmware, operationStates, keyPresses, actions } = tessarel;
  const [selectedId, setSelectedId] = useState(null);
  const [section, setSection] = useState('keys');
  // The user's choice is kept while its keyboard is away (say, restarting into its boot loader)
  // and shown again when it comes back; meanwhile the first keyboard is shown.
  const keyboard = keyboards.find((entry) => entry.id === selectedId) ?? keyboards[0] ?? null;

  const showKeyboards = service.status === 'ready' && keyboard;
  return (
    <View style={styles.window}>
      <Header appVersion={appVersion} launchAtStartUp={launchAtStartUp} onLaunchAtStartUpChange={actions.setLaunchAtStartUp} serviceStatus={service.status} />
      <View style={styles.body}>
        <View style={styles.sidebar}>
          <ScrollView contentContainerStyle={styles.sidebarContent}>
            <Text style={[textStyles.label, styles.sidebarLabel]}>Keyboards</Text>
            {keyboards.length > 0 ? (
              <KeyboardList keyboards={keyboards} selectedId={keyboard?.id} onSelect={setSelectedId} />
            ) : (
              <Text style={styles.sidebarEmpty}>{service.status === 'ready' ? 'None connected' : 'Not available yet'}</Text>
            )}
            <View style={styles.sidebarSpacer} />
            <KeyTester keyPresses={keyPresses} onClear={actions.clearKeyPresses} />
          </ScrollView>
        </View>
        <View style={styles.main}>
          <Banners errors={errors} notices={notices} onDismissError={actions.dismissError} onDismissNotice={actions.dismissNotice} />
          <ScrollView style={styles.mainScroll} contentContainerStyle={styles.mainContent}>
            {showKeyboards ? (
              <>
                <View style={styles.titleRow}>
                  <View style={styles.titleText}>
                    <Text style={styles.title} testID="keyboard-name">{keyboard.name}</Text>
                    <View style={styles.meta}>
                      <Pill label={`Model ${keyboard.model}`} tone="accent" />
                      <Text style={textStyles.mono}>{keyboard.id}</Text>
                      <Text style={textStyles.muted}>{`${keyboard.layers.length} ${keyboard.layers.length === 1 ? 'layer' : 'layers'}`}</Text>
                    </View>
                  </View>
                  <Tabs testID="section-tabs" items={sections} selected={section} onSelect={setSection} />
                </View>
                {section === 'keys' ? <KeysSection keyboard={keyboard} actions={actions} /> : null}
                {section === 'firmware' ? <FirmwarePanel keyboard={keyboard} keyboardsRevision={keyboardsRevision} firmware={firmware} operationStates={operationStates} actions={actions} /> : null}
                {section === 'apps' ? <AppPaths keyboard={keyboard} /> : null}
              </>
            ) : (
              <ServiceState service={service} keyboards={keyboards} onRetry={actions.retry} />
            )}
          </ScrollView>
        </View>
      </View>
    </View>
  );
}

const styles = StyleSheet.create({
  window: { flex: 1, backgroundColor: colors.canvas },
  body: { flex: 1, flexDirection: 'row', minHeight: 0 },
  sidebar: { width: 290, backgroundColor: colors.surface, borderRightWidth: 1, borderRightColor: colors.border },
  sidebarContent: { padding: 16, flexGrow: 1 },
  sidebarLabel: { marginBottom: 10, marginLeft: 4 },
  sidebarEmpty: { fontFamily: fonts.body, fontSize: 13, color: colors.textFaint, marginLeft: 4 },
  sidebarSpacer: { flexGrow: 1, minHeight: 20 },
  main: { flex: 1, minWidth: 0 },
  mainScroll: { flex: 1 },
  mainContent: { padding: 24, flexGrow: 1 },
  titleRow: { flexDirection: 'row', alignItems: 'center', justifyContent: 'space-between', marginBottom: 20, flexWrap: 'wrap', gap: 12 },
  titleText: { flexShrink: 1 },
  title: { fontFamily: fonts.body, fontSize: 24, fontWeight: '700', color: colors.text },
  meta: { flexDirection: 'row', alignItems: 'center', gap: 10, marginTop: 6 },
  layerBar: { flexDirection: 'row', alignItems: 'center', justifyContent: 'space-between', marginBottom: 16 },
  pickHint: { marginTop: 20, padding: 18, borderRadius: 12, borderWidth: 1, borderStyle: 'dashed', borderColor: colors.borderStrong, alignItems: 'center' },
  pickHintText: { fontFamily: fonts.body, fontSize: 13.5, color: colors.textMuted, textAlign: 'center' },
});
