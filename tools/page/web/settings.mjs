// SPDX-License-Identifier: MIT
//
// The dialogs for a new game and for the settings.

import { openDialog, showDialog } from './dialog.mjs';
import { engine, link, places, setOptions, setPlace } from './engine.mjs';
import { html, live, nothing } from './html.mjs';
import { startGame } from './play.mjs';
import { changed, levels, state } from './state.mjs';

/** A copy of the values in the open form, until it is submitted. */
let draft = {};

const number = (name, min, max, step = 'any') => html`<input type="number" name=${name} min=${min}
  max=${max} step=${step} required .value=${live(String(draft[name]))}
  @input=${({ target }) => (draft[name] = Number(target.value))} />`;

const choice = (name, legend, choices) => html`
  <fieldset class="choice"><legend>${legend}</legend>
    ${Object.entries(choices).map(
      ([value, words]) => html`<label><input type="radio" name=${name}
      value=${value} .checked=${live(draft[name] === value)} @change=${() => {
        draft[name] = value;
        showDialog();
      }} /> ${words}</label>`,
    )}
  </fieldset>`;

const levelText = ({ depth, seconds }) => (depth ? `depth ${depth}` : `${seconds} s per move`);

const paces = { level: 'Level', time: 'Per move', depth: 'Depth' };

/** The choice of how long the engine thinks about its moves. */
const paceFields = (choices = paces) => html`
  ${choice('pace', 'Strength and time', choices)}
  <p class="pace">${{
    level: () => html`<label>Level <select name="level"
      @change=${({ target }) => (draft.level = Number(target.value))}>
      ${levels.map(
        (level, i) => html`<option value=${i + 1} ?selected=${draft.level === i + 1}>${i + 1}
        (${levelText(level)})</option>`,
      )}</select> of ${levels.length}</label>`,
    time: () => html`<label>${number('seconds', 0.1, 3600)} seconds per move</label>`,
    clock: () => html`<label>${number('minutes', 0.1, 600)} minutes</label>
      <label>plus ${number('increment', 0, 300)} seconds per move</label>`,
    depth: () => html`<label>${number('depth', 1, 60, 1)} half-moves deep</label>`,
  }[draft.pace]()}</p>`;

const paceOf = ({ pace: kind, level, seconds, minutes, increment, depth }) => ({
  kind,
  level,
  seconds,
  minutes,
  increment,
  depth,
});

export function openNewGame() {
  const { pace, person, node } = state;
  draft = {
    ...pace,
    pace: pace.kind,
    side: draft.side === 'random' ? 'random' : person,
    from: 'start',
  };
  openDialog({
    id: 'new-game',
    title: 'New game',
    label: 'Start',
    body: () => html`
      ${choice('side', 'You play', { w: 'White', b: 'Black', random: 'Random' })}
      ${paceFields({ ...paces, clock: 'Clock' })}
      ${choice('from', 'Start from', { start: 'Starting position', here: 'This position' })}`,
    take() {
      const { side, from } = draft;
      const person = side === 'random' ? (Math.random() < 0.5 ? 'w' : 'b') : side;
      startGame({ person, pace: paceOf(draft), fen: from === 'here' ? node.fen : undefined });
    },
  });
}

const placeNames = { server: 'On the server', page: 'In this page' };

/** The settings of the connected engine. */
const optionFields = () => html`
  <fieldset><legend>Engine</legend>
    <p id="engine-place"><b>${engine.name}</b> (${link.kind}). ${link.placeText}</p>
    ${
      engine.choices.length > 1
        ? html`<p class="pace"><label>Engine <select name="engine"
            @change=${({ target }) => (draft.engine = target.selectedIndex)}>
            ${engine.choices.map(
              (name, i) => html`<option ?selected=${i === draft.engine}>${name}</option>`,
            )}</select></label></p>`
        : nothing
    }
    <p class="pace"><label>Threads ${number('threads', 1, link.mostThreads, 1)}</label>
      <label>Hash table ${number('hash', 1, link.mostHash, 1)} MB</label></p>
  </fieldset>`;

export function openSettings() {
  const { scoring, pace, hasSound } = state;
  const options = engine.options ?? state.options ?? { threads: 1, hash: 64 };
  draft = {
    ...pace,
    // Without a clock, the engine's moves take the seconds of the choice "Per move".
    pace: pace.kind === 'clock' ? 'time' : pace.kind,
    ...options,
    place: link.place,
    hasSound,
    scoring: scoring.kind,
    scoringSeconds: scoring.seconds,
    scoringDepth: scoring.depth,
  };
  openDialog({
    id: 'settings',
    title: 'Settings',
    label: 'Apply',
    body: () => html`
      ${places.length > 1 ? choice('place', 'The engine runs', placeNames) : nothing}
      ${draft.place === link.place ? optionFields() : nothing}
      ${state.clock ? nothing : paceFields()}
      ${choice('scoring', 'Search each position of a report by', { time: 'Time', depth: 'Depth' })}
      <p class="pace">${
        draft.scoring === 'time'
          ? html`<label>${number('scoringSeconds', 0.05, 600)} seconds</label>`
          : html`<label>Depth ${number('scoringDepth', 1, 60, 1)}: the same result each time.
            </label>`
      }</p>
      <label class="check"><input type="checkbox" name="sound" .checked=${live(draft.hasSound)}
        @change=${({ target }) => (draft.hasSound = target.checked)} />
        Play a sound for each move</label>`,
    take() {
      const { place, threads, hash, engine: index } = draft;
      const { scoring: kind, scoringSeconds: seconds, scoringDepth: depth } = draft;
      if (place === link.place) setOptions({ threads, hash, engine: index });
      else setPlace(place);
      if (!state.clock) state.pace = paceOf(draft);
      Object.assign(state, { hasSound: draft.hasSound, scoring: { kind, seconds, depth } });
      changed();
    },
  });
}
