// SPDX-License-Identifier: MIT
//
// Import and export of games and positions: PGN and FEN as text, files that are opened or dropped,
// pasted text, links, the list of the games of a file.

import { looksLikeFen } from '../../lib/chess.mjs';
import { GameTree, problemText, scanGames } from '../../lib/game-tree.mjs';
import { resultText } from './board.mjs';
import { closeDialog, openDialog, showDialog } from './dialog.mjs';
import { $, html, nothing } from './html.mjs';
import { say } from './messages.mjs';
import { loadGame, saveFile } from './play.mjs';
import { readFen } from './rules.mjs';
import { passing, pause, pgnOf, state } from './state.mjs';

const mostBytes = 50e6;
/** Milliseconds for which a long text is read without a pause. */
const readTime = 12;
/** The number of games in a list that are shown at a time. */
const rowsOfPage = 200;
let error = '';
/** The newest text; reading an older one is abandoned. */
let newest = '';

function setFen(text) {
  loadGame(new GameTree(readFen(text)), 'Position set.');
  passing.library = [];
}

/** Finds the games of a text, with pauses.
 *  @returns {Promise<?object[]>} null if another text has arrived in the meantime */
async function findGames(text) {
  newest = text;
  const scan = scanGames(text);
  for (let since = performance.now(); ;) {
    const { done, value } = scan.next();
    if (done) return value;
    if (performance.now() - since < readTime) continue;
    say(`Reading the games: ${Math.round(100 * value)} %`);
    await pause();
    if (text !== newest) return null;
    since = performance.now();
  }
}

/** Reads the first game of a PGN text, and keeps the list of all.
 *  @returns {Promise<?GameTree>} null if another text has arrived in the meantime
 *  @throws with a sentence for people */
async function readGames(text) {
  const games = await findGames(text);
  if (!games) return null;
  if (games.length > rowsOfPage) await pause();
  const first = games[0]?.read();
  const hasMoves = first && (first.root.children.length || Object.keys(games[0].tags).length);
  if (first?.problems.length && !first.root.children.length) throw new Error(sentence(first));
  if (!hasMoves) throw new Error('There is no game in this text.');
  passing.library = games.length > 1 ? games : [];
  passing.libraryIndex = 0;
  return first;
}

function sentence({ problems: [problem, ...others] }) {
  const text = problemText(problem);
  const more = others.length ? ` (and ${others.length} more)` : '';
  return `${text[0].toUpperCase()}${text.slice(1)}${more}.`;
}

/** Takes a FEN or PGN text.
 *  @throws with a sentence for people; the game stays then */
async function take(text) {
  if (looksLikeFen(text)) {
    setFen(text);
    return;
  }
  const game = await readGames(text);
  if (!game) return;
  show(game);
  if (!passing.library.length) return;
  await pause();
  openLibrary();
}

function show(game) {
  loadGame(game, game.problems.length ? sentence(game) : 'Game loaded.');
}

async function textOf(file) {
  if (file.size > mostBytes) throw new Error('This file is larger than 50 MB.');
  return file.text();
}

const complain = ({ message }) => say(message, { isBad: true });

/** The same for a text or a file, but they show a message if it fails. */
const takeText = (text) => take(text).catch(complain);
const takeFile = (file) => textOf(file).then(take).catch(complain);

/** Loads the game or position in the page's address: #fen=... or #pgn=... */
export function takeAddress() {
  const [, kind, text] = window.location.hash.match(/^#(fen|pgn)=(.*)$/s) ?? [];
  if (!kind) return;
  // When it is reloaded, the page keeps its own game.
  window.history.replaceState(null, '', window.location.pathname + window.location.search);
  try {
    const plain = decodeURIComponent(text);
    takeText(kind === 'fen' ? plain.replaceAll('_', ' ') : plain);
  } catch {
    say('The game or position in the address of this page is malformed.', { isBad: true });
  }
}

/** Loads the dialog's text and closes the dialog, or shows in it what is wrong. */
async function tryTake(text, act = take) {
  const dialog = $('exchange-dialog');
  error = '';
  try {
    await act(await text);
    // With several games, the list of games has replaced this dialog.
    if (document.contains(dialog) && !passing.library.length) closeDialog();
  } catch ({ message }) {
    error = message;
    showDialog();
  }
}

async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const field = Object.assign(document.createElement('textarea'), { value: text });
    $('dialog-host').querySelector('form').append(field);
    field.select();
    document.execCommand('copy');
    field.remove();
  }
  say('Copied.');
}

const linkTo = (kind, text) => {
  const value = kind === 'fen' ? text.replaceAll(' ', '_') : encodeURIComponent(text);
  return new URL(`#${kind}=${value}`, document.baseURI).href;
};

