'use strict';

const kTexts = JSON.parse(document.getElementById('texts').textContent);
const kToken = new URLSearchParams(location.search).get('token') ?? '';
const kLowStock = 20;
const kReplySeconds = 8;
const kSureSeconds = 4;

const at = (id) => document.getElementById(id);
const slots = new Map(); // by name: what was told last, when, and what shows it
let language = kTexts[localStorage.getItem('language')] ? localStorage.getItem('language') : document.documentElement.lang;
let line = null;
let asked = null; // the number that waits for its slot

function text(key, values = {}) {
  return (kTexts[language][key] ?? key).replace(/\{(\w+)\}/g, (_, name) => values[name] ?? '');
}

function make(kind, name, parent) {
  const element = document.createElement(kind);
  element.className = name;
  parent.append(element);
  return element;
}

function put(element, words) {
  if (element.textContent !== words) {
    element.textContent = words;
  }
}

async function send(path, object) {
  const answer = await fetch(path, {
    method: 'POST', headers: { 'Content-Type': 'application/json', 'X-Zelline-Token': kToken }, body: JSON.stringify(object),
  });
  if (!answer.ok) {
    throw new Error(await answer.text());
  }
  return answer.json();
}

// How many times as wide as its letters are high a text is.
const ruler = document.createElement('canvas').getContext('2d');
function width(words) {
  ruler.font = `bold 100px ${getComputedStyle(document.body).fontFamily}`;
  return ruler.measureText(words).width / 100;
}

// --- Slots -----------------------------------------------------------------------------------------------------

function makeSlot(name) {
  const card = make('section', 'slot', at('slots'));
  card.dataset.slot = name;
  const head = make('div', 'head', card);
  const slot = { card, name: make('span', 'name', head), unit: make('span', 'unit', head), time: make('span', 'time', head),
    stop: make('button', 'stop', head), big: make('div', 'big', card), said: make('div', 'said', card),
    ask: make('form', 'ask', card), bar: make('div', 'bar', card) };
  slot.reason = make('div', 'reason', slot.said);
  slot.words = make('div', 'words', slot.said);
  slot.fill = make('i', '', slot.bar);
  slot.stop.type = 'button';
  slot.stop.addEventListener('click', () => stop(name));
  slot.ask.autocomplete = 'off';
  slot.ask.addEventListener('submit', (event) => {
    event.preventDefault();
    const field = slot.ask.querySelector('input');
    answer(slot, field ? field.value : event.submitter?.value);
  });
  return slot;
}

// What is to be read across the room, what it means, and what an engineer wants to know.
function said(state) {
  const detail = (words) => (words ? text('detail', { words }) : '');
  const word = { idle: state.port ? 'idle' : 'no-port', port: 'port', set: 'set' }[state.phase];
  if (word) {
    return [text(word), text(`${word}-hint`), detail(state.words || (state.phase === 'port' || !state.port ? state.place : ''))];
  }
  if (state.question) {
    const { words, doubt, said: answered, key } = state.question;
    return [text(key ? 'press' : 'asks', { key }), key ? text('press-hint') : words,
      doubt ? text(`again-${doubt}`, { answer: answered, key }) : ''];
  }
  if (state.phase === 'running') {
    const part = state.percent === null ? '' : ` · ${text('sending')} ${state.percent} %`;
    const number = Math.min(state.done + 1, state.steps);
    return [text('running'), text('step-of', { number, steps: state.steps, step: state.step ?? '' }) + part,
      state.failed ? `✘ ${text('failed-already', state)}` : ''];
  }
  if (state.verdict === 'PASSED') {
    return [`✔ ${text('pass')}`, '', ''];
  }
  const reason = text(`reason-${state.reason}`);
  if (state.verdict === 'ABORTED') {
    return [`■ ${text('stopped')}`, reason, ''];
  }
  return [`✘ ${text('fail')}`, state.failed ? text('failed-step', { failed: state.failed, reason }) : reason, detail(state.words)];
}

