// Puts the page together: the trace into the time line, the set beside it, keys of the keyboard.

import { makeControls } from './controls.js';
import { byId, copy, el, plural } from './dom.js';
import { compileMatch } from './match.js';
import { Store } from './rows.js';
import { asCommand, asTyped, ctl, follow, setState } from './server.js';
import { SetView } from './set.js';
import { Timeline } from './timeline.js';

const kSaidMs = 4000;

const store = new Store();
const hiddenWho = new Set();
let detailsCommand = [];

const timeline = new Timeline(store, showDetails);
const set = new SetView(act);
makeControls(act);

// Carries a verb out and says what came of it.
async function act(words, silent = false) {
  let answer;
  try {
    [answer] = await ctl([words]);
  } catch (error) {
    answer = { ok: false, error: `simset does not answer: ${error.message}` };
  }
  if (!silent || !answer.ok) {
    say(answer.ok ? `${asTyped(words)}\n${answer.out || 'done'}` : `${asTyped(words)}\n${answer.error}`, !answer.ok);
  }
  set.touched();
  return answer;
}

let saidTimer = 0;
function say(text, bad) {
  const said = byId('said');
  said.textContent = text.trimEnd();
  said.className = bad ? 'bad' : '';
  said.hidden = false;
  clearTimeout(saidTimer);
  saidTimer = setTimeout(() => { said.hidden = true; }, bad ? 2 * kSaidMs : kSaidMs);
}

// The row that is looked at, as it stands in the trace.
function showDetails(target) {
  const row = target && (target.rows ? target.request ?? target.first : target);
  byId('details').hidden = !row;
  if (!row) return;
  byId('details-title').textContent = row.seq ? `Row ${row.seq}` : 'No row of the trace';
  byId('details-text').textContent = JSON.stringify(row.json, null, 2);
  detailsCommand = ['trace', '--since', String(Math.max(0, row.seq - 1))];
  byId('details-command').textContent = asTyped(detailsCommand);
}

// Filters

function filter() {
  const matches = compileMatch(byId('filter').value);
  const onlyBad = byId('only-bad').checked;
  const all = byId('filter').value.trim() === '' && !onlyBad && hiddenWho.size === 0;
  timeline.setFilter(all ? null : (row) => !hiddenWho.has(row.who) && (!onlyBad || row.gravity !== '') && matches(row));
  sessionStorage.setItem('filter', byId('filter').value);
}

function drawWho() {
  const names = [...store.byWho.keys()].sort();
  const box = byId('who');
  for (const name of names) {
    let chip = [...box.children].find((child) => child.dataset.who === name);
    if (!chip) {
      chip = el('button', { 'data-who': name, 'aria-pressed': 'true', title: 'Shown or not; a double click shows this one alone',
        onclick: () => {
          if (!hiddenWho.delete(name)) hiddenWho.add(name);
          drawWho();
          filter();
        },
        ondblclick: () => {
          hiddenWho.clear();
          [...store.byWho.keys()].filter((other) => other !== name).forEach((other) => hiddenWho.add(other));
          drawWho();
          filter();
        } }, name, ' ', el('span', { class: 'number' }));
      const before = [...box.children].find((child) => child.dataset.who > name);
      box.insertBefore(chip, before ?? null);
    }
    chip.setAttribute('aria-pressed', String(!hiddenWho.has(name)));
    chip.lastChild.textContent = store.byWho.get(name).toLocaleString('en');
  }
  for (const chip of [...box.children]) if (!store.byWho.has(chip.dataset.who)) chip.remove();
}

// What is counted at the top, and the way to each.

function drawCounts() {
  const { violations, errors } = store;
  const one = byId('violations');
  one.disabled = violations.length === 0;
  one.textContent = violations.length === 0 ? 'no violation' : `✖ ${plural(violations.length, 'violation')}`;
  one.classList.toggle('violation', violations.length > 0);
  const other = byId('errors');
  other.disabled = errors === 0;
  other.textContent = errors === 0 ? 'no error' : `▲ ${plural(errors, 'error')}`;
  other.classList.toggle('error', errors > 0);
  byId('count').textContent = plural(store.rows.length, 'row');
  byId('way-count').textContent = `(${store.way.toLocaleString('en')})`;
  document.title = violations.length > 0 ? `✖ ${violations.length} simset` : 'simset';
}

