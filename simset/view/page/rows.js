// The rows of the trace, each with what it means, put together by the request of the line that caused them. No drawing
// here.

import { kCommands } from './commands.js';

export const kKeptRows = 120000;
const kDropped = 20000;

// Calls that only lead to what the application asks for, and back.
const kWayThere = new Set(['proxy', 'interface', 'root', 'release', 'iterator-end']);

// What a row says of a frame of the line; null for other rows. A ready frame and a key press answer nobody.
export function frameOf(json) {
  if (json.who !== 'line' || json.call !== 'frame') return null;
  return { isRequest: json.to === 'set' && json.role === 'request', isAnswer: json.to === 'line' && json.role !== 'ready',
    id: String(json.id), chunks: json.chunks ?? 0 };
}

export function commandName(id) {
  return kCommands[id] ?? 'no command';
}

// What a frame carries, in words.
export function carried(json) {
  if (json.role === 'ready') return 'ready, waiting for a connect';
  if (json.role === 'status' && json.payload === '00') return 'success';
  if (json.role === 'status' && json.payload === '01') return 'failure';
  const text = 'text' in json ? `"${json.text}"` : '';
  // A single byte is a number more often than a letter.
  if (json.payload?.length === 2) return `${parseInt(json.payload, 16)} (0x${json.payload}${text && `, ${text}`})`;
  if (text) return text;
  if ('chunks' in json) return `chunk ${json.chunk + 1} of ${json.chunks}, ${json.bytes} bytes`;
  if (!json.payload) return json.role === 'request' ? '' : 'answered without data';
  return `0x${json.payload}`;
}

function failed(json) {
  if ('status' in json && json.status !== 0 && json.status !== 'Success') return true;
  if (json.call === 'result' && json.value === 'Failed') return true;
  if (json.who === 'line' && json.call === 'noise') return true;
  return false;
}

// How much it matters: violation, error, warning (the trace itself is not whole), or nothing.
export function gravityOf(json) {
  if (json.who === 'violation') return 'violation';
  if (json.who === 'trace') return 'warning';
  if (json.call === 'error' || failed(json)) return 'error';
  return '';
}

function shown(value) {
  if (typeof value === 'string') return `"${value}"`;
  return JSON.stringify(value);
}

const kOfViolation = new Set(['seq', 'ms', 'who', 'call', 'rule', 'expected', 'key', 'thread', 'connection']);
const kNotArguments = new Set(['seq', 'ms', 'who', 'call', 'status', 'thread', 'connection', 'key', 'name', 'item', 'value',
  'args', 'command', 'kind', 'target', 'tookMs', 'rule', 'expected']);

// A row in one line for people, without who, call and status.
export function sentence(json) {
  const parts = [];
  if (json.who === 'violation') {
    const rest = Object.entries(json).filter(([name]) => !kOfViolation.has(name))
      .map(([name, value]) => `${name}=${typeof value === 'string' ? value : JSON.stringify(value)}`);
    return [`${json.rule}:`, ...('key' in json ? [String(json.key)] : []), ...rest, '— expected', String(json.expected)].join(' ');
  }
  if (frameOf(json)) {
    return `${json.to === 'set' ? '▶' : '◀'} ${json.id} ${commandName(json.id)} ${carried(json)}`;
  }
  for (const name of ['command', 'key', 'name', 'item', 'target']) {
    if (name in json) parts.push(String(json[name]));
  }
  if ('args' in json) parts.push(`(${json.args.map((arg) => arg[1]).join(', ')})`);
  if ('value' in json) parts.push(`${json.call === 'set' || json.call === 'write' ? '←' : '='} ${shown(json.value)}`);
  for (const [name, value] of Object.entries(json)) {
    if (!kNotArguments.has(name)) parts.push(`${name}=${typeof value === 'string' ? value : JSON.stringify(value)}`);
  }
  if ('tookMs' in json) parts.push(`(${json.tookMs} ms)`);
  return parts.join(' ');
}

function makeRow(line) {
  let json;
  try {
    json = JSON.parse(line);
  } catch {
    json = { who: 'trace', call: 'unreadable', text: line };
  }
  if (json === null || typeof json !== 'object' || Array.isArray(json)) json = { who: 'trace', call: 'unreadable' };
  const row = { json, line, seq: Number(json.seq) || 0, ms: Number(json.ms) || 0, who: String(json.who ?? ''), group: null,
    isBoot: false, frame: frameOf(json) };
  row.call = String(json.call ?? '');
  row.gravity = gravityOf(json);
  row.isWay = row.who === 'model' && kWayThere.has(row.call) && row.gravity === '';
  return row;
}

