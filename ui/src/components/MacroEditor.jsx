// The macros of a key's action, edited as what they mean: the keys of a combination (recorded by
// pressing them, or picked from the HID list), media keys, text macro slots, the application
// slot or the layer. Steps can be moved and removed.
import { useEffect, useRef, useState } from 'react';
import { Pressable, ScrollView, StyleSheet, Text, View } from 'react-native';
import { t } from '../i18n/index.js';
import { ActionType, appSlotCount, layerName } from '../logic/actions.js';
import { keyboardUsages, keyLabel, searchUsages } from '../logic/hid.js';
import { mediaKeyName, mediaUsages } from '../logic/media.js';
import { finishRecording, idleRecording, recordKey, startedRecording } from '../logic/recording.js';
import { holdPageKeys } from '../platform/keyboard.js';
import { colors, fonts, radius } from '../theme.js';
import { Button, Chip, TextField, textStyles } from './ui.jsx';

function moved(list, from, to) {
  const next = [...list];
  const [item] = next.splice(from, 1);
  next.splice(to, 0, item);
  return next;
}

function SmallButton({ label, onPress, disabled, testID, accessibilityLabel }) {
  return (
    <Pressable testID={testID} accessibilityRole="button" accessibilityLabel={accessibilityLabel} disabled={disabled} onPress={onPress} style={({ hovered }) => [styles.small, hovered && !disabled && styles.smallHover, disabled && styles.smallDisabled]}>
      <Text style={styles.smallText}>{label}</Text>
    </Pressable>
  );
}

// The steps in order, each with buttons to move it left or right and to remove it.
function Steps({ macros, nameOf, onChange, disabled }) {
  if (macros.length === 0) return <Text style={textStyles.muted}>{t('macros.none')}</Text>;
  return (
    <View style={styles.steps} testID="macro-steps">
      {macros.map((macro, index) => (
        <View key={index} style={styles.step} testID={`step-${index}`}>
          <SmallButton label="‹" accessibilityLabel={t('macros.moveLeft')} testID={`step-${index}-left`} disabled={disabled || index === 0} onPress={() => onChange(moved(macros, index, index - 1))} />
          <Text style={styles.stepText} numberOfLines={1}>{nameOf(macro)}</Text>
          <SmallButton label="›" accessibilityLabel={t('macros.moveRight')} testID={`step-${index}-right`} disabled={disabled || index === macros.length - 1} onPress={() => onChange(moved(macros, index, index + 1))} />
          <SmallButton label="✕" accessibilityLabel={t('macros.remove')} testID={`step-${index}-remove`} disabled={disabled} onPress={() => onChange(macros.filter((_, at) => at !== index))} />
        </View>
      ))}
    </View>
  );
}

// A search field over a list of usages ({code, name}); a pick adds that code.
function UsagePicker({ list, onPick, disabled, placeholder }) {
  const [query, setQuery] = useState('');
  const matches = searchUsages(list, query).slice(0, 40);
  return (
    <View style={styles.picker}>
      <TextField testID="usage-search" nativeID="usage-search" accessibilityLabel={placeholder} placeholder={placeholder} value={query} onChangeText={setQuery} editable={!disabled} />
      <ScrollView style={styles.results} contentContainerStyle={styles.resultsContent}>
        {matches.length === 0 ? <Text style={textStyles.muted}>{t('macros.noMatch')}</Text> : null}
        {matches.map((entry) => (
          <Chip key={entry.code} testID={`usage-option-${entry.code}`} label={`${entry.name}  ${entry.code}`} disabled={disabled} onPress={() => onPick(entry.code)} />
        ))}
      </ScrollView>
    </View>
  );
}

// Records a combination from "keyDown": modifiers are held, the first other key ends it, Escape
// cancels. While recording, keys do nothing else on the page.
function Recorder({ subscribeKeyDown, onRecorded, disabled }) {
  const [recording, setRecording] = useState(idleRecording);
  const state = useRef(idleRecording);
  state.current = recording;
  const finish = (result) => {
    setRecording(idleRecording);
    if (result?.macros) onRecorded(result.macros);
  };
  useEffect(() => {
    if (!recording.active) return undefined;
    const release = holdPageKeys();
    const unsubscribe = subscribeKeyDown((code) => {
      const step = recordKey(state.current, code);
      state.current = step.state;
      if (step.result) finish(step.result);
      else setRecording(step.state);
      return true;
    });
    return () => {
      unsubscribe();
      release();
    };
  }, [recording.active]);
  if (!recording.active) {
    return (
      <View style={styles.row}>
        <Button label={t('record.start')} testID="record-keys" disabled={disabled} onPress={() => setRecording(startedRecording)} small />
        <Text style={styles.hint}>{t('record.hint')}</Text>
      </View>
    );
  }
  return (
    <View style={styles.recording} testID="recording" accessibilityLiveRegion="polite">
      <View style={styles.recordingDot} />
      <View style={styles.recordingText}>
        <Text style={styles.recordingTitle}>{t('record.prompt')}</Text>
        <Text style={styles.recordingKeys} testID="recording-keys">
          {recording.modifiers.length > 0 ? `${recording.modifiers.map(keyLabel).join(' + ')} + …` : t('record.waiting')}
        </Text>
      </View>
      <Button label={t('record.stop')} small kind="ghost" testID="record-stop" onPress={() => finish(finishRecording(state.current).result)} />
      <Button label={t('record.cancel')} small kind="ghost" testID="record-cancel" onPress={() => finish(null)} />
    </View>
  );
}

