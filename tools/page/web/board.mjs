// SPDX-License-Identifier: MIT
//
// The board: pieces and moves by mouse, finger and wheel, arrows and marks of the engine and of the
// person, players, the evaluation bar.

import {
  BORDER_TYPE,
  Chessboard,
  INPUT_EVENT_TYPE,
} from '../../../node_modules/cm-chessboard/src/Chessboard.js';
import { Arrows } from '../../../node_modules/cm-chessboard/src/extensions/arrows/Arrows.js';
import { Markers } from '../../../node_modules/cm-chessboard/src/extensions/markers/Markers.js';
// prettier-ignore
import { PromotionDialog }
  from '../../../node_modules/cm-chessboard/src/extensions/promotion-dialog/PromotionDialog.js';
// prettier-ignore
import { ARROW_TYPE, MARKER_TYPE, RightClickAnnotator }
  from '../../../node_modules/cm-chessboard/src/extensions/right-click-annotator/RightClickAnnotator.js';
import { winPercent } from '../../lib/chess.mjs';
import { pieceSprite, pieceSymbols } from '../../lib/diagram.mjs';
import { marks } from '../../lib/report.mjs';
import { timeText } from './clock.mjs';
import { engine, scoreNow } from './engine.mjs';
import { $, html, nothing, pieceSvg, pieceWords } from './html.mjs';
import { messageView, say } from './messages.mjs';
import { personMoves } from './play.mjs';
import {
  capturedOf, checkOf, movesFrom, nameOf, otherSide, piecesOf, readTyped, turnOf,
} from './rules.mjs';
import { scoreText, scoreWords } from './score.mjs';
import { clockOf, endAt, goTo, isAtTip, movable, nextOf, passing, save, state } from './state.mjs';

const assetsUrl = new URL('../../../node_modules/cm-chessboard/assets/', import.meta.url).href;
const square = (name) => ({ class: `marker-${name}`, slice: 'markerSquare' });
const markers = {
  played: square('played'),
  chosen: square('chosen'),
  checked: square('checked'),
  good: square('good'),
  bad: square('bad'),
  target: { class: 'marker-target', slice: 'markerDot', position: 'above' },
  capture: { class: 'marker-capture', slice: 'markerCircle', position: 'above' },
};
const isStill = window.matchMedia('(prefers-reduced-motion: reduce)').matches;
let board;

/** Puts the board into the page, once. */
export function startBoard() {
  // As with the shapes in index.html.
  const pieces = pieceSprite('cm-chessboard-sprite') + pieceSymbols();
  document.body.insertAdjacentHTML('beforeend', pieces);
  board = new Chessboard($('board'), {
    position: state.node.fen,
    assetsUrl,
    style: {
      cssClass: 'quillon',
      borderType: BORDER_TYPE.frame,
      animationDuration: isStill ? 0 : 180,
    },
    extensions: [
      { class: Markers, props: { autoMarkers: null } },
      { class: Arrows, props: { headSize: 5 } },
      { class: PromotionDialog, props: { language: 'en' } },
      { class: RightClickAnnotator },
    ],
  });
  $('board').addEventListener('wheel', turnWheel, { passive: false });
  // The annotator has drawn by then.
  $('board').addEventListener('mouseup', keepShapes);
}

export const isAsking = () => board.isPromotionDialogShown();

let turned = 0;
function turnWheel(event) {
  if (event.ctrlKey) return;
  event.preventDefault();
  // A trackpad sends many small steps.
  turned += event.deltaY * (event.deltaMode ? 40 : 1);
  if (Math.abs(turned) < 40) return;
  const node = turned > 0 ? nextOf(state.node) : state.node.parent;
  turned = 0;
  if (node && !passing.review) goTo(node);
}

function hideTargets() {
  for (const type of [markers.chosen, markers.target, markers.capture]) board.removeMarkers(type);
}

/** Sets the markers of a type; the board draws all of them for each that changes. */
function setMarkers(type, wanted) {
  const now = board.getMarkers(type).map((one) => one.square);
  if (now.join() === wanted.join()) return;
  board.removeMarkers(type);
  for (const one of wanted) board.addMarker(type, one);
}

