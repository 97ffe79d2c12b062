// What one can do to the set: each control shows the verb of ctl that it is.

import { byId, copy, el } from './dom.js';
import { splitTerms } from './match.js';
import { asCommand, asTyped } from './server.js';

const kRemote = [['Power', 70], ['Source', 168], ['Menu', 164], ['CH +', 161], ['VOL +', 166], ['Key 105', 105], ['CH −', 163],
  ['VOL −', 162], ['Key 106', 106]];

// A button that carries out `words()`.
export function button(label, words, act) {
  return el('button', { class: 'small', title: asCommand(words()), onclick: () => act(words()) }, label, ' ',
    el('code', { class: 'command' }, asTyped(words())));
}

function field(name, properties = {}) {
  return el('input', { type: 'text', spellcheck: false, autocomplete: 'off', 'aria-label': name, ...properties });
}

function choice(name, values) {
  return el('select', { 'aria-label': name }, ...values.map((value) => el('option', { value }, value)));
}

// Fields with the verb that they make, a button for it and one that copies the whole command. `words()` is null while
// something is missing. A dangerous one is pressed twice.
function form(place, label, fields, words, act, { danger = false, usage = '' } = {}) {
  const shown = el('code', { class: 'command' });
  const go = el('button', { class: danger ? 'danger' : '' }, label);
  const copying = el('button', { class: 'copy', title: 'Copy the command' }, 'copy');
  let sure = 0;
  const unsure = () => {
    clearTimeout(sure);
    sure = 0;
    go.textContent = label;
    go.classList.remove('sure');
  };
  const refresh = () => {
    const verb = words();
    go.disabled = !verb;
    copying.disabled = !verb;
    shown.textContent = verb ? asTyped(verb) : typeof usage === 'function' ? usage() : usage;
    shown.title = verb ? asCommand(verb) : '';
  };
  const run = () => {
    if (!words()) return;
    if (danger && !sure) {
      go.textContent = `${label}: sure?`;
      go.classList.add('sure');
      sure = setTimeout(unsure, 4000);
      return;
    }
    unsure();
    act(words());
  };
  go.addEventListener('click', run);
  copying.addEventListener('click', () => copy(asCommand(words()), copying));
  const rows = fields.map(([name, input]) => [el('span', { class: 'quiet' }, name), input]).flat();
  const box = el('div', {}, fields.length > 0 && el('div', { class: 'form' }, ...rows), el('div', { class: 'does' }, go, shown, copying));
  box.addEventListener('input', refresh);
  box.addEventListener('keydown', (event) => {
    if (event.key === 'Enter' && event.target.matches('input')) run();
  });
  place.append(box);
  refresh();
  return { refresh };
}

function remote(act) {
  const keys = kRemote.map(([label, code]) => el('button', { title: asCommand(['press', String(code)]),
    onclick: () => act(['press', String(code)]) }, label, el('code', { class: 'command' }, `press ${code}`)));
  byId('remote').append(el('div', { class: 'keypad' }, ...keys));
  const code = field('Key code', { inputMode: 'numeric', placeholder: 'a number' });
  form(byId('remote'), 'Press', [['Key code', code]], () => (/^-?\d+$/.test(code.value) ? ['press', code.value] : null), act,
    { usage: 'press CODE' });
}

function manager(act) {
  const line = field('Line', { placeholder: ':am,…', class: 'mono' });
  form(byId('manager'), 'Send', [['Line', line]], () => {
    if (line.value === '') return null;
    return line.value.startsWith('--') ? ['am', '--raw', `${line.value}\n`] : ['am', line.value];
  }, act, { usage: 'am LINE' });
}

function stick(act) {
  const folder = field('Folder on the PC', { placeholder: '/home/me/my-stick', class: 'mono' });
  const name = field('Name', { placeholder: 'next free', class: 'mono' });
  const readOnly = el('input', { type: 'checkbox', 'aria-label': 'Write-protected' });
  form(byId('plug'), 'Plug', [['Folder', folder], ['Name', name], ['Protected', readOnly]], () => {
    if (folder.value === '') return null;
    return ['usb', 'plug', folder.value, ...(name.value ? ['--name', name.value] : []), ...(readOnly.checked ? ['--read-only'] : [])];
  }, act, { usage: 'usb plug DIR [--name NAME] [--read-only]' });
}

