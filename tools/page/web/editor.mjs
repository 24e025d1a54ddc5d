// SPDX-License-Identifier: MIT
//
// The position editor: pieces are chosen and put on squares, or dragged from square to square.

import { GameTree } from '../../lib/game-tree.mjs';
import { openDialog, showDialog, closeDialog } from './dialog.mjs';
import { html, nothing, pieceSvg, pieceWords } from './html.mjs';
import { loadGame } from './play.mjs';
import { nameOf, piecesOf, readFen, squares, startFen } from './rules.mjs';
import { state } from './state.mjs';

const wordsOf = (piece) => `${piece[0] === 'w' ? 'white' : 'black'} ${pieceWords[piece[1]]}`;
const palette = ['w', 'b'].flatMap((side) => [...'kqrbnp'].map((piece) => side + piece));

/** { pieces: Map of squares to pieces, turn, castling, passant, half, full } */
let draft = null;
/** The piece that a click places; "" removes pieces, null moves them. */
let tool = null;
let dragged = null;
let error = '';

function setDraft(fen) {
  const [, turn, castling, passant, half, full] = fen.split(' ');
  draft = { pieces: piecesOf(fen), turn, castling: new Set(castling), passant, half, full };
}

function draftFen() {
  const { pieces, turn, passant, half, full } = draft;
  const rows = [];
  for (let i = 0; i < 64; i += 8) {
    const row = squares.slice(i, i + 8).map((square) => {
      const piece = pieces.get(square);
      return piece ? (piece[0] === 'w' ? piece[1].toUpperCase() : piece[1]) : ' ';
    });
    rows.push(row.join('').replace(/ +/g, (gap) => gap.length));
  }
  return [rows.join('/'), turn, possibleCastling(), passant, half, full].join(' ');
}

function put(square, piece) {
  if (piece) draft.pieces.set(square, piece);
  else draft.pieces.delete(square);
  error = '';
  showDialog();
}

function press(event, square) {
  if (event.button === 2) {
    put(square, '');
  } else if (tool !== null) {
    put(square, draft.pieces.get(square) === tool ? '' : tool);
  } else if (dragged) {
    drop(square);
  } else if (draft.pieces.has(square)) {
    dragged = square;
    showDialog();
  }
}

function drop(square) {
  const from = dragged;
  dragged = null;
  if (!from || from === square) return;
  const piece = draft.pieces.get(from);
  draft.pieces.delete(from);
  put(square, piece);
}

function release(event) {
  const to = document.elementFromPoint(event.clientX, event.clientY)?.closest('[data-edit]');
  if (dragged && to && to.dataset.edit !== dragged) drop(to.dataset.edit);
}

function choose(piece) {
  tool = tool === piece ? null : piece;
  dragged = null;
  showDialog();
}

const again = (act) => () => {
  act();
  error = '';
  showDialog();
};

function squareView(square) {
  const piece = draft.pieces.get(square);
  const isDark = ('abcdefgh'.indexOf(square[0]) + Number(square[1])) % 2 === 1;
  const kind = `${isDark ? 'dark' : 'light'} ${dragged === square ? 'is-dragged' : ''}`;
  const grab = (event) => {
    event.target.releasePointerCapture?.(event.pointerId);
    press(event, square);
  };
  // Keys click too, with a count of 0.
  return html`<button type="button" data-edit=${square} class=${kind}
    aria-label="${square} ${piece ? wordsOf(piece) : 'empty'}" @pointerdown=${grab}
    @click=${(event) => event.detail || press(event, square)}
    >${piece ? pieceSvg(piece) : nothing}</button>`;
}

function body() {
  const order = state.isTurned ? [...squares].reverse() : squares;
  const turn = (side) => html`
    <label><input type="radio" name="turn" value=${side} .checked=${draft.turn === side}
      @change=${again(() => (draft.turn = side))} /> ${nameOf(side)}</label>`;
  const check = (letter, words) => html`
    <label class="check"><input type="checkbox" .checked=${draft.castling.has(letter)}
      @change=${({ target }) => draft.castling[target.checked ? 'add' : 'delete'](letter)}
      /> ${words}</label>`;
  const shown = (piece) => html`
    <button type="button" title=${wordsOf(piece)} aria-label=${wordsOf(piece)}
      aria-pressed=${tool === piece} @click=${() => choose(piece)}>${pieceSvg(piece)}</button>`;
  return html`
    <div class="editor">
      <div class="editor-board" role="group" aria-label="Squares" @pointerup=${release}
        @contextmenu=${(event) => event.preventDefault()}>${order.map(squareView)}</div>
      <div class="editor-tools">
      <div class="palette" role="group" aria-label="Pieces">${palette.map(shown)}</div>
      <p class="why-note">Choose a piece and click squares, or drag pieces. Right-click a piece to
        remove it.</p>
      <div class="with-buttons">
        <button type="button" id="edit-start" @click=${again(() => setDraft(startFen))}>
          Start position</button>
        <button type="button" id="edit-clear" @click=${again(() => draft.pieces.clear())}>
          Clear</button>
        <button type="button" id="edit-remove" aria-pressed=${tool === ''}
          @click=${() => choose('')}>Remove pieces</button>
      </div>
      <fieldset class="choice"><legend>To move</legend>${['w', 'b'].map(turn)}</fieldset>
      <fieldset class="checks"><legend>Castling</legend>
        ${check('K', 'White O-O')}${check('Q', 'White O-O-O')}
        ${check('k', 'Black O-O')}${check('q', 'Black O-O-O')}</fieldset>
      <p class="pace"><label>En passant square
        <input type="text" name="passant" size="3" maxlength="2" .value=${draft.passant}
        @input=${({ target }) => (draft.passant = target.value.trim() || '-')} /></label>
        <label>Move number <input type="number" name="full" min="1" max="999" .value=${draft.full}
        @input=${({ target }) => (draft.full = target.value || '1')} /></label></p>
      <p id="edit-error" class="error" role="alert" ?hidden=${!error}>${error}</p>
      </div></div>`;
}

function finish() {
  try {
    loadGame(new GameTree(readFen(draftFen())), 'Position set.');
    closeDialog();
  } catch ({ message }) {
    error = message;
    showDialog();
  }
}

/** The castling rights whose king and rook are on their original squares. */
function possibleCastling() {
  const { pieces, castling } = draft;
  const homes = {
    K: { e1: 'wk', h1: 'wr' },
    Q: { e1: 'wk', a1: 'wr' },
    k: { e8: 'bk', h8: 'br' },
    q: { e8: 'bk', a8: 'br' },
  };
  const isHome = ([square, piece]) => pieces.get(square) === piece;
  const isPossible = (letter) => Object.entries(homes[letter]).every(isHome);
  const wanted = Object.keys(homes).filter((letter) => castling.has(letter));
  return wanted.filter(isPossible).join('') || '-';
}

export function openEditor() {
  setDraft(state.node.fen);
  [tool, dragged, error] = [null, null, ''];
  openDialog({
    id: 'editor',
    title: 'Edit the position',
    body,
    buttons: html`<button type="button" id="edit-set" class="primary" @click=${finish}>
      Analyse this position</button>`,
  });
}