function TextSlots({ macros, onChange, disabled }) {
  const [slot, setSlot] = useState('');
  const number = /^\d+$/.test(slot) ? Number(slot) : null;
  return (
    <View>
      <Steps macros={macros} nameOf={(value) => t('macros.textSlot', { slot: value ?? '?' })} onChange={onChange} disabled={disabled} />
      <View style={styles.row}>
        <TextField testID="text-slot-input" accessibilityLabel={t('macros.textSlotNumber')} placeholder={t('macros.textSlotNumber')} value={slot} onChangeText={setSlot} invalid={slot !== '' && number === null} style={styles.slotInput} mono editable={!disabled} />
        <Button label={t('macros.addSlot')} small testID="text-slot-add" disabled={disabled || number === null} onPress={() => { onChange([...macros, number]); setSlot(''); }} />
      </View>
      <Text style={styles.note} testID="text-slot-note">{t('macros.textNote')}</Text>
    </View>
  );
}

export default function MacroEditor({ keyboard, action, onChange, subscribeKeyDown, onShowApplications, disabled }) {
  const macros = Array.isArray(action?.macros) ? action.macros : [];
  switch (action?.type) {
    case ActionType.keyCombination:
      return (
        <View style={styles.editor}>
          <Steps macros={macros} nameOf={keyLabel} onChange={onChange} disabled={disabled} />
          <Recorder subscribeKeyDown={subscribeKeyDown} onRecorded={onChange} disabled={disabled} />
          <UsagePicker list={keyboardUsages()} placeholder={t('macros.searchKeys')} disabled={disabled} onPick={(code) => onChange([...macros, code])} />
        </View>
      );
    case ActionType.mediaKey:
      return (
        <View style={styles.editor}>
          <Steps macros={macros} nameOf={mediaKeyName} onChange={onChange} disabled={disabled} />
          <UsagePicker list={mediaUsages()} placeholder={t('macros.searchMedia')} disabled={disabled} onPick={(code) => onChange([...macros, code])} />
        </View>
      );
    case ActionType.textMacros:
      return <TextSlots macros={macros} onChange={onChange} disabled={disabled} />;
    case ActionType.startApplication:
      return (
        <View style={styles.editor}>
          <View style={styles.choices}>
            {Array.from({ length: appSlotCount }, (_, slot) => {
              const path = keyboard.appPaths[slot];
              return (
                <Chip
                  key={slot}
                  testID={`app-slot-${slot}`}
                  label={path ? t('macros.appSlot', { number: slot + 1, name: path.split('/').pop() || path }) : t('macros.appSlotEmpty', { number: slot + 1 })}
                  active={macros[0] === slot}
                  disabled={disabled || !path}
                  onPress={() => onChange([slot])}
                />
              );
            })}
          </View>
          <View style={styles.row}>
            <Text style={styles.note}>{t('macros.appNote')}</Text>
            <Button label={t('macros.editPaths')} small kind="ghost" testID="show-applications" onPress={onShowApplications} />
          </View>
        </View>
      );
    case ActionType.switchLayer:
      return (
        <View style={styles.choices}>
          {keyboard.layers.filter(Boolean).map((layer) => (
            <Chip key={layer.type} testID={`layer-choice-${layer.type}`} label={layerName(layer.type)} active={macros[0] === layer.type} disabled={disabled} onPress={() => onChange([layer.type])} />
          ))}
        </View>
      );
    case ActionType.none:
      return <Text style={textStyles.muted}>{t('macros.nothing')}</Text>;
    default:
      return <Text style={textStyles.muted}>{t('macros.unknownType')}</Text>;
  }
}

const styles = StyleSheet.create({
  editor: { gap: 12 },
  steps: { flexDirection: 'row', flexWrap: 'wrap', gap: 6 },
  step: { flexDirection: 'row', alignItems: 'center', borderRadius: radius.small + 2, borderWidth: 1, borderColor: colors.borderStrong, backgroundColor: colors.sunken, paddingHorizontal: 2, height: 30 },
  stepText: { fontFamily: fonts.body, fontSize: 13, fontWeight: '600', color: colors.text, paddingHorizontal: 6, maxWidth: 160 },
  small: { width: 22, height: 22, borderRadius: 5, alignItems: 'center', justifyContent: 'center', cursor: 'pointer' },
  smallHover: { backgroundColor: colors.hover },
  smallDisabled: { opacity: 0.3, cursor: 'default' },
  smallText: { fontFamily: fonts.body, fontSize: 13, color: colors.textMuted, fontWeight: '700' },
  row: { flexDirection: 'row', alignItems: 'center', gap: 10, flexWrap: 'wrap' },
  hint: { fontFamily: fonts.body, fontSize: 12, color: colors.textFaint, flexShrink: 1 },
  picker: { gap: 8 },
  results: { maxHeight: 120, borderRadius: radius.small + 2, borderWidth: 1, borderColor: colors.border, backgroundColor: colors.sunken },
  resultsContent: { flexDirection: 'row', flexWrap: 'wrap', gap: 6, padding: 8 },
  recording: { flexDirection: 'row', alignItems: 'center', flexWrap: 'wrap', gap: 10, padding: 10, borderRadius: radius.medium, borderWidth: 1.5, borderColor: colors.recording, backgroundColor: colors.dangerSoft },
  recordingDot: { width: 10, height: 10, borderRadius: 5, backgroundColor: colors.recording },
  recordingText: { flex: 1, minWidth: 200 },
  recordingTitle: { fontFamily: fonts.body, fontSize: 13.5, fontWeight: '700', color: colors.text },
  recordingKeys: { fontFamily: fonts.mono, fontSize: 12.5, color: colors.textMuted, marginTop: 2 },
  choices: { flexDirection: 'row', flexWrap: 'wrap', gap: 6 },
  note: { fontFamily: fonts.body, fontSize: 12, color: colors.textMuted, flexShrink: 1, marginTop: 8, lineHeight: 17 },
  slotInput: { width: 120 },
});