// What can be made to fail, by area: what its place is called, and its steps.
export const kFaults = {
  model: { what: 'KEY', hint: 'a key, wildcards, *', steps: ['connect', 'operate', 'execute', 'proxy', 'interface', 'root', 'count', 'rows'] },
  flash: { what: 'NAME', hint: 'ZelFacMode, *' },
  meta: { what: 'ITEM', hint: '8, init, access-route, *' },
  keys: { what: 'KEY', hint: 'hdcp1, *', steps: ['write', 'check'] },
  apm: { what: 'CALL', hint: 'registerApp, *' },
  shell: { what: 'MATCH', hint: 'a command, mount*, *' },
  mount: { what: 'PATH', hint: '/zodata/factory, *' },
  sync: { what: '', hint: '' },
};

function fault(act) {
  const area = choice('Area', Object.keys(kFaults));
  const name = field('What', { class: 'mono' });
  const step = el('select', { 'aria-label': 'Step' });
  const status = field('Status', { value: '1', inputMode: 'numeric' });
  const times = field('Times', { placeholder: 'always', inputMode: 'numeric' });
  const adapt = () => {
    const { what, hint, steps = [] } = kFaults[area.value];
    name.placeholder = hint;
    name.disabled = what === '';
    step.replaceChildren(...steps.map((value) => el('option', { value }, value)));
    step.disabled = steps.length === 0;
  };
  area.addEventListener('input', adapt);
  adapt();
  form(byId('fault'), 'Arrange', [['Area', area], ['What', name], ['Step', step], ['Status', status], ['Times', times]], () => {
    if ((name.value === '' && !name.disabled) || !/^-?\d+$/.test(status.value)) return null;
    return [area.value, 'fail', ...(name.disabled ? [] : [name.value]), ...(step.disabled ? [] : [step.value]), status.value,
      ...(times.value ? ['--times', times.value] : [])];
  }, act, { usage: () => `${area.value} fail${name.disabled ? '' : ` ${kFaults[area.value].what}`}${step.disabled ? '' : ` ${step.value}`} STATUS [--times N]` });
}

function line(act) {
  const drop = field('Drop', { placeholder: '0 … 1', inputMode: 'decimal' });
  const flip = field('Flip', { placeholder: '0 … 1', inputMode: 'decimal' });
  form(byId('disturb'), 'Disturb', [['Drop', drop], ['Flip', flip]], () => {
    const words = ['line', ...(drop.value ? ['--drop', drop.value] : []), ...(flip.value ? ['--flip', flip.value] : [])];
    return words.length > 1 ? words : null;
  }, act, { usage: 'line [--drop P] [--flip P]' });
  form(byId('disturb'), 'Hang up', [], () => ['line', '--unplug'], act);
  form(byId('disturb'), 'Plug back', [], () => ['line', '--plug'], act);
}

function power(act) {
  form(byId('power'), 'Reboot', [], () => ['reboot'], act, { danger: true });
  form(byId('power'), 'Cut the power', [], () => ['power-cut'], act, { danger: true });
}

function any(act) {
  const verb = field('Verb', { placeholder: 'cat /proc/mounts', class: 'mono' });
  const output = el('pre', { class: 'output', hidden: true, tabIndex: 0 });
  form(byId('any'), 'Run', [['Verb', verb]], () => {
    const words = splitTerms(verb.value, '"\'');
    return words.length > 0 ? words : null;
  }, async (words) => {
    const answer = await act(words, true);
    output.hidden = false;
    output.textContent = answer.ok ? answer.out || '(nothing printed)' : answer.error;
  }, { usage: 'VERB …' });
  byId('any').append(output);
}

// `act(words, silent)` carries a verb out and answers {ok, out} or {ok, error}. Built anew when the folder is known,
// so that commands are whole.
export function makeControls(act) {
  for (const id of ['remote', 'manager', 'plug', 'fault', 'disturb', 'power', 'any']) byId(id).replaceChildren();
  remote(act);
  manager(act);
  stick(act);
  fault(act);
  line(act);
  power(act);
  any(act);
}