// Goes round among the rows of one gravity.
function next(gravity, step) {
  const rows = gravity === 'violation' ? store.violations : store.rows.filter((row) => row.gravity === gravity);
  if (rows.length === 0) return;
  const selected = timeline.selected && (timeline.selected.rows ? timeline.selected.first : timeline.selected);
  const from = selected ? selected.at : -1;
  const found = step > 0 ? rows.find((row) => row.at > from) ?? rows[0]
    : rows.findLast((row) => row.at < from) ?? rows[rows.length - 1];
  if (!timeline.shows(found)) showAll();
  timeline.goTo(found);
}

function showAll() {
  byId('filter').value = '';
  byId('only-bad').checked = false;
  hiddenWho.clear();
  drawWho();
  filter();
}

function link(kind, text) {
  const pill = byId('link');
  pill.className = `pill ${kind}`;
  pill.textContent = text;
  for (const id of ['set', 'controls']) byId(id).classList.toggle('stale', kind === 'gone');
  set.setAlive(kind === 'live');
}

// Rows come in bursts: the list is told once per picture.
let pending = { all: false, groups: new Set() };
let told = false;
function tell() {
  if (told) return;
  told = true;
  setTimeout(() => {
    told = false;
    const change = pending;
    pending = { all: false, groups: new Set() };
    timeline.update(change);
    drawWho();
    drawCounts();
    set.touched();
  }, 30);
}

follow({
  hello(facts) {
    if (facts.since < store.lastSeq) store.clear();
    if (byId('state').textContent !== facts.state) {
      setState(facts.state);
      byId('state').textContent = facts.state;
      makeControls(act);
    }
    pending.all = true;
    tell();
    link('live', '● live');
  },
  rows(lines) {
    const change = store.add(lines);
    pending.all ||= change.all;
    change.groups.forEach((group) => pending.groups.add(group));
    tell();
  },
  ended() {
    link('gone', 'simset has ended');
  },
  lost() {
    if (byId('link').textContent !== 'simset has ended') link('gone', 'no way to simset');
  },
  refused() {
    link('gone', 'refused: open the URL of the ready line');
  },
});

byId('filter').value = sessionStorage.getItem('filter') ?? '';
filter();
byId('filter').addEventListener('input', filter);
byId('only-bad').addEventListener('change', filter);
byId('show-way').addEventListener('change', () => timeline.setShowWay(byId('show-way').checked));
byId('fold-all').addEventListener('click', () => timeline.foldAll(true));
byId('unfold-all').addEventListener('click', () => timeline.foldAll(false));
byId('follow').addEventListener('click', () => timeline.setFollowing(!timeline.following));
byId('violations').addEventListener('click', (event) => next('violation', event.shiftKey ? -1 : 1));
byId('errors').addEventListener('click', (event) => next('error', event.shiftKey ? -1 : 1));
byId('details-close').addEventListener('click', () => timeline.select(null));
byId('details-copy').addEventListener('click', () => copy(asCommand(detailsCommand), byId('details-copy')));

document.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey) return;
  const typing = event.target.matches('input:not([type=checkbox]), select, textarea');
  if (event.key === 'Escape') {
    if (event.target === byId('filter') && byId('filter').value) {
      byId('filter').value = '';
      filter();
    } else {
      timeline.select(null);
      byId('rows').focus();
    }
    return;
  }
  if (typing) return;
  const keys = {
    v: () => next('violation', 1),
    V: () => next('violation', -1),
    e: () => next('error', 1),
    E: () => next('error', -1),
    f: () => timeline.setFollowing(!timeline.following),
    c: () => timeline.foldAll(true),
    o: () => timeline.foldAll(false),
    '/': () => byId('filter').focus(),
  };
  if (keys[event.key]) {
    keys[event.key]();
    event.preventDefault();
  }
});
