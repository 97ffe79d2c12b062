// The set beside its time line: the panel's picture and what ctl tells, asked for again when the trace says that
// something happened.

import { byId, el, plural } from './dom.js';
import { button, kFaults } from './controls.js';
import { ctl, panel } from './server.js';

const kPause = 400;        // ms between two rounds of questions at least
const kSlow = 5000;        // without anything in the trace
const kPicture = 500;
const kPictureIdle = 2000;
const kActive = 4000;      // so long after a row the panel may change

const kVolume = 'tovix.sl2.i32.sound.main.volume';
const kBacklight = 'tovix.sl2.i32.video.backlight';
const kLed = 'tovix.sl2.system.ctrl.led.gpio';
const kFlicker = 'tovix.sl2.system.ctrl.led.flicker';
const kPins = 'tovix.sl2.action.system.gpio';
const kSource = 'tovix.sl2.action.source.switch';
const kVersion = 'tovix.sl2.str.qorfactory.software.version';
const kAddress = 'tovix.sl2.str.network.ip-address';

const kModes = { 1: 'factory', 2: 'aging', 3: 'USB update' };
const kPinNames = { 7: 'panel backlight', 45: 'panel supply' };
const kFaultAreas = Object.keys(kFaults);
const kPartitions = ['/zodata/critical', '/zodata/factory', '/zodata/model', '/var/local', '/var/run', '/vendor/tvconfig/config', '/config',
  '/serialdata', '/certificate'];

const kQuestions = {
  volume: ['model', 'get', kVolume],
  backlight: ['model', 'get', kBacklight],
  led: ['model', 'get', kLed],
  flicker: ['model', 'get', kFlicker],
  pins: ['model', 'get', kPins],
  source: ['model', 'get', kSource],
  version: ['model', 'get', kVersion],
  address: ['model', 'get', kAddress],
  mode: ['flash', 'get', 'ZelFacMode'],
  finished: ['flash', 'get', 'FactoryOK'],
  serial: ['cat', '/var/local/ZelPcbSn'],
  result: ['cat', '/var/local/ZelTestResult'],
  mac: ['meta', 'get', '8'],
  mounts: ['mounts'],
  unsynced: ['mounts', '--unsynced'],
  keys: ['keys', 'list'],
  behaviours: ['behave'],
  line: ['line'],
  ...Object.fromEntries(kFaultAreas.map((area) => [`fail-${area}`, [area, 'fail']])),
};

function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return text.replace(/\n$/, '');
  }
}

function table(rows) {
  return el('table', {}, el('tbody', {}, ...rows.map(([name, ...values]) => el('tr', {}, el('th', { scope: 'row' }, name),
    el('td', { class: 'value' }, ...values)))));
}

function empty(text) {
  return el('p', { class: 'empty' }, text);
}

function level(value) {
  const number = Number(value);
  const inside = el('i');
  inside.style.width = `${Math.max(0, Math.min(100, number))}%`;
  return [el('span', { class: 'level', 'aria-hidden': 'true' }, inside), String(value)];
}

// The mount table as {source, target, options}, the set's escapes undone.
function mountRows(text) {
  const plain = (word) => word.replace(/\\([0-7]{3})/g, (_, octal) => String.fromCharCode(parseInt(octal, 8)));
  return text.split('\n').filter(Boolean).map((line) => {
    const [source, target, , options] = line.split(' ');
    return { source: plain(source), target: plain(target), options: options.split(',') };
  });
}

export class SetView {
  // `act(words)` carries a verb out for a button.
  constructor(act) {
    this.act = act;
    this.last = {};          // text of each answer, so that only what changed is drawn
    this.askedAt = 0;
    this.timer = 0;
    this.activeAt = 0;
    this.tag = '';
    this.alive = false;
    setInterval(() => this.soon(), kSlow);
    document.addEventListener('visibilitychange', () => {
      this.soon();
      this.picture();
    });
    this.picture();
  }

  // Something happened in the set.
  touched() {
    this.activeAt = Date.now();
    this.soon();
  }