function onInput({ type, squareFrom, squareTo }) {
  const { fen } = state.node;
  switch (type) {
    case INPUT_EVENT_TYPE.moveInputStarted: {
      const moves = movesFrom(fen, squareFrom);
      hideTargets();
      if (!moves.length) return false;
      board.addMarker(markers.chosen, squareFrom);
      for (const to of new Set(moves.map((move) => move.to))) {
        const isCapture = moves.some((move) => move.to === to && move.captured);
        board.addMarker(isCapture ? markers.capture : markers.target, to);
      }
      return true;
    }
    case INPUT_EVENT_TYPE.validateMoveInput: {
      const moves = movesFrom(fen, squareFrom).filter((move) => move.to === squareTo);
      hideTargets();
      if (!moves.length) return false;
      const move = { from: squareFrom, to: squareTo };
      // The board moves the piece when this has returned; the move is made after that.
      if (moves[0].promotion) queueMicrotask(() => choosePromotion(move));
      else queueMicrotask(() => personMoves(move) || showBoard());
      return true;
    }
    case INPUT_EVENT_TYPE.moveInputCanceled:
      hideTargets();
      return true;
    default:
      return true;
  }
}

function choosePromotion(move) {
  const { node } = state;
  board.showPromotionDialog(move.to, turnOf(node.fen), ({ piece }) => {
    const isStillThere = node === state.node;
    if (!piece || !isStillThere || !personMoves({ ...move, promotion: piece[1] })) showBoard();
  });
}

let inputSide = null;
function showInput() {
  const side = movable();
  if (side === inputSide) return;
  board.cancelMoveInput();
  if (inputSide) board.disableMoveInput();
  if (side) board.enableMoveInput(onInput, side);
  inputSide = side;
  hideTargets();
}

/** The squares that explain the evaluation: Map of squares to their worth, or null. */
let pointed = null;

/** Marks squares as good or bad for White, until it is called with null. */
export function pointAt(squares) {
  pointed = squares;
  showBoard();
}

/** The arrows of the engine's lines: the closer a move is to the best, the stronger, in the steps of
 *  the report's marks. */
function arrowsWanted() {
  const { node, lines } = engine.thinking ?? {};
  if (!state.isShowing || state.mode !== 'analyse' || node !== state.node || pointed) return [];
  return lines
    .filter(({ moves }) => moves.length)
    .map(({ score, moves: [{ uci }] }, rank) => {
      const loss = Math.abs(winPercent(lines[0].score) - winPercent(score));
      const strength = rank ? 2 + marks.filter(({ from }) => loss >= from).length : 1;
      return { type: { class: `arrow-engine arrow-${strength}` }, uci };
    });
}

let arrowsShown = '';
let shapesOf = null;
function showArrows() {
  const wanted = arrowsWanted();
  const key = wanted.map(({ type, uci }) => type.class + uci).join();
  if (key === arrowsShown) return;
  arrowsShown = key;
  for (const { type } of board.getArrows()) {
    if (type.class.startsWith('arrow-engine')) board.removeArrows(type);
  }
  // The strongest on top.
  for (const { type, uci } of wanted.reverse()) {
    board.addArrow(type, uci.slice(0, 2), uci.slice(2, 4));
  }
}

/** The person's colours by their letters in PGN: cal has arrows, csl has circles. */
const colours = { G: 'success', R: 'danger', Y: 'warning', B: 'info' };

/** Shows what the person has drawn at a position. */
function showShapes(node) {
  if (shapesOf === node) return;
  shapesOf = node;
  const { cal = '', csl = '' } = node.commands;
  const arrows = [...cal.matchAll(/([GRYB])([a-h][1-8])([a-h][1-8])/g)];
  const circles = [...csl.matchAll(/([GRYB])([a-h][1-8])/g)];
  board.setAnnotations({
    arrows: arrows.map(([, letter, from, to]) => ({ type: ARROW_TYPE[colours[letter]], from, to })),
    markers: circles.map(([, letter, at]) => ({ type: MARKER_TYPE[colours[letter]], square: at })),
  });
}

