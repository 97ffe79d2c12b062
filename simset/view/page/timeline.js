// The time line: groups and rows in a list of which only the part in sight is drawn.

import { byId, duration, el, plural, seconds } from './dom.js';
import { carried, commandName, sentence } from './rows.js';

const kRowHeight = 24;
const kBeyond = 12;       // rows drawn above and below what is in sight
const kGapMs = 300;       // a silence this long gets a line of its own
const kMostBar = 60;      // pixels

const kGravitySign = { violation: '✖', error: '▲', warning: '◆' };

function gapText(ms) {
  return ms >= 1000 ? `+${(ms / 1000).toFixed(2)} s` : `+${ms} ms`;
}

export class Timeline {
  // `onSelect(row)` is told which row is looked at; null for none.
  constructor(store, onSelect) {
    this.store = store;
    this.onSelect = onSelect;
    this.items = [];
    this.selected = null;     // a row, or a group
    this.predicate = null;    // null: all
    this.showWay = false;
    this.following = true;
    this.marks = [];
    this.scroller = byId('rows');
    this.spacer = byId('rows-all');
    this.seen = byId('rows-seen');
    this.map = byId('map');
    this.drawPending = false;
    this.scroller.addEventListener('scroll', () => this.onScroll());
    this.scroller.addEventListener('keydown', (event) => this.onKey(event));
    this.seen.addEventListener('click', (event) => this.onClick(event));
    this.map.addEventListener('click', (event) => this.onMap(event));
    new ResizeObserver(() => this.changed()).observe(this.scroller);
  }

  // What is shown of a row.
  shows(row) {
    if (row.isWay && !this.showWay) return false;
    return !this.predicate || this.predicate(row);
  }

  setFilter(predicate) {
    this.predicate = predicate;
    this.rebuild(0);
    this.keepInSight();
  }

  setShowWay(show) {
    this.showWay = show;
    this.rebuild(0);
    this.keepInSight();
  }

  setFollowing(on) {
    this.following = on;
    byId('follow').setAttribute('aria-pressed', String(on));
    if (on) this.toEnd();
  }

  // Rows came; `groups` changed.
  update({ all, groups }) {
    let from = this.store.groups.length;
    if (all) {
      from = 0;
    } else {
      for (let i = from - 1; i >= 0 && groups.size > 0; --i) {
        if (groups.has(this.store.groups[i])) {
          groups.delete(this.store.groups[i]);
          from = i;
        }
      }
    }
    this.rebuild(from);
  }

  // Makes the list anew from a group on.
  rebuild(fromGroup) {
    const { groups } = this.store;
    let previous = null;
    if (fromGroup === 0) {
      this.items = [];
    } else {
      this.items.length = groups[fromGroup]?.itemAt ?? this.items.length;
      for (let i = this.items.length - 1; i >= 0 && !previous; --i) previous = this.items[i].row ?? null;
    }
    for (let i = fromGroup; i < groups.length; ++i) {
      previous = this.addGroup(groups[i], previous);
    }
    this.changed();
    if (this.following) this.toEnd();
  }

  addGroup(group, before) {
    group.itemAt = this.items.length;
    let previous = before;
    const shown = group.rows.filter((row) => this.shows(row));
    group.shown = shown.length;
    if (shown.length === 0) return previous;
    if (group.rows[0].isBoot) this.items.push({ kind: 'boot', row: group.rows[0] });
    else if (previous) this.addGap(previous, group.first);
    this.items.push({ kind: 'group', group, row: group.first });
    previous = group.request ?? previous;
    if (group.folded) return group.last;
    for (const row of shown) {
      if (row === group.request) continue;
      if (previous && row.group === previous.group) this.addGap(previous, row);
      this.items.push({ kind: 'row', row, gap: previous ? Math.max(0, row.ms - previous.ms) : 0 });
      previous = row;
    }
    return previous;
  }

  addGap(previous, row) {
    const gap = row.ms - previous.ms;
    if (gap >= kGapMs) this.items.push({ kind: 'gap', gap, row });
  }

  // The list or its place changed: draws with the next picture.
  changed() {
    if (this.drawPending) return;
    this.drawPending = true;
    requestAnimationFrame(() => {
      this.drawPending = false;
      this.draw();
    });
  }

  draw() {
    this.spacer.style.height = `${this.items.length * kRowHeight}px`;
    const first = Math.max(0, Math.floor(this.scroller.scrollTop / kRowHeight) - kBeyond);
    const count = Math.ceil(this.scroller.clientHeight / kRowHeight) + 2 * kBeyond;
    const last = Math.min(this.items.length, first + count);
    const elements = [];
    for (let i = first; i < last; ++i) elements.push(this.element(this.items[i], i));
    this.seen.style.transform = `translateY(${first * kRowHeight}px)`;
    this.seen.replaceChildren(...elements);
    const chosen = this.items.findIndex((item) => this.isSelected(item));
    if (chosen >= 0) this.scroller.setAttribute('aria-activedescendant', `item-${chosen}`);
    else this.scroller.removeAttribute('aria-activedescendant');
    byId('nothing').hidden = this.items.length > 0;
    this.drawMap(first, last);
  }