  setAlive(alive) {
    this.alive = alive;
    if (alive) this.touched();
  }

  soon() {
    if (this.timer || document.hidden || !this.alive) return;
    const wait = Math.max(150, this.askedAt + kPause - Date.now());
    this.timer = setTimeout(() => this.ask(), wait);
  }

  async ask() {
    this.askedAt = Date.now();
    try {
      const names = Object.keys(kQuestions);
      const answers = await ctl(Object.values(kQuestions));
      this.draw(Object.fromEntries(names.map((name, i) => [name, answers[i]])));
    } catch {
      // The way to simset is lost: the time line says so.
    } finally {
      this.timer = 0;
    }
  }

  draw(answers) {
    const parts = {
      values: ['volume', 'backlight', 'led', 'flicker', 'pins', 'source', 'version', 'address', 'mode', 'finished', 'serial', 'result', 'mac'],
      partitions: ['mounts', 'unsynced'],
      sticks: ['mounts', 'unsynced'],
      keys: ['keys'],
      faults: kFaultAreas.map((area) => `fail-${area}`),
      behaviours: ['behaviours'],
      line: ['line'],
    };
    for (const [part, names] of Object.entries(parts)) {
      const text = JSON.stringify(names.map((name) => answers[name]));
      // A choice that is open is not taken away from under the user.
      if (this.last[part] === text || byId(part).contains(document.activeElement?.closest('select'))) continue;
      this.last[part] = text;
      const get = (name) => (answers[name].ok ? parsed(answers[name].out) : undefined);
      byId(part).replaceChildren(...[this[part](get, answers)].flat());
    }
  }

  values(get) {
    const led = get('led');
    const pins = Object.entries(get('pins')?.pins ?? {});
    const mode = String(get('mode') ?? '');
    const rows = [
      ['Mode', mode === '' ? 'no factory set' : `${kModes[mode] ?? 'unknown'} (${mode})`],
      ['Finished', get('finished') === 'On' ? 'yes' : 'no'],
      ['Source', get('source')?.source ?? 'none yet'],
      ['Volume', ...level(get('volume') ?? '?')],
      ['Backlight', ...level(get('backlight') ?? '?')],
      ['LED', el('span', { class: `lamp ${led === 0 ? 'red' : led === 1 ? 'green' : ''}` }),
        (led === 0 ? 'red' : led === 1 ? 'green' : `${led}`) + (get('flicker') === 1 ? ', blinking' : '')],
      ['Pins', pins.length === 0 ? 'none set yet'
        : pins.map(([pin, value]) => `${pin}${kPinNames[pin] ? ` (${kPinNames[pin]})` : ''} = ${value}`).join(', ')],
      ['Serial number', String(get('serial') || 'none')],
      ['Test result', String(get('result') || 'none')],
      ['MAC address', String(get('mac') || 'none')],
      ['Wired address', String(get('address') || 'none')],
      ['Software', String(get('version') ?? '?')],
    ];
    return table(rows);
  }

  partitions(get, answers) {
    if (!answers.mounts.ok) return empty('The set is off.');
    const mounts = new Map(mountRows(answers.mounts.out).map((mount) => [mount.target, mount]));
    const unsynced = new Set(answers.unsynced.ok ? answers.unsynced.out.split('\n') : []);
    return table(kPartitions.filter((path) => mounts.has(path)).map((path) => {
      const rw = mounts.get(path).options.includes('rw');
      return [el('span', { class: 'mono' }, path), el('span', { class: `tag ${rw ? 'rw' : 'ro'}` }, rw ? 'rw' : 'ro'), ' ',
        unsynced.has(path) ? el('span', { class: 'tag unsynced', title: 'A power cut now loses what was written' }, '✱ not synced') : ''];
    }));
  }