function draw(slot) {
  const { state } = slot;
  const [big, reason, words] = said(state);
  const lost = state.phase === 'idle' && !state.port ? ' lost' : '';
  slot.card.className = `slot ${state.phase} ${state.verdict ?? ''}${lost}${state.question ? ' asks' : ''}${state.question?.key ? ' key' : ''}`;
  put(slot.name, state.slot);
  put(slot.unit, state.unit ?? '');
  put(slot.big, big);
  slot.big.style.setProperty('--wide', width(big));
  put(slot.reason, reason);
  put(slot.words, words);
  drawQuestion(slot);
  slot.bar.hidden = state.phase !== 'running';
  slot.fill.style.width = `${state.steps ? 100 * state.done / state.steps : 0}%`;
  const works = ['port', 'set', 'running'].includes(state.phase);
  slot.stop.hidden = !works;
  if (!works) {
    slot.pressed = null;
  }
  put(slot.stop, text(slot.pressed === 'stopping' ? 'stopping' : slot.pressed ? 'stop-sure' : 'stop'));
  drawTime(slot);
}

// What the operator answers with. It is made once for each question, so that what is being typed stays.
function drawQuestion(slot) {
  const { question } = slot.state;
  const shown = question ? `${question.number} ${language}` : '';
  if (slot.shown === shown) {
    return;
  }
  slot.shown = shown;
  if (slot.ask.contains(document.activeElement)) {
    at('field').focus();
  }
  slot.ask.replaceChildren();
  slot.ask.hidden = !question;
  if (question?.kind === 'text') {
    const field = make('input', 'answer', slot.ask);
    field.maxLength = 200;
    field.spellcheck = false;
    field.setAttribute('aria-label', question.words);
  }
  const choices = { text: { answer: '' }, confirm: { yes: 'yes', no: 'no' }, key: { 'no-reaction': 'no' } }[question?.kind] ?? {};
  for (const [label, value] of Object.entries(choices)) {
    const button = make('button', label, slot.ask);
    button.value = value;
    put(button, text(label));
  }
}

async function answer(slot, words) {
  if (!slot.state.question || !words?.trim()) {
    return;
  }
  try {
    const { taken } = await send('answer', { slot: slot.state.slot, question: slot.state.question.number, text: words });
    if (!taken) {
      reply('reply-late', {}, true);
    }
  } catch {
    reply('reply-lost', {}, true);
  }
  at('field').focus();
}

function drawTime(slot) {
  const { state } = slot;
  const works = !['idle', 'over'].includes(state.phase);
  const ms = state.ms + (works ? performance.now() - slot.heard : 0);
  put(slot.time, state.phase === 'idle' ? '' : `${(ms / 1000).toFixed(works ? 0 : 1)} ${text('seconds')}`);
}

function stop(name) {
  const slot = slots.get(name);
  if (slot.pressed) {
    slot.pressed = 'stopping';
    send('stop', { slot: name }).catch(() => reply('reply-lost', {}, true));
  } else {
    slot.pressed = 'once';
    setTimeout(() => {
      if (slot.pressed === 'once') {
        slot.pressed = null;
        draw(slot);
      }
    }, kSureSeconds * 1000);
  }
  draw(slot);
}

// --- The line --------------------------------------------------------------------------------------------------

function drawLine() {
  put(at('yield'), '');
  put(at('stock'), '');
  if (!line?.known) {
    return;
  }
  if (line.problem && !line.goes_on) {
    put(at('stock'), `⚠ ${text('store-away')}`);
    at('stock').className = 'low';
    return;
  }
  const first = line.units ? (100 * line.first_pass / line.units).toFixed(0) : 0;
  put(at('yield'), line.units ? text('yield', { ...line, first }) : text('yield-none'));
  const stock = line.stock.map((row) => `${row.stock} ${row.free}${row.free < kLowStock ? ' ⚠' : ''}`).join(' · ');
  const left = stock ? text('stock', { stock }) : '';
  put(at('stock'), line.problem ? `⚠ ${text('server-away')} ${left}` : left);
  at('stock').className = line.problem || line.stock.some((row) => row.free < kLowStock) ? 'low' : '';
}

// --- The scanner -----------------------------------------------------------------------------------------------

let replyEnds = 0;
let replied = null; // the key of a text, and its values

function drawReply() {
  put(at('reply'), replied ? text(...replied) : '');
}

