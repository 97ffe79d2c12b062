// MATCH, as `simset ctl trace --match` has it: terms between blanks that must all hold; member=GLOB, or a word that the
// row's line contains. Double quotes hold a text with blanks together.

export function splitTerms(text, quotes = '"') {
  const terms = [];
  let term = '';
  let quoted = '';  // the quote that is open
  let begun = false;
  for (const c of text) {
    if (c === quoted || (!quoted && quotes.includes(c))) {
      quoted = quoted ? '' : c;
      begun = true;
    } else if (/\s/.test(c) && !quoted) {
      if (begun) terms.push(term);
      term = '';
      begun = false;
    } else {
      term += c;
      begun = true;
    }
  }
  if (begun) terms.push(term);
  return terms;
}

// A text with the shell's wildcards as a regular expression for the whole of a text.
export function globToRegExp(glob) {
  let out = '';
  for (let i = 0; i < glob.length; ++i) {
    const c = glob[i];
    const close = c === '[' ? glob.indexOf(']', i + 2) : -1;
    if (c === '*') {
      out += '[^]*';
    } else if (c === '?') {
      out += '[^]';
    } else if (close > 0) {
      const set = glob.slice(i + 1, close).replace(/[\\\]^]/g, '\\$&').replace(/^(!|\\\^)/, '^');
      out += `[${set}]`;
      i = close;
    } else {
      out += c.replace(/[.*+?^${}()|[\]\\/]/g, '\\$&');
    }
  }
  return new RegExp(`^${out}$`, 'u');
}

function asText(value) {
  return typeof value === 'string' ? value : JSON.stringify(value);
}

// Whether a row ({json, line}) fulfils the text; every row does when it is empty.
export function compileMatch(text) {
  const tests = splitTerms(text).map((term) => {
    const equals = term.indexOf('=');
    if (equals > 0 && /^[\w.-]+$/.test(term.slice(0, equals))) {
      const member = term.slice(0, equals);
      let pattern;
      try {
        pattern = globToRegExp(term.slice(equals + 1));
      } catch {
        return () => false;  // a set of characters that makes no sense fits nothing
      }
      return (row) => Object.hasOwn(row.json, member) && pattern.test(asText(row.json[member]));
    }
    return (row) => row.line.includes(term);
  });
  return (row) => tests.every((test) => test(row));
}
