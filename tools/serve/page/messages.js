// What the page says to its viewer beside figures: notices over the picture, passing messages, the
// question for the token.

import { byId, setText } from './dom.js';

const kToastMs = 6000;

// Over the last picture, which stays readable but is seen to be old.
export function notice(title, text) {
  const element = byId('notice');
  element.hidden = !title;
  byId('picture-frame').classList.toggle('stale', Boolean(title));
  if (!title) return;
  setText(element.firstChild, title);
  setText(element.lastChild, text ?? '');
}

// Runs what may fail, and tells why it did.
export async function attempt(act) {
  try {
    return await act();
  } catch (error) {
    toast(error.message);
    return undefined;
  }
}

let toastTimer = 0;
export function toast(text) {
  const element = byId('toast');
  element.textContent = text;
  element.hidden = false;
  clearTimeout(toastTimer);
  toastTimer = setTimeout(() => { element.hidden = true; }, kToastMs);
}

export function promptForToken(isWrong) {
  const dialog = byId('token-dialog');
  setText(byId('token-error'), isWrong ? 'That token is not the right one.' : '');
  byId('token').value = '';
  if (!dialog.open) dialog.showModal();
  return new Promise((resolve) => {
    byId('token-form').onsubmit = () => resolve(byId('token').value);
  });
}
