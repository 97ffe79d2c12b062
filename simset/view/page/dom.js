// Elements without markup: what comes from the set is text and stays text.

export function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (name === 'class') element.className = value;
    else if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name in element && name !== 'list') element[name] = value;
    else element.setAttribute(name, value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

export function byId(id) {
  return document.getElementById(id);
}

export function seconds(ms) {
  return (ms / 1000).toFixed(3);
}

export function duration(ms) {
  if (ms < 1000) return `${Math.round(ms)} ms`;
  if (ms < 60000) return `${(ms / 1000).toFixed(ms < 10000 ? 2 : 1)} s`;
  return `${Math.floor(ms / 60000)} min ${Math.round((ms % 60000) / 1000)} s`;
}

export function plural(count, word) {
  return `${count.toLocaleString('en')} ${word}${count === 1 ? '' : 's'}`;
}

// Copies a text and says so on the button for a moment.
export async function copy(text, button) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // Without a secure context there is no clipboard of that kind.
    const field = el('textarea', { value: text, class: 'offscreen' });
    document.body.append(field);
    field.select();
    document.execCommand('copy');
    field.remove();
  }
  const before = button.textContent;
  button.textContent = 'copied';
  setTimeout(() => { button.textContent = before; }, 900);
}

// A word as the shell takes it.
export function shellWord(word) {
  return /^[\w@%+=:,./-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;
}