  isSelected(item) {
    if (!this.selected || (item.kind !== 'row' && item.kind !== 'group')) return false;
    return item.kind === 'group' ? item.group === this.selected : item.row === this.selected;
  }

  element(item, index) {
    const properties = { id: `item-${index}`, role: 'option', 'data-index': String(index),
      'aria-selected': String(this.isSelected(item)), 'aria-setsize': String(this.items.length),
      'aria-posinset': String(index + 1) };
    switch (item.kind) {
      case 'boot':
        return el('div', { ...properties, class: 'item boot' }, '⏻ power on: the clock begins anew');
      case 'gap':
        return el('div', { ...properties, class: 'item gap' }, `⋯ ${duration(item.gap)} without a call ⋯`);
      case 'group':
        return this.groupElement(item.group, properties);
      default:
        return this.rowElement(item, properties);
    }
  }

  groupElement(group, properties) {
    const { request } = group;
    const fold = el('span', { class: 'fold', 'aria-hidden': 'true' }, group.folded ? '▸' : '▾');
    const when = el('span', { class: 'when' }, seconds(group.first.ms));
    const counts = el('span', { class: 'counts' });
    if (group.violations > 0) {
      counts.append(el('b', { class: 'violation' }, `✖ ${plural(group.violations, 'violation')}`), ' ');
    }
    if (group.errors > 0) counts.append(el('b', { class: 'error' }, `▲ ${plural(group.errors, 'error')}`), ' ');
    counts.append(plural(group.calls, 'call'));
    const gravity = group.violations > 0 ? 'violation' : group.errors > 0 ? 'error' : '';
    if (!request) {
      const took = group.last.ms - group.first.ms;
      return el('div', { ...properties, class: `item group own ${gravity}` }, fold, when,
        el('span', { class: 'what' }, 'the set on its own'), el('span', { class: 'took' }, duration(Math.max(0, took))), counts);
    }
    const answer = group.answers[group.answers.length - 1];
    const answered = answer ? carried(answer.json) : group.open ? 'waiting …' : 'no answer';
    const bad = answer?.json.role === 'status' && answer.json.payload !== '00';
    const asked = group.chunks > 1 ? plural(group.chunks, 'chunk') : carried(request.json);
    const words = `${commandName(request.frame.id)} ${asked}`;
    return el('div', { ...properties, class: `item group ${gravity}` }, fold, when,
      el('span', { class: 'arrow', 'aria-hidden': 'true' }, '▶'),
      el('span', { class: 'id' }, request.frame.id), el('span', { class: 'what' }, words),
      el('span', { class: `answer ${!answer ? 'none' : bad ? 'bad' : 'good'}` }, `◀ ${answered}`),
      el('span', { class: 'took' }, answer ? duration(Math.max(0, answer.ms - request.ms)) : ''), counts);
  }

  rowElement({ row, gap }, properties) {
    const bar = el('i', { class: 'bar' });
    bar.style.width = `${Math.min(kMostBar, gap > 0 ? 6 * Math.log2(gap + 1) : 0)}px`;
    const sign = kGravitySign[row.gravity] ?? '';
    const status = row.gravity === 'violation' ? 'VIOLATION' : statusText(row);
    return el('div', { ...properties, class: `item row ${row.gravity} ${row.isWay ? 'way' : ''}` },
      el('span', { class: 'when' }, seconds(row.ms)),
      el('span', { class: 'since' }, bar, gap > 0 ? gapText(gap) : ''),
      el('span', { class: `who who-${kKnown.has(row.who) ? row.who : 'other'}` }, row.who),
      el('span', { class: 'call' }, row.call || (kCallOf[row.who] ?? '')),
      el('span', { class: 'text' }, sign ? `${sign} ` : '', sentence(row.json)),
      el('span', { class: 'status' }, status));
  }

  drawMap(first, last) {
    const { map } = this;
    const height = map.clientHeight;
    const ratio = devicePixelRatio || 1;
    map.width = map.clientWidth * ratio;
    map.height = height * ratio;
    const brush = map.getContext('2d');
    brush.scale(ratio, ratio);
    const count = Math.max(1, this.items.length);
    const style = getComputedStyle(document.documentElement);
    brush.fillStyle = style.getPropertyValue('--sight');
    brush.fillRect(0, first / count * height, map.clientWidth, Math.max(4, (last - first) / count * height));
    for (const [gravity, color] of [['error', '--error'], ['violation', '--violation']]) {
      brush.fillStyle = style.getPropertyValue(color);
      for (let i = 0; i < this.items.length; ++i) {
        const { kind, row, group } = this.items[i];
        const has = kind === 'row' ? row.gravity === gravity
          : kind === 'group' && group.folded && (gravity === 'violation' ? group.violations : group.errors) > 0;
        if (has) brush.fillRect(gravity === 'violation' ? 0 : 5, i / count * height, map.clientWidth, gravity === 'violation' ? 4 : 2);
      }
    }
  }