// A group: a request of the line with all that came until its answer, or what the set did on its own.
function makeGroup(request) {
  return { request, chunks: request ? 1 : 0, answers: [], rows: [], open: true, folded: false, violations: 0, errors: 0,
    calls: 0, first: null, last: null };
}

export class Store {
  constructor() {
    this.clear();
  }

  clear() {
    this.rows = [];
    this.groups = [];
    this.byWho = new Map();
    this.violations = [];
    this.errors = 0;
    this.way = 0;             // rows that only lead to a call
    this.placed = 0;
    this.lastSeq = 0;
    this.bootMs = -1;
    this.waiting = [];  // groups whose answer has not come, in order
  }

  // Takes rows as lines. Returns the groups that changed, the new ones at the end; `all` when older ones went.
  add(lines) {
    const changed = new Set();
    for (const line of lines) {
      const row = makeRow(line);
      if (row.seq !== 0 && row.seq <= this.lastSeq) continue;
      if (row.seq > this.lastSeq + 1 && this.lastSeq > 0) {
        const missing = makeRow(JSON.stringify({ who: 'trace', call: 'missing', count: row.seq - this.lastSeq - 1 }));
        missing.ms = row.ms;
        changed.add(this.place(missing));
      }
      if (row.seq !== 0) this.lastSeq = row.seq;
      changed.add(this.place(row));
    }
    const all = this.rows.length > kKeptRows;
    if (all) this.drop();
    return { all, groups: changed };
  }

  place(row) {
    if (row.ms < this.bootMs - 50) {
      // The set's clock begins anew with its power.
      row.isBoot = true;
      this.waiting.forEach((group) => { group.open = false; });
      this.waiting = [];
    }
    this.bootMs = row.isBoot ? row.ms : Math.max(this.bootMs, row.ms);
    row.at = this.placed++;
    this.rows.push(row);
    if (row.isWay) this.way += 1;
    this.byWho.set(row.who, (this.byWho.get(row.who) ?? 0) + 1);
    const group = this.groupOf(row);
    row.group = group;
    group.rows.push(row);
    group.first ??= row;
    group.last = row;
    if (row.gravity === 'violation') {
      this.violations.push(row);
      group.violations += 1;
    } else if (row.gravity === 'error') {
      this.errors += 1;
      group.errors += 1;
    }
    if (row.who !== 'line' && row.who !== 'violation') group.calls += 1;
    return group;
  }

  groupOf(row) {
    const { frame } = row;
    if (frame?.isRequest) {
      const newest = this.waiting[this.waiting.length - 1];
      const last = newest?.request.frame;
      if (last && last.id === frame.id && frame.chunks > 0 && last.chunks === frame.chunks) {
        newest.chunks += 1;
        return newest;
      }
      const group = makeGroup(row);
      this.groups.push(group);
      this.waiting.push(group);
      return group;
    }
    if (frame?.isAnswer) {
      const at = this.waiting.findIndex((group) => group.request.frame.id === frame.id);
      if (at >= 0) {
        const group = this.waiting[at];
        group.answers.push(row);
        // What was asked before and has not been answered never will be: frames are carried out in order.
        this.waiting.splice(0, at + 1).forEach((done) => { done.open = false; });
        return group;
      }
      // Some requests are answered twice.
      const before = this.groups.slice(-3).reverse().find((group) => group.request?.frame.id === frame.id);
      if (before && before.answers.length > 0) {
        before.answers.push(row);
        return before;
      }
    }
    if (this.waiting.length > 0) return this.waiting[0];
    const last = this.groups[this.groups.length - 1];
    if (last && !last.request && !row.isBoot) return last;
    const group = makeGroup(null);
    group.open = false;
    this.groups.push(group);
    return group;
  }

  drop() {
    const keep = new Set(this.rows.slice(kDropped).map((row) => row.group));
    this.groups = this.groups.filter((group) => keep.has(group));
    // Whole groups go, so that a request does not lose its calls.
    this.rows = this.rows.filter((row) => keep.has(row.group));
    this.violations = this.violations.filter((row) => keep.has(row.group));
    this.errors = this.rows.filter((row) => row.gravity === 'error').length;
    this.way = this.rows.filter((row) => row.isWay).length;
    this.byWho.clear();
    this.rows.forEach((row) => this.byWho.set(row.who, (this.byWho.get(row.who) ?? 0) + 1));
  }
}
