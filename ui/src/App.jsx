// The configurator: keyboards on the left with the key tester, the selected keyboard's keys,
// firmware and applications on the right, and the staged changes in a bar under them.
import { useEffect, useRef, useState } from 'react';
import { ScrollView, StyleSheet, Text, View } from 'react-native';
import AppPaths from './components/AppPaths.jsx';
import Banners from './components/Banners.jsx';
import EmptyState from './components/EmptyState.jsx';
import FirmwarePanel from './components/FirmwarePanel.jsx';
import Header from './components/Header.jsx';
import ImportError from './components/ImportError.jsx';
import KeyboardList from './components/KeyboardList.jsx';
import KeyboardView from './components/KeyboardView.jsx';
import KeyEditor from './components/KeyEditor.jsx';
import KeyTester from './components/KeyTester.jsx';
import StagingBar from './components/StagingBar.jsx';
import { Button, Card, Dialog, Pill, Tabs, textStyles } from './components/ui.jsx';
import { t } from './i18n/index.js';
import { layerName } from './logic/actions.js';
import { configurationFileName, configurationText, parseConfiguration } from './logic/configFile.js';
import { operationsFor, updateFor } from './logic/firmware.js';
import { keyAt } from './logic/layout.js';
import { keyId } from './logic/staging.js';
import { openTextFile, saveTextFile } from './platform/files.js';
import { closeWindow, setCloseRequestHandler } from './platform/window.js';
import { colors, fonts, radius } from './theme.js';
import { useStaging } from './useStaging.js';
import { useTessarel } from './useTessarel.js';

function ServiceState({ service, keyboards, onRetry }) {
  switch (service.status) {
    case 'noHost':
      return <EmptyState testID="state-no-host" title={t('state.noHost')} detail={t('state.noHostDetail')} />;
    case 'waiting':
      return <EmptyState testID="state-waiting" busy title={t('state.waiting')} detail={t('state.waitingDetail', { detail: service.detail })} actionLabel={t('common.tryAgain')} onAction={onRetry} />;
    case 'error':
      return <EmptyState testID="state-error" title={t('state.error')} detail={service.detail} actionLabel={t('common.tryAgain')} onAction={onRetry} />;
    case 'connecting':
      return <EmptyState testID="state-loading" busy title={t('state.loading')} />;
    default:
      return keyboards.length === 0 ? <EmptyState testID="state-empty" title={t('state.empty')} detail={t('state.emptyDetail')} actionLabel={t('common.refresh')} onAction={onRetry} /> : null;
  }
}

// Staged key edits are marked on the drawn layer by "y:x"; `keys` holds "layer:y:x".
function onLayer(keys, layerIndex) {
  const prefix = `${layerIndex}:`;
  return new Set([...keys].filter((id) => id.startsWith(prefix)).map((id) => id.slice(prefix.length)));
}

function KeysSection({ keyboard, staging, actions, onShowApplications }) {
  const [layerIndex, setLayerIndex] = useState(0);
  const [selectedKey, setSelectedKey] = useState(null);
  const current = staging.current;
  const layers = current.layers;
  const index = Math.min(layerIndex, layers.length - 1);
  const layer = layers[index] ?? null;
  const keyData = layer && selectedKey ? keyAt(layer, selectedKey.x, selectedKey.y) : null;

  useEffect(() => {
    setLayerIndex(0);
    setSelectedKey(null);
  }, [keyboard.id]);

  if (!layer) {
    return (
      <Card>
        <EmptyState title={t('keys.noLayers')} detail={t('keys.noLayersDetail')} />
      </Card>
    );
  }
  const problems = new Map(staging.problems.filter((problem) => problem.key).map((problem) => [problem.key, problem.message]));
  const invalidHere = onLayer(new Set(problems.keys()), index);
  const selectedId = keyData ? keyId(index, selectedKey.x, selectedKey.y) : null;
  const onEdit = (patch, coalesce) =>
    staging.edit({ kind: 'key', layer: index, x: selectedKey.x, y: selectedKey.y, patch }, coalesce ? `${selectedId}:${coalesce}` : null);
  return (
    <View>
      <View style={styles.layerBar}>
        <Tabs
          testID="layer-tabs"
          items={layers.map((entry, at) => ({ key: at, label: entry ? layerName(entry.type) : t('layer.missing') }))}
          selected={index}
          onSelect={setLayerIndex}
        />
        <Text style={textStyles.muted}>{keyData ? t('keys.editing') : t('keys.pick')}</Text>
      </View>
      <KeyboardView keyboard={current} layer={layer} selected={keyData ? selectedKey : null} onSelectKey={setSelectedKey} edited={onLayer(staging.differences.keys, index)} invalid={invalidHere} />
      {keyData ? (
        <KeyEditor
          key={`${keyboard.id}/${index}/${selectedKey.x}/${selectedKey.y}`}
          keyboard={current}
          layer={layer}
          position={selectedKey}
          keyData={keyData}
          edited={staging.differences.keys.has(selectedId)}
          problem={problems.get(selectedId) ?? null}
          onEdit={onEdit}
          actions={actions}
          subscribeKeyDown={actions.subscribeKeyDown}
          onShowApplications={onShowApplications}
          locked={staging.writing}
        />
      ) : (
        <View style={styles.pickHint}>
          <Text style={styles.pickHintText}>{t('keys.pickHint')}</Text>
        </View>
      )}
    </View>
  );
}