  onMap(event) {
    const at = event.offsetY / this.map.clientHeight * this.items.length;
    this.setFollowing(false);
    this.scroller.scrollTop = at * kRowHeight - this.scroller.clientHeight / 2;
  }

  onScroll() {
    const end = this.scroller.scrollHeight - this.scroller.clientHeight;
    const atEnd = this.scroller.scrollTop >= end - kRowHeight;
    // The own way to the end is told as well; only a user's scrolling leaves it.
    if (this.following && !atEnd && this.scroller.scrollTop < this.before) this.setFollowing(false);
    this.before = this.scroller.scrollTop;
    this.changed();
  }

  toEnd() {
    requestAnimationFrame(() => {
      this.spacer.style.height = `${this.items.length * kRowHeight}px`;
      this.before = 0;
      this.scroller.scrollTop = this.scroller.scrollHeight;
    });
  }

  onClick(event) {
    const place = event.target.closest('[data-index]');
    const item = place && this.items[Number(place.dataset.index)];
    if (!item || item.kind === 'gap' || item.kind === 'boot') return;
    if (item.kind === 'group' && event.target.closest('.fold')) this.fold(item.group, !item.group.folded);
    this.select(item.kind === 'group' ? item.group : item.row);
  }

  fold(group, on) {
    group.folded = on;
    this.following = false;
    byId('follow').setAttribute('aria-pressed', 'false');
    this.rebuild(this.store.groups.indexOf(group));
  }

  foldAll(on) {
    this.store.groups.forEach((group) => { group.folded = on; });
    this.rebuild(0);
    this.keepInSight();
  }

  select(target) {
    this.selected = target;
    this.onSelect(target);
    this.changed();
  }

  indexOf(target) {
    return this.items.findIndex((item) => (item.kind === 'group' ? item.group === target : item.kind === 'row' && item.row === target));
  }

  // Opens what hides a row, and shows it in the middle.
  goTo(row) {
    this.setFollowing(false);
    if (row.group.folded) this.fold(row.group, false);
    this.select(row === row.group.request ? row.group : row);
    const index = this.indexOf(this.selected);
    if (index >= 0) {
      this.spacer.style.height = `${this.items.length * kRowHeight}px`;
      this.scroller.scrollTop = (index + 0.5) * kRowHeight - this.scroller.clientHeight / 2;
    }
    this.scroller.focus({ preventScroll: true });
  }

  keepInSight() {
    if (!this.selected) return;
    let index = this.indexOf(this.selected);
    if (index < 0 && this.selected.group) index = this.indexOf(this.selected.group);  // folded away
    if (index < 0) return;
    this.spacer.style.height = `${this.items.length * kRowHeight}px`;
    const top = index * kRowHeight;
    if (top < this.scroller.scrollTop || top + kRowHeight > this.scroller.scrollTop + this.scroller.clientHeight) {
      this.scroller.scrollTop = top - this.scroller.clientHeight / 2;
    }
  }

  move(step) {
    let index = this.selected ? this.indexOf(this.selected) : -1;
    if (index < 0) index = Math.floor(this.scroller.scrollTop / kRowHeight) - 1;
    const direction = step < 0 ? -1 : 1;
    let at = Math.max(0, Math.min(this.items.length - 1, index + step));
    while (this.items[at] && (this.items[at].kind === 'gap' || this.items[at].kind === 'boot')) at += direction;
    const item = this.items[at];
    if (!item) return;
    if (this.following) this.setFollowing(false);
    this.select(item.kind === 'group' ? item.group : item.row);
    this.keepInSight();
  }

  onKey(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const page = Math.max(1, Math.floor(this.scroller.clientHeight / kRowHeight) - 2);
    const group = this.selected && (this.selected.rows ? this.selected : this.selected.group);
    const moves = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.items.length, End: this.items.length };
    if (event.key in moves) {
      this.move(moves[event.key]);
    } else if (event.key === 'ArrowLeft' && group) {
      this.select(group);
      this.fold(group, true);
      this.keepInSight();
    } else if (event.key === 'ArrowRight' && group) {
      this.fold(group, false);
    } else if (event.key === 'Enter' && this.selected?.rows) {
      this.fold(this.selected, !this.selected.folded);
    } else {
      return;
    }
    event.preventDefault();
  }
}

export const kKnown = new Set(['model', 'flash', 'meta', 'keys', 'apm', 'csp', 'shell', 'mount', 'sync', 'line', 'ctl', 'power',
  'trace', 'violation', 'event', 'stick', 'shell-end']);
const kCallOf = { shell: '$', 'shell-end': 'ends' };

function statusText(row) {
  const { json } = row;
  if (json.who === 'shell-end') return `status ${json.status}`;
  if (!('status' in json)) return '';
  if (json.status === 0) return 'ok';
  return typeof json.status === 'number' ? `status ${json.status}` : String(json.status);
}
