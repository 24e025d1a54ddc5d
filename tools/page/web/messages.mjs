// SPDX-License-Identifier: MIT
//
// Messages to the person. They replace the status below the board, so they cover nothing, and
// disappear when the person does something else.

import { html, nothing } from './html.mjs';
import { refresh } from './state.mjs';

/** { text, isBad, label, act }, or null. */
let message = null;
let timer = 0;

/** Shows a message for some seconds.
 *  @param {string} text
 *  @param {{isBad?: boolean, label?: string, act?: () => void}} [more] a button and what it does; a
 *      message with a button stays longer
 *  @returns {() => void} removes it */
export function say(text, { isBad = false, label, act } = {}) {
  const own = { text, isBad, label, act };
  const remove = () => message === own && dismiss();
  message = own;
  clearTimeout(timer);
  timer = setTimeout(remove, label ? 12000 : 6000);
  refresh();
  return remove;
}

function dismiss() {
  message = null;
  refresh();
}

function dismissOld({ target }) {
  // A problem that needs an answer stays.
  const isAsking = message?.isBad && message.label;
  if (message && !isAsking && !target.closest?.('#messages')) dismiss();
}
document.addEventListener('pointerdown', dismissOld, true);
document.addEventListener('keydown', dismissOld, true);

/** @param {unknown} otherwise what is shown when there is no message */
export function messageView(otherwise) {
  const { text, isBad, label, act } = message ?? {};
  const take = () => {
    dismiss();
    act();
  };
  return html`
    <p id="status" role="status" class=${message ? 'is-away' : ''}>${otherwise}</p>
    <div id="messages" aria-live=${isBad ? 'assertive' : 'polite'}>
      ${
        message
          ? html`<div class="message ${isBad ? 'is-bad' : ''}"><span>${text}</span>
        ${label ? html`<button type="button" @click=${take}>${label}</button>` : nothing}</div>`
          : nothing
      }
    </div>`;
}