function reply(key, values = {}, wrong = false, lasts = false) {
  replied = key && [key, values];
  drawReply();
  at('reply').className = wrong ? 'wrong' : '';
  clearTimeout(replyEnds);
  if (!lasts) {
    replyEnds = setTimeout(() => reply(null), kReplySeconds * 1000);
  }
}

at('scan').addEventListener('submit', async (event) => {
  event.preventDefault();
  const scanned = at('field').value;
  at('field').value = '';
  if (!scanned.trim()) {
    return;
  }
  try {
    const answer = await send('scan', { text: scanned });
    const key = answer.reply === 'busy' && !answer.slot ? 'busy-all' : answer.reply;
    const waits = ['which-slot', 'which-unit', 'which-answer'].includes(key);
    reply(`reply-${key}`, answer, !waits && !['begun', 'answered'].includes(key), waits);
  } catch {
    reply('reply-lost', {}, true);
  }
});

// What a scanner types reaches the field from wherever the focus is.
document.addEventListener('keydown', (event) => {
  const onButton = document.activeElement instanceof HTMLButtonElement;
  const inAnswer = document.activeElement.classList.contains('answer') && !onButton;
  if (event.key === 'Escape') {
    at('field').value = '';
    reply(null);
    send('forget', {}).catch(() => {});
    at('field').focus();
  } else if (event.key.length === 1 && !inAnswer && !event.ctrlKey && !event.altKey && !event.metaKey && !(onButton && event.key === ' ')) {
    at('field').focus();
  }
});
document.addEventListener('click', (event) => {
  if (!(event.target instanceof HTMLButtonElement || event.target instanceof HTMLInputElement)) {
    at('field').focus();
  }
});
window.addEventListener('focus', () => at('field').focus());
document.addEventListener('focusout', () => setTimeout(() => {
  if (document.activeElement === document.body) {
    at('field').focus();
  }
}));

// --- All of it -------------------------------------------------------------------------------------------------

function drawAll() {
  document.documentElement.lang = language;
  put(at('prompt'), text('scan'));
  put(at('keys'), text('keys'));
  const names = Object.keys(kTexts);
  const next = names[(names.indexOf(language) + 1) % names.length];
  put(at('language'), kTexts[next].language);
  at('language').onclick = () => {
    language = next;
    localStorage.setItem('language', language);
    drawAll();
    at('field').focus();
  };
  put(document.querySelector('#gone strong'), text('gone'));
  put(document.querySelector('#gone span'), text('gone-hint'));
  slots.forEach(draw);
  drawLine();
  drawReply();
}

function columns(count) {
  return count <= 1 ? 1 : count <= 4 ? 2 : count <= 9 ? 3 : Math.ceil(Math.sqrt(count * 1.4));
}

function hear(told) {
  if (told.type === 'station') {
    put(at('name'), told.name);
    document.title = told.name;
    if (told.unit && told.unit !== asked) {
      reply('reply-which-slot', told, false, true);
    } else if (!told.unit && asked && at('reply').textContent === text('reply-which-slot', { unit: asked })) {
      reply(null); // answered on another page
    }
    asked = told.unit;
  } else if (told.type === 'slot') {
    if (!slots.has(told.slot)) {
      slots.set(told.slot, makeSlot(told.slot));
      at('slots').style.setProperty('--columns', columns(slots.size));
    }
    Object.assign(slots.get(told.slot), { state: told, heard: performance.now() });
    draw(slots.get(told.slot));
  } else if (told.type === 'line') {
    line = told;
    drawLine();
  }
}

function follow() {
  const source = new EventSource(`events?token=${encodeURIComponent(kToken)}`);
  let fresh = true;
  source.onopen = () => {
    fresh = true;
    at('gone').hidden = true;
  };
  source.onmessage = (event) => {
    if (fresh) { // everything is told anew, by a station that may be another one
      slots.clear();
      at('slots').replaceChildren();
      fresh = false;
    }
    hear(JSON.parse(event.data));
  };
  source.onerror = () => {
    at('gone').hidden = false;
    if (source.readyState === EventSource.CLOSED) { // the browser gives up where an answer was no stream
      put(document.querySelector('#gone span'), text('refused'));
      setTimeout(follow, 3000);
    }
  };
}

setInterval(() => slots.forEach(drawTime), 500);
drawAll();
follow();
at('field').focus();
