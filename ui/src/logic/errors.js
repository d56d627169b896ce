// Turning a rejected native call into something a person can read.
import { t } from '../i18n/index.js';

export const serviceMissingMessage = "Service connection isn't running yet";

export function errorText(error) {
  if (error && typeof error.message === 'string' && error.message !== '') return error.message;
  if (typeof error === 'string' && error !== '') return error;
  return t('error.noReason');
}

export function isServiceMissing(error) {
  return errorText(error) === serviceMissingMessage;
}

// Adds an error to the list shown to the user. The same failure repeated (say, on every
// refresh) is counted on its existing entry instead of stacking up copies.
export function addError(list, { title, message }, nextId) {
  const existing = list.find((entry) => entry.title === title && entry.message === message);
  if (existing) {
    return list.map((entry) => (entry === existing ? { ...entry, count: entry.count + 1 } : entry));
  }
  return [...list, { id: nextId, title, message, count: 1 }];
}