/** Keeps what the person has drawn with the position, and so in the PGN. */
function keepShapes({ button }) {
  if (button !== 2 || shapesOf !== state.node) return;
  const { cal, csl, ...others } = state.node.commands;
  const textOf = (types, shapes, squaresOf) =>
    Object.entries(colours)
      .flatMap(([letter, kind]) =>
        shapes.filter(({ type }) => type === types[kind]).map((one) => letter + squaresOf(one)),
      )
      .join();
  const arrows = textOf(ARROW_TYPE, board.getArrows(), ({ from, to }) => from + to);
  const circles = textOf(MARKER_TYPE, board.getMarkers(), (circle) => circle.square);
  if (arrows) others.cal = arrows;
  if (circles) others.csl = circles;
  state.node.commands = others;
  save();
}

export function showBoard() {
  const { node, isTurned } = state;
  const side = isTurned ? 'b' : 'w';
  if (board.getOrientation() !== side && !board.boardTurning) {
    board.setOrientation(side).then(showBoard);
  }
  board.setPosition(node.fen, !isStill);
  const last = pointed ? '' : (node.uci ?? '');
  setMarkers(markers.played, last ? [last.slice(0, 2), last.slice(2, 4)] : []);
  const king = checkOf(node.fen);
  setMarkers(markers.checked, king ? [king] : []);
  for (const kind of ['good', 'bad']) {
    const worth = [...(pointed ?? [])].filter(([, value]) => value < 0 === (kind === 'bad'));
    setMarkers(markers[kind], worth.map(([name]) => name));
  }
  // What is set last is on top.
  showShapes(node);
  const svg = $('board').querySelector('svg.cm-chessboard');
  const after = node.san ? `, after ${node.san}` : '';
  svg.setAttribute('aria-label', `Board, ${nameOf(turnOf(node.fen))} to move${after}`);
  showInput();
  showArrows();
}

/** The pieces of a side for screen readers: "king e1, queen d1, ...". */
function piecesText(fen, side) {
  const pieces = [...piecesOf(fen)].filter(([, piece]) => piece[0] === side);
  const words = Object.entries(pieceWords).flatMap(([kind, name]) =>
    pieces.filter(([, piece]) => piece[1] === kind).map(([at]) => `${name} ${at}`),
  );
  return words.join(', ');
}

const pieceOf = (letter) => pieceWords[/[A-Z]/.test(letter) ? letter.toLowerCase() : 'p'];

/** A move in words: "White: knight takes f3, check". */
function moveWords(node) {
  const side = nameOf(turnOf(node.parent.fen));
  if (node.san.startsWith('O-O')) {
    return `${side} castles ${node.san.startsWith('O-O-O') ? 'queenside' : 'kingside'}`;
  }
  const takes = node.san.includes('x') ? 'takes' : 'to';
  const promoted = node.san.match(/=([A-Z])/);
  const end = { '+': ', check', '#': ', checkmate' }[node.san.at(-1)] ?? '';
  const becomes = promoted ? `, becomes a ${pieceOf(promoted[1])}` : '';
  return `${side}: ${pieceOf(node.san[0])} ${takes} ${node.uci.slice(2, 4)}${becomes}${end}`;
}

function playerView(side, place) {
  const { game, mode, person, clock, node } = state;
  const own = side === person ? 'You' : engine.name;
  const name = mode === 'play' ? own : (game.tags[nameOf(side)] ?? nameOf(side));
  const rating = mode === 'play' ? '' : (game.tags[`${nameOf(side)}Elo`] ?? '');
  const captured = capturedOf(node.fen);
  const lost = captured[otherSide(side)];
  const lead = side === 'w' ? captured.lead : -captured.lead;
  const ahead = lead > 0 ? `, ${lead} points ahead` : '';
  const words = lost.length || ahead ? `${lost.length} pieces captured${ahead}` : '';
  const atNode = clockOf(node, side);
  const isLive = clock && isAtTip();
  const left = isLive ? clock.left(side) : (atNode ?? (clock ? clock.base : null));
  const isShort = left !== null && left < 20000 && (clock?.base ?? 0) > 20000;
  const kind = `${isLive && clock.side === side ? 'is-running' : ''} ${isShort ? 'is-short' : ''}`;
  return html`
    <div class="player ${side === 'b' ? 'is-black' : ''}" id="player-${place}">
      <span class="disc"></span><span class="name">${name}</span><small>${rating}</small>
      <span class="captured" role=${words ? 'img' : nothing} aria-label=${words || nothing}>
        ${lost.map((piece) => pieceSvg(otherSide(side) + piece))}${lead > 0 ? `+${lead}` : ''}
      </span>
      <span class="clock ${kind}" ?hidden=${left === null}
        >${left === null ? '' : timeText(left)}</span>
    </div>`;
}