// Export and import of the configuration the editor shows.
function ConfigurationFiles({ keyboard, current, staging, onImportProblems, locked }) {
  const exportFile = () => saveTextFile(configurationFileName(current), configurationText(current));
  const importFile = async () => {
    const file = await openTextFile();
    if (!file) return;
    const result = parseConfiguration(file.text, keyboard);
    if (!result.ok) {
      onImportProblems({ fileName: file.name, problems: result.problems });
      return;
    }
    onImportProblems(null);
    staging.edit({ kind: 'replace', layers: result.layers, appPaths: result.appPaths }, null);
  };
  return (
    <View style={styles.files}>
      <Button label={t('files.export')} small testID="export-config" onPress={exportFile} />
      <Button label={t('files.import')} small testID="import-config" disabled={locked} onPress={importFile} />
    </View>
  );
}

export default function App() {
  const tessarel = useTessarel();
  const { service, keyboards, keyboardsRevision, errors, notices, appVersion, launchAtStartUp, firmware, operationStates, operationOwners, keyPresses, actions } = tessarel;
  const [selectedId, setSelectedId] = useState(null);
  const [section, setSection] = useState('keys');
  const [files, setFiles] = useState({});
  const [importProblems, setImportProblems] = useState(null);
  const [question, setQuestion] = useState(null); // {kind: 'switch', id} | {kind: 'close'}
  // The user's choice is kept while its keyboard is away (say, restarting into its boot loader)
  // and shown again when it comes back; meanwhile the first keyboard is shown.
  const keyboard = keyboards.find((entry) => entry.id === selectedId) ?? keyboards[0] ?? null;
  const staging = useStaging(keyboard, { firmware, keyboardsRevision, actions });
  const update = updateFor(firmware, keyboard?.id ?? null);
  const unsaved = staging.differences.count;

  // The window asks before it closes; with staged changes the answer is the user's.
  const closeAllowed = useRef(false);
  const unsavedNow = useRef(0);
  unsavedNow.current = unsaved;
  useEffect(
    () =>
      setCloseRequestHandler(() => {
        if (closeAllowed.current || unsavedNow.current === 0) return true;
        setQuestion({ kind: 'close' });
        return false;
      }),
    [],
  );

  useEffect(() => setImportProblems(null), [keyboard?.id]);

  const selectKeyboard = (id) => {
    if (id === keyboard?.id) return;
    if (unsaved > 0) setQuestion({ kind: 'switch', id });
    else setSelectedId(id);
  };

  // The user lets the staged changes go: to another keyboard, or with the window.
  const answerYes = (asked) => {
    setQuestion(null);
    if (asked.kind === 'switch') {
      staging.discard();
      setSelectedId(asked.id);
    } else {
      closeAllowed.current = true;
      closeWindow();
    }
  };

  const showKeyboards = service.status === 'ready' && keyboard;
  const sections = [
    { key: 'keys', label: t('section.keys') },
    { key: 'firmware', label: t('section.firmware') },
    { key: 'apps', label: t('section.apps') },
  ];
  return (
    <View style={styles.window}>
      <Header appVersion={appVersion} launchAtStartUp={launchAtStartUp} onLaunchAtStartUpChange={actions.setLaunchAtStartUp} serviceStatus={service.status} />
      <View style={styles.body}>
        <View style={styles.sidebar}>
          <ScrollView contentContainerStyle={styles.sidebarContent}>
            <Text style={[textStyles.label, styles.sidebarLabel]}>{t('sidebar.keyboards')}</Text>
            {keyboards.length > 0 ? (
              <KeyboardList keyboards={keyboards} selectedId={keyboard?.id} onSelect={selectKeyboard} />
            ) : (
              <Text style={styles.sidebarEmpty}>{service.status === 'ready' ? t('sidebar.none') : t('sidebar.notYet')}</Text>
            )}
            <View style={styles.sidebarSpacer} />
            <KeyTester keyPresses={keyPresses} onClear={actions.clearKeyPresses} />
          </ScrollView>
        </View>
        <View style={styles.main}>
          <Banners errors={errors} notices={notices} onDismissError={actions.dismissError} onDismissNotice={actions.dismissNotice} />
          <ScrollView style={styles.mainScroll} contentContainerStyle={styles.mainContent} testID="main-scroll">
            {showKeyboards ? (
              <>
                <View style={styles.titleRow}>
                  <View style={styles.titleText}>
                    <Text style={styles.title} testID="keyboard-name">{keyboard.name}</Text>
                    <View style={styles.meta}>
                      <Pill label={t('keyboard.model', { model: keyboard.model })} tone="accent" />
                      <Text style={textStyles.mono}>{keyboard.id}</Text>
                      <Text style={textStyles.muted}>{t('keyboard.layers', { count: keyboard.layers.length })}</Text>
                      <ConfigurationFiles keyboard={keyboard} current={staging.current} staging={staging} onImportProblems={setImportProblems} locked={staging.writing} />
                    </View>
                  </View>
                  <Tabs testID="section-tabs" items={sections} selected={section} onSelect={setSection} />
                </View>
                {importProblems ? <ImportError {...importProblems} onDismiss={() => setImportProblems(null)} /> : null}
                {section === 'keys' ? <KeysSection keyboard={keyboard} staging={staging} actions={actions} onShowApplications={() => setSection('apps')} /> : null}
                {section === 'firmware' ? (
                  <FirmwarePanel
                    keyboard={keyboard}
                    keyboardsRevision={keyboardsRevision}
                    update={update}
                    operations={operationsFor(operationStates, operationOwners, keyboard.id)}
                    file={files[keyboard.id] ?? ''}
                    onFileChange={(path) => setFiles((all) => ({ ...all, [keyboard.id]: path }))}
                    actions={actions}
                  />
                ) : null}
                {section === 'apps' ? (
                  <AppPaths
                    keyboard={staging.current}
                    editedSlots={staging.differences.appSlots}
                    locked={staging.writing}
                    onChange={(slot, value) => staging.edit({ kind: 'appPath', slot, value }, `path:${slot}`)}
                  />
                ) : null}
              </>
            ) : (
              <ServiceState service={service} keyboards={keyboards} onRetry={actions.retry} />
            )}
          </ScrollView>
          {showKeyboards ? <StagingBar staging={staging} update={update} keyboardName={keyboard.name} onCancel={actions.cancelUpdate} /> : null}
        </View>
      </View>
      {question ? (
        <Dialog
          testID={`${question.kind}-dialog`}
          title={t(`ask.${question.kind}Title`, { count: unsaved })}
          message={t(`ask.${question.kind}Message`, { name: keyboard?.name })}
          actions={[
            <Button key="keep" label={t('ask.keepEditing')} testID={`${question.kind}-keep`} onPress={() => setQuestion(null)} />,
            <Button key="discard" label={t(`ask.${question.kind}Anyway`)} kind="danger" testID={`${question.kind}-discard`} onPress={() => answerYes(question)} />,
          ]}
        />
      ) : null}
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
  meta: { flexDirection: 'row', alignItems: 'center', gap: 10, marginTop: 6, flexWrap: 'wrap' },
  files: { flexDirection: 'row', gap: 6, marginLeft: 6 },
  layerBar: { flexDirection: 'row', alignItems: 'center', justifyContent: 'space-between', marginBottom: 16 },
  pickHint: { marginTop: 20, padding: 18, borderRadius: radius.large, borderWidth: 1, borderStyle: 'dashed', borderColor: colors.borderStrong, alignItems: 'center' },
  pickHintText: { fontFamily: fonts.body, fontSize: 13.5, color: colors.textMuted, textAlign: 'center' },
});
