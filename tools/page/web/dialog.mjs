// SPDX-License-Identifier: MIT
//
// The page's dialogs: one at a time, in one element.

import { $, html, nothing, render } from './html.mjs';

let current = null;

/** Opens a dialog.
 *  @param {object} settings
 *  @param {string} settings.id of its element
 *  @param {string} settings.title
 *  @param {() => unknown} settings.body its template
 *  @param {(form: HTMLFormElement) => void} [settings.take] is called when the form is submitted;
 *      without it the dialog can only be closed
 *  @param {string} [settings.label] of the button that submits it
 *  @param {unknown} [settings.buttons] more buttons */
export function openDialog(settings) {
  const host = $('dialog-host');
  current = settings;
  showDialog();
  const dialog = host.querySelector('dialog');
  if (!dialog.open) dialog.showModal();
}

/** Draws the open dialog again. */
export function showDialog() {
  const host = $('dialog-host');
  if (!current) {
    render(nothing, host);
    return;
  }
  const { id, title, body, take, label = 'OK', buttons = nothing } = current;
  const submit = (event) => {
    event.preventDefault();
    closeDialog();
    take?.(event.target);
  };
  // Each dialog is a separate element, so that nothing of another one remains.
  render(
    html`
    <dialog id=${id} aria-labelledby="dialog-title"
      @close=${({ target }) => target.open || forget()}>
      <form method="dialog" @submit=${submit}>
        <h2 id="dialog-title" tabindex="-1" autofocus>${title}</h2>
        ${body()}
        <div class="dialog-buttons">
          ${buttons}
          <button type="button" value="cancel" @click=${closeDialog}>
            ${take ? 'Cancel' : 'Close'}</button>
          ${
            take
              ? html`<button type="submit" value="take" class="primary">${label}</button>`
              : nothing
          }
        </div>
      </form>
    </dialog>`,
    host,
  );
}

export function closeDialog() {
  $('dialog-host').querySelector('dialog')?.close();
}

function forget() {
  current = null;
  // The dialog is removed only after its own event has been handled.
  queueMicrotask(() => !current && showDialog());
}

// The close event comes later, so the element is asked.
export const isDialogOpen = () => Boolean($('dialog-host').querySelector('dialog[open]'));