function barView() {
  const score = state.isShowing ? scoreNow() : null;
  const share = score ? winPercent(score) : 50;
  const words = score ? scoreWords(score) : 'no score yet';
  return html`
    <div id="bar" class=${state.isTurned ? 'is-turned' : ''} role="img" aria-label=${words}
      title=${score ? scoreText(score) : ''}>
      <div id="bar-white" style="height: ${share.toFixed(1)}%"></div>
    </div>`;
}

export const resultText = ({ result }) => result.replaceAll('1/2', '½');

function statusView() {
  const { node, mode, person } = state;
  const { review } = passing;
  if (review) return `Scoring position ${review.index} of ${review.nodes.length - 1} …`;
  const ending = endAt(node);
  if (ending) return html`${ending.text} <span class="whole">(${resultText(ending)})</span>`;
  const turn = nameOf(turnOf(node.fen));
  if (mode === 'analyse') return engine.search ? `${turn} to move, analysing …` : `${turn} to move`;
  if (!isAtTip()) return 'An earlier position; the game continues from the last one';
  if (turnOf(node.fen) === person) return `Your move (${turn})`;
  return engine.search ? `${engine.name} is thinking …` : `Waiting for ${engine.name} …`;
}

function typeMove(event) {
  event.preventDefault();
  const field = $('typed');
  const move = readTyped(state.node.fen, field.value);
  if (move && personMoves(move)) {
    field.value = '';
  } else if (field.value.trim()) {
    say(`${field.value.trim()} is not a legal move.`, { isBad: true });
    field.select();
  }
}

export function boardView() {
  const [top, bottom] = state.isTurned ? ['w', 'b'] : ['b', 'w'];
  const { node } = state;
  return html`
    <section class="board-side" aria-label="Board">
      ${playerView(top, 'top')}
      <div class="board-row">${barView()}<div id="board"></div></div>
      ${playerView(bottom, 'bottom')}
      <div class="under ${endAt(node) && !passing.review ? 'is-over' : ''}">
        ${messageView(statusView())}
        <form id="type-move" autocomplete="off" @submit=${typeMove}>
          <input id="typed" type="text" maxlength="10" spellcheck="false" autocapitalize="off"
            placeholder="Type a move" enterkeyhint="go" ?disabled=${!movable()}
            aria-label="Type a move, such as e4, Nf3 or e7e8q, and press Enter" />
        </form>
      </div>
      <p class="unseen" id="last-move" aria-live="polite">${node.parent ? moveWords(node) : ''}</p>
      <ul class="unseen" id="pieces" aria-label="Pieces on the board">
        <li>White: ${piecesText(node.fen, 'w')}</li>
        <li>Black: ${piecesText(node.fen, 'b')}</li></ul>
    </section>`;
}

let audio = null;
/** Plays a short sound for a move, if the person has turned it on. */
export function knock() {
  if (!state.hasSound) return;
  audio ??= new AudioContext();
  const [tone, gain] = [audio.createOscillator(), audio.createGain()];
  tone.frequency.value = 220;
  gain.gain.setValueAtTime(0.2, audio.currentTime);
  gain.gain.exponentialRampToValueAtTime(0.001, audio.currentTime + 0.08);
  tone.connect(gain).connect(audio.destination);
  tone.start();
  tone.stop(audio.currentTime + 0.1);
}