  sticks(get, answers) {
    if (!answers.mounts.ok) return empty('The set is off.');
    const sticks = mountRows(answers.mounts.out).filter((mount) => mount.source.startsWith('/dev/shm/shm_tmp/vu_'));
    if (sticks.length === 0) return empty('None is plugged.');
    const unsynced = new Set(answers.unsynced.ok ? answers.unsynced.out.split('\n') : []);
    return table(sticks.map(({ source, target, options }) => {
      const name = source.split('/').pop();
      const rw = options.includes('rw');
      return [el('span', { class: 'mono' }, name), el('span', { class: `tag ${rw ? 'rw' : 'ro'}` }, rw ? 'rw' : 'ro'), ' ',
        unsynced.has(target) ? el('span', { class: 'tag unsynced' }, '✱ not synced') : '', ' ',
        button('unplug', () => ['usb', 'unplug', name], this.act)];
    }));
  }

  keys(get) {
    const keys = get('keys') ?? [];
    if (!Array.isArray(keys) || keys.length === 0) return empty('None is installed.');
    return table(keys.map((key) => [key.type, `${plural(key.size, 'byte')}, CRC-32 ${String(key.crc32).toUpperCase()}`]));
  }

  faults(get) {
    const rows = kFaultAreas.flatMap((area) => {
      const faults = get(`fail-${area}`);
      return (Array.isArray(faults) ? faults : []).map((fault) => ({ area, ...fault }));
    });
    if (rows.length === 0) return empty('None: every call answers as it should.');
    return table(rows.map(({ area, name, step, status, times }) => {
      const place = area === 'sync' ? [] : step === 'any' || step === undefined ? [String(name)] : [String(name), String(step)];
      return [area, `${place.join(' ')} → ${status}${times ? `, ${times} times` : ''} `,
        button('end', () => [area, 'fail', ...place, '0'], this.act)];
    }));
  }

  behaviours(get) {
    return table(Object.entries(get('behaviours') ?? {}).map(([name, setting]) => {
      const field = el('select', { 'aria-label': name },
        ...['on', 'off', ...(name === 'supervisor' ? ['wrong'] : [])].map((value) => el('option', { value }, value)));
      if (![...field.options].some((option) => option.value === String(setting))) {
        field.append(el('option', { value: String(setting) }, `after ${setting} ms`));
      }
      field.value = String(setting);
      field.title = `behave ${name} ${setting}`;
      field.addEventListener('change', async () => {
        field.title = `behave ${name} ${field.value}`;
        await this.act(['behave', name, field.value]);
        field.blur();
      });
      return [name, field, ' ', el('code', { class: 'command' }, `behave ${name} ${setting}`)];
    }));
  }

  line(get) {
    const line = get('line');
    if (!line || typeof line !== 'object') return empty('Not known.');
    const way = (counts) => `${plural(counts.delivered, 'byte')}, ${counts.dropped} dropped, ${counts.flipped} flipped, ${counts.lost} lost`;
    return table([
      ['Plugged', line.plugged ? 'yes' : 'no: hung up'],
      ['Speed', line.baud === 0 ? 'as fast as it goes' : `${line.baud} baud`],
      ['Damage', line.drop || line.flip || line.delayMs ? `drop ${line.drop}, flip ${line.flip}, delay ${line.delayMs} ms` : 'none'],
      ['To the set', way(line.toSet)],
      ['From the set', way(line.fromSet)],
    ]);
  }

  // The panel's picture, again and again while anybody looks.
  async picture() {
    clearTimeout(this.pictureTimer);
    if (document.hidden) return;
    if (this.alive) {
      try {
        const answer = await panel(this.tag);
        if (answer.missing !== undefined) {
          this.tag = '';
          byId('picture').hidden = true;
          byId('no-picture').hidden = false;
          byId('no-picture').textContent = answer.missing.trim();
        } else if (answer.blob) {
          this.tag = answer.tag;
          const before = byId('picture').src;
          byId('picture').src = URL.createObjectURL(answer.blob);
          byId('picture').hidden = false;
          byId('no-picture').hidden = true;
          if (before) URL.revokeObjectURL(before);
        }
      } catch {
        // As with the questions.
      }
    }
    clearTimeout(this.pictureTimer);
    const active = Date.now() - this.activeAt < kActive;
    this.pictureTimer = setTimeout(() => this.picture(), active ? kPicture : kPictureIdle);
  }
}
