// What the page asks of simset.

import { shellWord } from './dom.js';

const token = new URLSearchParams(location.search).get('token') ?? '';
let stateFolder = 'DIR';

export function setState(folder) {
  stateFolder = folder;
}

// A verb as one would type it.
export function asTyped(words) {
  return words.map(shellWord).join(' ');
}

export function asCommand(words) {
  return `simset ctl --state ${shellWord(stateFolder)} ${asTyped(words)}`;
}

// Carries verbs out. Answers with as many {ok, out} or {ok, error}.
export async function ctl(verbs) {
  const answer = await fetch('ctl', {
    method: 'POST',
    headers: { 'Content-Type': 'application/json', 'X-Simset-Token': token },
    body: JSON.stringify(verbs),
  });
  if (!answer.ok) throw new Error(await answer.text());
  return answer.json();
}

// The panel's picture: {tag, blob}, {tag} when it is still the one with `known`, or {missing: why}.
export async function panel(known) {
  const headers = { 'X-Simset-Token': token };
  if (known) headers['If-None-Match'] = known;
  const answer = await fetch('panel.png', { headers, cache: 'no-store' });
  if (answer.status === 304) return { tag: known };
  if (!answer.ok) return { missing: await answer.text() };
  return { tag: answer.headers.get('ETag'), blob: await answer.blob() };
}

// Follows the trace. `take` has hello(facts), rows(lines), ended(), lost() and refused().
export function follow(take) {
  let source = null;
  let last = '0';
  const open = () => {
    source = new EventSource(`events?since=${last}&token=${encodeURIComponent(token)}`);
    source.addEventListener('hello', (event) => take.hello(JSON.parse(event.data)));
    source.addEventListener('rows', (event) => {
      last = event.lastEventId || last;
      take.rows(event.data.split('\n'));
    });
    source.addEventListener('ended', () => take.ended());
    source.addEventListener('error', async () => {
      if (source.readyState !== EventSource.CLOSED) {
        take.lost();
        return;
      }
      // A refusal ends the source for good; whether it was one only another request tells.
      try {
        const answer = await fetch('ctl', { method: 'POST', headers: { 'Content-Type': 'application/json', 'X-Simset-Token': token },
          body: '[]' });
        if (answer.status === 403 || answer.status === 421) {
          take.refused();
          return;
        }
      } catch {
        // Nobody is there: that may change.
      }
      take.lost();
      setTimeout(open, 1000);
    });
  };
  open();
}