export function openExchange() {
  error = '';
  const [fen, pgn] = [state.node.fen, pgnOf()];
  const enter = (event) => {
    if (event.key !== 'Enter') return;
    event.preventDefault();
    tryTake($('fen').value, setFen);
  };
  const takeChosen = ({ target }) => {
    const [file] = target.files;
    target.value = '';
    if (file) tryTake(textOf(file));
  };
  openDialog({
    id: 'exchange-dialog',
    title: 'Games, PGN and FEN',
    body: () => html`
      <label class="stacked" for="fen">Position (FEN)</label>
      <div class="with-buttons">
        <input id="fen" type="text" spellcheck="false" autocomplete="off" maxlength="200"
          .defaultValue=${fen} @keydown=${enter} />
        <button type="button" id="fen-copy" @click=${() => copy($('fen').value)}>Copy</button>
        <button type="button" id="fen-link" @click=${() => copy(linkTo('fen', fen))}>Link</button>
        <button type="button" id="fen-set" @click=${() => tryTake($('fen').value, setFen)}>
          Set</button>
      </div>
      <label class="stacked" for="pgn">Game (PGN)</label>
      <textarea id="pgn" rows="10" spellcheck="false" autocomplete="off"
        .defaultValue=${pgn}></textarea>
      <div class="with-buttons">
        <button type="button" id="pgn-file" @click=${() => $('file').click()}>Open file …</button>
        <button type="button" id="pgn-save" @click=${() => saveFile('pgn', $('pgn').value)}>
          Download</button>
        <button type="button" id="pgn-copy" @click=${() => copy($('pgn').value)}>Copy</button>
        <button type="button" id="pgn-link" @click=${() => copy(linkTo('pgn', pgn))}>Link</button>
        <button type="button" id="pgn-load" class="primary" @click=${() => tryTake($('pgn').value)}>
          Load</button>
      </div>
      <p id="exchange-error" class="error" role="alert" ?hidden=${!error}>${error}</p>
      <p class="why-note">You can also drop a file on the page, or paste a game or a position.</p>
      <input type="file" id="file" accept=".pgn,.txt,application/x-chess-pgn,text/plain" hidden
        @change=${takeChosen} />`,
    buttons: passing.library.length
      ? html`<button type="button" @click=${openLibrary}>List of games</button>`
      : nothing,
  });
}

const isKnown = (text) => text && !/^[?.]+$/.test(text);

/** The games of the file that was opened, to choose from. */
export function openLibrary() {
  const { library } = passing;
  const all = library.map((entry, index) => ({ entry, index }));
  let found = all;
  let shown = rowsOfPage;
  const choose = (index) => {
    closeDialog();
    passing.libraryIndex = index;
    show(library[index].read());
  };
  const row = ({ entry: { tags, result }, index }) => html`
    <button type="button" role="option" aria-selected=${index === passing.libraryIndex}
      @click=${() => choose(index)}>
      <span>${index + 1}</span><span>${tags.White ?? '?'} – ${tags.Black ?? '?'}</span>
      <b>${resultText({ result: result ?? '*' })}</b>
      <small>${[tags.Event, tags.Date].filter(isKnown).join(', ')}</small></button>`;
  const filter = ({ target }) => {
    const words = target.value.toLowerCase().split(/\s+/).filter(Boolean);
    found = all.filter(({ entry }) => {
      entry.words ??= Object.values(entry.tags).join(' ').toLowerCase();
      return words.every((word) => entry.words.includes(word));
    });
    shown = rowsOfPage;
    showDialog();
  };
  const showMore = () => {
    shown += rowsOfPage;
    showDialog();
  };
  const takeFirst = (event) => {
    if (event.key !== 'Enter') return;
    event.preventDefault();
    if (found.length) choose(found[0].index);
  };
  openDialog({
    id: 'library',
    title: `${library.length} games`,
    body: () => html`
      <input type="search" id="filter" placeholder="Player, event, year"
        aria-label="Filter games" @input=${filter} @keydown=${takeFirst} />
      <div class="games" role="listbox" aria-label="Games">${found.slice(0, shown).map(row)}
        ${
          found.length > shown
            ? html`<button type="button" id="more-games" @click=${showMore}>
                <span></span><span>${found.length - shown} more …</span></button>`
            : nothing
        }</div>
      ${found.length ? nothing : html`<p class="why-note">No game contains all these words.</p>`}`,
  });
}

/** Loads what is dropped on the page or pasted into it. */
export function watchDrops() {
  const over = (event) => {
    event.preventDefault();
    document.body.classList.toggle('is-dropping', event.type === 'dragover');
  };
  document.addEventListener('dragover', over);
  document.addEventListener('dragleave', over);
  const takeTransfer = (transfer) => {
    const [file] = transfer.files;
    const text = transfer.getData('text/plain');
    if (file) takeFile(file);
    else if (text.trim()) takeText(text);
  };
  document.addEventListener('drop', (event) => {
    over(event);
    takeTransfer(event.dataTransfer);
  });
  document.addEventListener('paste', (event) => {
    if (event.target.matches('input, textarea') || document.querySelector('dialog[open]')) return;
    takeTransfer(event.clipboardData);
  });
  window.addEventListener('hashchange', takeAddress);
}
