// The log page: sections that fold, search, errors, links to sections, side pages, light and dark.
//
// A log may have 200,000 sections and 100 MB of text, so nothing here is done for every section:
// one rule of style folds all sections below a level, attributes mark the exceptions from it, and a
// heading gets its button when it comes on screen. Events of the whole page have one listener each.
// The log's markup calls toggle and openPopup; the rest is private. The file begins with a mark, since
// a page in UTF-16 would have it read as UTF-16 too.
(() => {
  'use strict';

  const russian = {
    bar: 'Управление журналом', foldAll: 'Свернуть всё', unfoldAll: 'Развернуть всё',
    level: 'Уровень', search: 'Поиск', previous: 'Назад', next: 'Вперёд', errors: 'Ошибки',
    previousError: 'Предыдущая ошибка', nextError: 'Следующая ошибка', help: 'Клавиши',
    theme: {auto: 'Тема: системная', dark: 'Тема: тёмная', light: 'Тема: светлая'},
    link: 'Ссылка на раздел', noImage: 'Нет изображения', close: 'Закрыть', none: 'нет',
    keys: [['F, U', 'свернуть всё, развернуть всё'], ['1 … 9', 'развернуть до уровня'],
      ['J, K', 'следующий, предыдущий заголовок'], ['Enter', 'свернуть или развернуть раздел'],
      ['/', 'поиск'], ['N, Shift+N', 'следующее, предыдущее вхождение'],
      ['E, Shift+E', 'следующая, предыдущая ошибка'], ['L', 'ссылка на раздел в строке адреса'],
      ['T', 'тема'], ['?', 'эта справка']],
  };
  const english = {
    bar: 'Log', foldAll: 'Fold all', unfoldAll: 'Unfold all',
    level: 'Level', search: 'Search', previous: 'Previous', next: 'Next', errors: 'Errors',
    previousError: 'Previous error', nextError: 'Next error', help: 'Keys',
    theme: {auto: 'Theme: system', dark: 'Theme: dark', light: 'Theme: light'},
    link: 'Link to this section', noImage: 'No image', close: 'Close', none: 'none',
    keys: [['F, U', 'fold all, unfold all'], ['1 … 9', 'unfold to a level'],
      ['J, K', 'next, previous heading'], ['Enter', 'fold or unfold the section'],
      ['/', 'search'], ['N, Shift+N', 'next, previous match'],
      ['E, Shift+E', 'next, previous error'], ['L', 'link to the section in the address bar'],
      ['T', 'theme'], ['?', 'this help']],
  };
  const words = navigator.language.startsWith('ru') ? russian : english;

  const root = document.documentElement;
  const log = () => document.getElementById('log') || document.body;
  const loaded = () => document.readyState !== 'loading';

  function make(tag, properties, ...children) {
    const element = Object.assign(document.createElement(tag), properties);
    element.append(...children);
    return element;
  }

  // ---- sections: <h1 id="hN">title</h1><pre id="_N">…</pre>, nested in one another

  // The level that everything is unfolded to; null while each section is as the log says.
  let level = null;
  const exceptions = new Set();
  const levelRule = document.createElement('style');
  document.head.prepend(levelRule);

  const isSection = (node) => node !== null && node.localName === 'pre' && /^_\d+$/.test(node.id);
  // A link to a side page has the id of the next section's heading, so ids alone do not tell.
  const isHeading = (node) => node !== null && node.localName === 'h1' && /^h\d+$/.test(node.id);
  const isFolding = (node) => isHeading(node) && !node.classList.contains('hlink');

  function sectionOf(heading) {
    const next = heading.nextElementSibling;
    return isFolding(heading) && isSection(next) ? next : null;
  }

  function headingOf(section) {
    const previous = section.previousElementSibling;
    return isFolding(previous) ? previous : null;
  }

  function holderOf(node) {
    const element = node.nodeType === Node.ELEMENT_NODE ? node : node.parentElement;
    return element && element.closest('pre[id]');
  }

  function depthOf(section) {
    let depth = 0;
    for (let at = section; at; at = holderOf(at.parentNode)) ++depth;
    return depth;
  }

  function isFolded(section) {
    if (section.dataset.fold) return section.dataset.fold === 'shut';
    if (level === null) return section.style.display === 'none';
    return headingOf(section) !== null && depthOf(section) > level;
  }

  function mark(section, fold) {
    const heading = headingOf(section);
    for (const element of heading ? [section, heading] : [section]) {
      if (fold) element.dataset.fold = fold;
      else delete element.dataset.fold;
    }
    return heading;
  }

  function setFolded(section, folded) {
    exceptions.add(section);
    const heading = mark(section, folded ? 'shut' : 'open');
    if (heading) tellState(heading);
    dressSoon();
  }

  // Sections deeper than `newLevel` are folded, the others open. One without a heading stays open,
  // since nothing would be left of it to unfold it by.
  function setLevel(newLevel) {
    const kept = currentHeading();
    level = newLevel;
    for (const section of exceptions) mark(section, null);
    exceptions.clear();
    root.dataset.level = level;
    const holder = `body${' pre[id]'.repeat(Math.min(level, 9))}`;
    levelRule.textContent = level === Infinity ? '' :
      `:where(${holder} h1:not(.hlink)) + pre[id] { display: none !important; }
       :where(${holder}) h1[id] { background-image: url(plus.png); margin-bottom: var(--swallow); }`;
    dressed.forEach(tellState);
    bar.level.value = level >= 1 && level <= 9 ? level : '';
    if (kept) outermostHidden(kept).scrollIntoView({block: 'nearest'});
    dressSoon();
  }

  // The heading that is seen in the place of one that may have been folded away.
  function outermostHidden(heading) {
    let seen = heading;
    for (let at = holderOf(heading.parentNode); at; at = holderOf(at.parentNode))
      if (isFolded(at)) seen = headingOf(at) || at;
    return seen;
  }

  function unfoldAround(node) {
    for (let at = holderOf(node); at; at = holderOf(at.parentNode))
      if (isFolded(at)) setFolded(at, false);
  }

  window.toggle = (id) => {
    const section = document.getElementById(id);
    if (section) setFolded(section, !isFolded(section));
  };

  // ---- long rows of sections, put into groups while the page is read

  // The browser leaves out what is off screen, but has to ask each child of what is on screen.
  const GroupSize = 100;
  const LeastGrouped = 3 * GroupSize;
  const lastGroup = new WeakMap();

  // A group may begin there: not between a heading and its section.
  const beginsBlock = (node) => isHeading(node) || node.localName === 'div' ||
    (isSection(node) && headingOf(node) === null);

  // What is not followed by anything stays outside, since the page may still be growing there.
  function group(holder) {
    const last = lastGroup.get(holder);
    if (!last && holder.childElementCount < LeastGrouped) return;
    const range = document.createRange();
    let start = last ? last.nextSibling : holder.firstChild;
    let rows = 0;
    for (let at = start; at; at = at.nextSibling) {
      if (!(at instanceof Element) || !beginsBlock(at)) continue;
      if (rows++ < GroupSize) continue;
      range.setStartBefore(start);
      range.setEndBefore(at);
      const made = make('div', {className: 'group'});
      made.style.setProperty('--rows', GroupSize);
      made.append(range.extractContents());
      at.before(made);
      lastGroup.set(holder, made);
      start = at;
      rows = 1;
    }
  }

  // The mark before the log's text would be a line of its own.
  function dropMark() {
    const first = log().firstChild;
    if (first && first.nextSibling && first.data === '\uFEFF') first.remove();
  }

  // The sections that are open so far, from the outermost one.
  function groupWhileReading() {
    dropMark();
    for (let at = log(); at; at = isSection(at.lastElementChild) && at.lastElementChild) group(at);
    if (!loaded()) requestAnimationFrame(groupWhileReading);
  }

  // ---- headings on screen: a button each, so that keys and screen readers reach them

  const dressed = new Set();

  function tellState(heading) {
    const section = sectionOf(heading);
    const button = heading.firstElementChild;
    if (section && dressed.has(heading)) button.setAttribute('aria-expanded', !isFolded(section));
  }

  // The button has no listener: its click comes up to the heading, which has one in the markup.
  function dress(heading) {
    if (dressed.has(heading)) return;
    dressed.add(heading);
    heading.classList.add('dressed');
    heading.replaceChildren(make('button', {type: 'button'}, ...heading.childNodes));
    const section = sectionOf(heading);
    if (!section) return;
    heading.classList.toggle('empty', !section.hasChildNodes());
    heading.firstElementChild.setAttribute('aria-controls', section.id);
    const link = make('a', {className: 'anchor', href: `#${section.id}`, title: words.link});
    link.setAttribute('aria-label', words.link);
    heading.append(link);
    tellState(heading);
  }

  function dressImage(image) {
    if (image.tabIndex === 0) return;
    image.tabIndex = 0;
    image.setAttribute('role', 'button');
    image.alt = image.alt || image.getAttribute('src');
  }

  // The first child that reaches below the bar. Children stand below one another; those
  // that are folded away have no place, but each follows a heading that has one.
  function firstInWindow(children) {
    const top = bar.itself.getBoundingClientRect().bottom;
    let low = 0;
    let high = children.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      let at = middle;
      while (at > low && children[at].getClientRects().length === 0) --at;
      if (children[at].getBoundingClientRect().bottom > top) high = at;
      else low = middle + 1;
    }
    return low;
  }

  // The headings and images that are seen, from top to bottom. The browser can tell what is at a point,
  // but takes a tenth of a second for each on a large page.
  function* onScreen(holder = log()) {
    const {children} = holder;
    for (let at = firstInWindow(children); at < children.length; ++at) {
      const child = children[at];
      const frame = child.getBoundingClientRect();
      if (frame.top > window.innerHeight) return;
      if (isHeading(child) || child.matches('img.tree')) yield child;
      else if (child.matches('pre, .group') && frame.height > 0) yield* onScreen(child);
    }
  }

  // The next heading that is not folded away, or with -1 the one before.
  function neighbour(heading, direction) {
    const walker = document.createTreeWalker(log(), NodeFilter.SHOW_ELEMENT, (node) => {
      if (isHeading(node)) return NodeFilter.FILTER_ACCEPT;
      return isSection(node) && isFolded(node) ? NodeFilter.FILTER_REJECT : NodeFilter.FILTER_SKIP;
    });
    walker.currentNode = heading;
    return direction > 0 ? walker.nextNode() : walker.previousNode();
  }

  function dressVisible() {
    const seen = [...onScreen()];
    seen.filter((node) => !isHeading(node)).forEach(dressImage);
    const headings = seen.filter(isHeading);
    if (headings.length === 0) return;
    // One more at each end, so that the Tab key leads on.
    const ends = [neighbour(headings[0], -1), neighbour(headings[headings.length - 1], 1)];
    headings.concat(ends.filter(Boolean)).forEach(dress);
  }

  let dressing = 0;
  function dressSoon() {
    if (dressing) return;
    dressing = setTimeout(() => {
      dressing = 0;
      const before = dressed.size;
      dressVisible();
      if (dressed.size > before && search.at >= 0) paintMatches();
    }, 80);
  }

  const focusedHeading = () => document.activeElement && document.activeElement.closest('h1[id]');

  function currentHeading() {
    if (focusedHeading()) return focusedHeading();
    for (const node of onScreen()) if (isHeading(node)) return node;
    return null;
  }

  function focusHeading(heading) {
    dress(heading);
    heading.firstElementChild.focus();
    dressSoon();
  }

  function stepHeading(direction) {
    const focused = focusedHeading();
    const to = focused ? neighbour(focused, direction) : currentHeading();
    if (to) focusHeading(to);
  }

  // ---- bringing things into view

  // Sizes of what was never on screen are estimates, so the aim is taken again as they come true.
  function aimAt(measure, tries = 5) {
    const away = measure().top - window.innerHeight / 2;
    if (Math.abs(away) > window.innerHeight * 0.3) window.scrollBy(0, away);
    if (tries > 0) requestAnimationFrame(() => aimAt(measure, tries - 1));
    else dressSoon();
  }

  // Shows an element or a match. The range of a match is made anew each time, since it does not
  // outlive the moment when a heading gets its button.
  function show(place) {
    unfoldAround(place instanceof Element ? place : place.node);
    const target = () => (place instanceof Element ? place : rangeOf(place));
    aimAt(() => target().getBoundingClientRect());
  }

  function followLink() {
    const number = /^#[_h]?(\d+)$/.exec(location.hash);
    const section = number && document.getElementById(`_${number[1]}`);
    if (!section) return;
    unfoldAround(section);
    const heading = headingOf(section);
    if (heading) focusHeading(heading);
    show(heading || section);
  }

  function linkHere() {
    const heading = currentHeading();
    const section = heading && sectionOf(heading);
    if (section) location.hash = section.id;
  }

  // ---- errors

  let errorList = null;
  let errorAt = -1;

  function errors() {
    const list = errorList || log().querySelectorAll('.error, .KvorError');
    if (loaded()) errorList = list;
    return list;
  }

  const turn = (at, direction, count) =>
    at < 0 && direction < 0 ? count - 1 : (at + direction + count) % count;

  function stepError(direction) {
    const list = errors();
    if (list.length > 0) {
      errorAt = turn(errorAt, direction, list.length);
      const error = list[errorAt];
      show(error);
      error.tabIndex = -1;
      error.focus({preventScroll: true});
    }
    tellErrors();
  }

  function tellErrors() {
    const count = errors().length;
    bar.errors.value = count === 0 ? words.none : `${errorAt + 1 || '–'} / ${count}`;
  }

  // ---- search: in slices of time, so that the page stays alive

  const MostMatches = 100000;
  const SliceTime = 10;
  let search = {matches: [], at: -1, done: true};

  function startSearch(text) {
    clearTimeout(search.timer);
    search = {matches: [], at: -1, done: text === ''};
    if (text !== '') {
      search.pattern = new RegExp(text.replace(/[\\^$.*+?()[\]{}|/]/g, '\\$&'), 'giu');
      search.walker = document.createTreeWalker(log(), NodeFilter.SHOW_TEXT);
      scan(search);
    }
    paintMatches();
    tellMatches();
  }

  function scan(run) {
    const end = performance.now() + SliceTime;
    while (!run.done && performance.now() < end) {
      const node = run.walker.nextNode();
      run.done = node === null || run.matches.length >= MostMatches;
      if (node) collect(run, node);
    }
    if (!run.done) run.timer = setTimeout(scan, 0, run);
    if (run.at < 0 && run.matches.length > 0) stepMatch(1);
    tellMatches();
  }

  function collect(run, node) {
    for (const match of node.data.matchAll(run.pattern)) {
      if (run.matches.length >= MostMatches) return;
      run.matches.push({node, start: match.index, end: match.index + match[0].length});
    }
  }

  function stepMatch(direction) {
    if (search.matches.length === 0) return;
    search.at = turn(search.at, direction, search.matches.length);
    show(search.matches[search.at]);
    paintMatches();
    tellMatches();
  }

  function rangeOf(match) {
    const range = document.createRange();
    range.setStart(match.node, match.start);
    range.setEnd(match.node, match.end);
    return range;
  }

  // The match that is shown, and those near it.
  function paintMatches() {
    const here = search.matches.slice(Math.max(search.at, 0), search.at + 1).map(rangeOf);
    if (!window.Highlight || !CSS.highlights) {
      const selection = getSelection();
      selection.removeAllRanges();
      here.forEach((range) => selection.addRange(range));
      return;
    }
    const near = search.matches.slice(Math.max(search.at - 100, 0), search.at + 100).map(rangeOf);
    CSS.highlights.set('match', new Highlight(...near));
    const current = new Highlight(...here);
    current.priority = 1;
    CSS.highlights.set('current-match', current);
  }

  function tellMatches() {
    const {matches, at, done} = search;
    const more = !done || matches.length >= MostMatches ? '+' : '';
    bar.matches.value = search.pattern ? `${at + 1} / ${matches.length}${more}` : '';
  }

  // ---- side pages and images

  // The page may be named with a separator in front; it lies beside this one in any case.
  window.openPopup = (page, title) => {
    const address = encodeURIComponent(page.replace(/^[\\/]+/, ''));
    const opened = window.open(address, title, 'popup,width=900,height=700');
    if (opened) opened.focus();
    else location.href = address;
  };

  function enlarge(image) {
    const whole = image.classList.toggle('whole');
    const section = holderOf(image);
    if (section) section.classList.toggle('wide', whole);
  }

  function replaceMissing(image) {
    if (image.classList.contains('missing')) return;
    image.alt = `${words.noImage}: ${image.getAttribute('src')}`;
    image.title = image.alt;
    image.classList.add('missing');
    image.src = 'nada.png';
  }

  // ---- light and dark

  const themes = ['auto', 'dark', 'light'];

  // A browser may forbid pages from folders to keep anything.
  function stored(name, value) {
    try {
      if (value !== undefined) localStorage.setItem(name, value);
      return localStorage.getItem(name);
    } catch {
      return null;
    }
  }

  function setTheme(theme) {
    root.dataset.theme = themes.includes(theme) ? theme : 'auto';
    if (bar.theme) bar.theme.textContent = words.theme[root.dataset.theme];
  }

  function nextTheme() {
    const theme = themes[(themes.indexOf(root.dataset.theme) + 1) % themes.length];
    stored('kvor-theme', theme);
    setTheme(theme);
  }

  // ---- the bar and the keys

  const bar = {};

  function button(text, action, label = text) {
    const made = make('button', {type: 'button', onclick: action, title: label}, text);
    made.setAttribute('aria-label', label);
    return made;
  }

  function makeLevels() {
    const choose = () => bar.level.value && setLevel(Number(bar.level.value));
    bar.level = make('select', {onchange: choose}, make('option', {value: ''}, '–'));
    for (let n = 1; n <= 9; ++n) bar.level.append(make('option', {value: n}, `${n}`));
    return make('label', {}, `${words.level} `, bar.level);
  }

  function makeSearch() {
    let typing = 0;
    bar.search = make('input', {type: 'search', placeholder: words.search});
    bar.search.setAttribute('aria-label', words.search);
    bar.search.oninput = () => {
      clearTimeout(typing);
      typing = setTimeout(() => startSearch(bar.search.value), 200);
    };
    bar.search.onkeydown = (event) => {
      if (event.key === 'Enter') stepMatch(event.shiftKey ? -1 : 1);
      if (event.key === 'Escape') bar.search.blur();
    };
    bar.matches = make('output', {});
    return [bar.search, button('▲', () => stepMatch(-1), words.previous),
      button('▼', () => stepMatch(1), words.next), bar.matches];
  }

  function makeErrors() {
    bar.errors = make('output', {value: '…'});
    return make('span', {className: 'group-of-controls'}, `${words.errors} `, bar.errors, ' ',
      button('▲', () => stepError(-1), words.previousError),
      button('▼', () => stepError(1), words.nextError));
  }

  function makeHelp() {
    const rows = words.keys.map(([key, does]) => make('tr', {},
      make('th', {scope: 'row'}, key), make('td', {}, does)));
    bar.help = make('dialog', {}, make('table', {}, ...rows),
      button(words.close, () => bar.help.close()));
    bar.help.setAttribute('aria-label', words.help);
    return bar.help;
  }

  function makeBar() {
    bar.theme = button('', nextTheme);
    bar.theme.removeAttribute('aria-label');
    bar.itself = make('nav', {id: 'bar'},
      button(words.foldAll, () => setLevel(0)), button(words.unfoldAll, () => setLevel(Infinity)),
      makeLevels(), make('span', {className: 'group-of-controls'}, ...makeSearch()), makeErrors(), bar.theme,
      button('?', () => bar.help.showModal(), words.help));
    bar.itself.setAttribute('aria-label', words.bar);
    document.body.prepend(bar.itself, makeHelp());
  }

  const signs = {
    '/': () => bar.search.focus(),
    '?': () => bar.help.showModal(),
  };

  const actions = {
    KeyF: () => setLevel(0),
    KeyU: () => setLevel(Infinity),
    KeyJ: () => stepHeading(1),
    KeyK: () => stepHeading(-1),
    KeyN: (direction) => stepMatch(direction),
    KeyE: (direction) => stepError(direction),
    KeyL: () => linkHere(),
    KeyT: () => nextTheme(),
    Slash: (direction) => signs[direction > 0 ? '/' : '?'](),
  };

  // Keys go by their place, so that they work under a Cyrillic layout too; but what types a sign is
  // that sign, which lies above a digit in some layouts.
  function onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || bar.help.open) return;
    if (event.target.closest('input, select')) return;
    if (event.key === 'Enter' && event.target.matches('img.tree')) event.target.click();
    const digit = /^Digit([1-9])$/.exec(event.code);
    const action = signs[event.key] ||
      (digit ? () => setLevel(Number(digit[1])) : actions[event.code]);
    if (!action) return;
    event.preventDefault();
    action(event.shiftKey ? -1 : 1);
  }

  // Before the heading sees it: a click on its link does not fold.
  function onClick(event) {
    if (event.target.closest('a.anchor')) event.stopPropagation();
    if (event.target.matches('img.tree')) enlarge(event.target);
  }

  function onError(event) {
    if (event.target instanceof Element && event.target.matches('img.tree'))
      replaceMissing(event.target);
  }

  // A log that ended within sections has no line end behind them, so there is none to swallow.
  function easeUnclosed() {
    for (let at = log().lastElementChild; isSection(at); at = at.lastElementChild) {
      if (at.nextSibling !== null) return;
      for (const element of [at, headingOf(at)]) if (element) element.classList.add('unclosed');
    }
  }

  function nameWindow() {
    if (window.opener && window.name) document.title = window.name;
    else document.title = location.pathname.replace(/^.*\//, '');
    try {
      document.title = decodeURIComponent(document.title);
    } catch {
      // A percent sign of the name itself.
    }
  }

  function start() {
    const late = log().querySelectorAll(`pre > :nth-child(${LeastGrouped})`);
    for (const child of late) group(child.parentNode);
    easeUnclosed();
    tellErrors();
    dressVisible();
    followLink();
  }

  nameWindow();
  makeBar();
  setTheme(stored('kvor-theme'));
  document.addEventListener('keydown', onKey);
  document.addEventListener('click', onClick, true);
  document.addEventListener('error', onError, true);
  document.addEventListener('scroll', dressSoon, {passive: true});
  window.addEventListener('resize', dressSoon);
  window.addEventListener('hashchange', followLink);
  groupWhileReading();
  if (loaded()) start();
  else document.addEventListener('DOMContentLoaded', start);
})();
