#!/usr/bin/env python3
"""Opens logs that the library wrote in Chromium. Each function named case_… is one test, with a browser
of its own and a folder of logs: analysis.html of `kvor log demo`, odd.html and long.html of the writer.

    logpage.py --list                 the names of all cases
    logpage.py KVOR WRITER NAME...    runs these cases; all cases without names
"""
import os
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing is left among the sources
from webdriver import Browser, missing  # noqa: E402

SKIPPED = 77
# Whether an element can be seen: it has a place, in the window, and not behind the bar.
LIBRARY = '''
window.placed = (node) => node.getClientRects().length > 0;
window.seen = (node) => {
  const range = document.createRange();
  range.selectNodeContents(node);
  const {top, bottom, height} = (node.localName === 'img' ? node : range).getBoundingClientRect();
  const bar = document.getElementById('bar').getBoundingClientRect();
  return placed(node) && height > 0 && top >= bar.bottom - 1 && bottom <= innerHeight + 1;
};
window.heading = (text, n = 0) =>
  [...document.querySelectorAll('h1')].filter((h1) => h1.textContent === text)[n];
window.section = (text, n) => heading(text, n).nextElementSibling;
window.rows = () => [...document.querySelectorAll('h1')].filter(placed).map((h1) => h1.textContent);
window.outputs = () => [...document.querySelectorAll('#bar output')].map((output) => output.value);
window.contrast = (node) => {
  const canvas = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
  const light = (color) => {
    canvas.fillStyle = color; canvas.fillRect(0, 0, 1, 1);  // over what is there
    const [r, g, b] = [...canvas.getImageData(0, 0, 1, 1).data].map((value) => value / 255)
      .map((part) => (part <= 0.04 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
    return 0.2126 * r + 0.7152 * g + 0.0722 * b + 0.05;
  };
  const holders = [document.body];
  for (let at = node; at !== document.body; at = at.parentElement) holders.splice(1, 0, at);
  const ground = holders.map((at) => light(getComputedStyle(at).backgroundColor)).pop();
  const ratio = light(getComputedStyle(node).color) / ground;
  return Math.max(ratio, 1 / ratio);
};
'''
SENTENCES = ['The old bat saw a cat in the house.', 'Старая кошка видит серую мышь.',
             'Кoт спит в доме.', 'He saw the bat <"&">.']
TOP = ['What the analysis works with', *SENTENCES, 'Times']
FIRST = SENTENCES[0]


def show(b, page='analysis.html'):
    b.open(f'{os.getcwd()}/{page}')
    b.js('eval(arguments[0])', LIBRARY)


def same(found, expected):
    assert found == expected, f'{found!r}\ninstead of\n{expected!r}'


def place(b, text, n=0):
    """Clicks a heading where a user does."""
    b.js('heading(...arguments).scrollIntoView({block: "center"})', text, n)
    b.js('heading(...arguments).id', text, n)
    b.click('#' + b.js('heading(...arguments).id', text, n))


# ---- sections ---------------------------------------------------------------------------------


def case_section_folds_by_click_and_by_key(b):
    show(b)
    before = b.js('rows()')
    for fold in (lambda: place(b, 'Words'), lambda: b.press('Enter'), lambda: b.press(' ')):
        fold()
        assert b.js('!placed(section("Words")) && placed(section("Tree")) && placed(section("Words", 1))')
        same(b.js('heading("Words").firstElementChild.ariaExpanded'), 'false')
        place(b, 'Words')
        assert b.js('placed(section("Words")) && heading("Words").firstElementChild.ariaExpanded === "true"')
        same(b.js('rows()'), before)
    place(b, 'Items of the text')  # which was folded when it was written
    assert b.js('placed(section("Items of the text"))')
    for _ in range(2):  # the second one goes to where the page is already
        b.js('heading("Words").querySelector("a").click()')
    assert b.js('placed(section("Words"))'), 'the link of a heading does not fold it'
    b.js('heading("Words").firstElementChild.focus()')
    for keys, text in (['j'], 'The'), (['k', 'k'], 'Items of the text'):
        b.press(*keys)
        same(b.js('document.activeElement.parentElement.textContent'), text)
    b.press('Enter', 'j', 'Shift+Tab')  # on to the next, and back as the Tab key goes
    assert b.js('!placed(section("Items of the text"))')


def case_everything_folds_and_unfolds_to_a_level(b):
    show(b)
    b.press('f')
    same(b.js('rows()'), TOP)
    place(b, FIRST)
    assert b.js('rows()')[1:7] == [FIRST, 'Items of the text', 'Words', 'Readings: 24', 'Tree', SENTENCES[1]]
    place(b, 'Words')
    assert b.js('placed(heading("The")) && !placed(section("The"))')
    b.press('2')
    assert b.js('!placed(section("The")) && placed(section("Items of the text")) && placed(heading("bat"))')
    same(b.js('document.querySelector("#bar select").value'), '2')
    b.press('u')
    assert b.js('[...document.querySelectorAll("#log h1, #log pre")].every(placed)')
    b.js('(document.querySelector("#bar select").value = 1,'
         'document.querySelector("#bar select").dispatchEvent(new Event("change")))')
    assert len(b.js('rows()')) == b.js('document.querySelectorAll("#log > h1, #log > pre > h1").length')


def case_rows_stand_close_without_empty_lines(b):
    """Every heading and text line follows the one before at once, whatever line ends the log has."""
    show(b)
    b.js('(document.head.appendChild(document.createElement("style")).textContent ='  # what is off screen
         '"pre { content-visibility: visible !important; } img { display: none; }")')  # would be guessed
    for keys in [], ['u'], ['f'], ['2']:
        b.press(*keys)
        gaps = b.js('''(() => {
          const texts = document.createTreeWalker(document.getElementById('log'), NodeFilter.SHOW_TEXT);
          const range = document.createRange();
          const tops = [];
          while (texts.nextNode()) {
            range.selectNode(texts.currentNode);
            tops.push(...[...range.getClientRects()].filter(({width}) => width > 0).map(({top}) => top));
          }
          tops.sort((a, b) => a - b);
          return tops.slice(1).map((top, at) => top - tops[at]);
        })()''')
        assert all(0 <= gap < 1 or gap > 19 for gap in gaps), (keys, gaps)
        same(len([gap for gap in gaps if gap > 21]), 0 if keys == ['f'] else 4)  # behind each picture


def case_odd_texts_are_shown_as_they_were_logged(b):
    show(b, 'odd.html')
    with open('texts.txt', encoding='utf-8', newline='') as file:
        texts = file.read().split('\0')[:-1]
    same(b.js('[...document.querySelectorAll("#log > pre > pre")].map((pre) => pre.textContent)'),
         [text + '\n' for text in texts])
    same(b.js('heading(arguments[0]) !== undefined', texts[0]), True)
    assert b.js('!document.querySelector("#log script, #log b") && !placed(section("Text"))')
    b.press('u')
    assert b.js('document.documentElement.scrollWidth <= innerWidth'), 'long lines are broken'
    assert b.js('document.querySelector("pre.plain").textContent.startsWith("Without a heading, 100%An ")')
    b.wait('document.querySelector("img.missing")?.naturalWidth > 0')
    assert b.js('document.querySelector("img.missing").src.endsWith("nada.png")')
    b.press('f')
    same(b.js('rows()'), [texts[0], 'Empty', 'Unclosed'])
    assert b.js('placed(document.querySelector("pre.plain"))'), 'nothing would be left to unfold it by'
    b.complaints()  # of the missing picture


# ---- finding ----------------------------------------------------------------------------------


def case_search_counts_and_shows_what_is_folded(b):
    show(b)
    whole = b.js('document.getElementById("log").textContent').lower()
    b.press('f')
    same(b.js('''document.body.dispatchEvent(new KeyboardEvent('keydown',
      {key: '/', code: 'Digit7', shiftKey: true, bubbles: true})) && document.activeElement.type'''), 'search')
    at = '[...CSS.highlights.get("current-match")][0]'
    for text in 'house', 'ОТБИВАТЬ', '<"&">', 'ß.*', 'house1', 'bat':
        b.js('(document.querySelector("#bar input").value = "")')
        b.type('#bar input', text)
        count = whole.count(text.lower())
        b.wait('outputs()[0] === arguments[0]', f'{min(count, 1)} / {count}')
        if count:
            same(b.js(f'{at}.toString().toLowerCase()'), text.lower())
            b.wait(f'seen({at}.startContainer.parentElement)')
    b.press('Shift+Enter')
    same(b.js('outputs()[0]'), f'{count} / {count}')
    b.wait(f'seen({at}.startContainer.parentElement)')
    b.press('Enter', 'Enter', 'Escape', 'n', 'n', 'Shift+N')
    same(b.js('outputs()[0]'), f'3 / {count}')
    for step in range(count):
        b.press('n')
        same(b.js(f'{at}.toString().toLowerCase()'), 'bat')
        b.wait(f'{at}.getBoundingClientRect().top > 30 && {at}.getBoundingClientRect().bottom < innerHeight')


def case_errors_are_jumped_to(b):
    show(b)
    b.press('f')
    same(b.js('outputs()[1]'), '– / 3')
    for key, number, part in (('e', 1, 'no letter'), ('e', 2, 'dictionary'), ('e', 3, 'No tree'),
                              ('e', 1, 'no letter'), ('Shift+E', 3, 'No tree')):
        b.press(key)
        same(b.js('outputs()[1]'), f'{number} / 3')
        assert part in b.js('document.activeElement.textContent')
        b.wait('seen(document.activeElement)')


def case_link_opens_what_holds_its_section(b):
    show(b)
    number = b.js('section("серую").id')
    show(b, f'analysis.html?again#{number}')
    b.press('f')
    b.js('(location.hash = "", location.hash = arguments[0])', number)
    b.wait('seen(heading("серую")) && placed(section("серую"))')
    assert b.js('!placed(section("Times"))')
    show(b, f'analysis.html#{b.js("section(`Reading 1: no tree of all words`, 1).id")}')
    b.wait('seen(heading("Reading 1: no tree of all words", 1))')
    b.press('k', 'k', 'l')
    same(b.js('location.hash'), '#' + b.js('document.activeElement.parentElement.nextElementSibling.id'))


# ---- around the text --------------------------------------------------------------------------


def case_alternatives_open_beside_and_pictures_stand_beside(b):
    show(b)
    place(b, 'Readings: 24')
    first = b.windows()
    place(b, 'Группа альтернатив №2')
    side = next(iter(set(b.windows()) - set(first)))
    b.switch(side)
    b.wait('document.readyState === "complete"')
    b.js('eval(arguments[0])', LIBRARY)
    same(b.js('document.title'), 'Группа альтернатив №2')
    assert re.search(r'Reading 12: .*\nThe \(definite-article\) .*\n\[', b.js('document.body.innerText'))
    b.press('f')
    assert b.js('rows().length === 6 && !placed(section(rows()[0]))')
    b.switch(first[0])
    box = 'document.querySelector("img.tree").getBoundingClientRect()'
    b.js('document.querySelector("img.tree").scrollIntoView()')
    b.wait('document.querySelector("img.tree").naturalWidth > 300')
    line = '''(() => {const range = document.createRange();
      range.selectNodeContents(section("Tree").lastChild); return range.getClientRects()[0]; })()'''
    assert b.js(f'{box}.left > {line}.right && {box}.top < {line}.bottom + 21 && {box}.right <= innerWidth')
    small = b.js(f'{box}.width')
    b.click('img.tree')
    assert b.js(f'{box}.width > arguments[0]', small)
    b.js('(section("Tree").scrollLeft = 1e6)')
    assert b.js(f'{box}.right <= innerWidth'), 'all of it can be seen'
    b.click('img.tree')
    same(b.js(f'{box}.width'), small)
    b.js('section("Tree").scrollIntoView()')


def case_page_can_be_read_without_script(b):
    b.cdp('Emulation.setScriptExecutionDisabled', value=True)
    b.open(f'{os.getcwd()}/analysis.html')
    assert b.js('[...document.querySelectorAll("#log *")].every((node) => node.getClientRects().length > 0)')
    assert b.js('document.getElementById("bar")') is None
    b.js('scrollTo(0, 1e9)')
    b.wait('document.body.innerText.includes("Обработано предикатов")')


def case_theme_follows_the_system_and_the_switch(b):
    show(b)
    ground = 'getComputedStyle(document.body).backgroundColor'
    grounds = []
    for system in 'light', 'dark':
        b.cdp('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': system}])
        grounds.append(b.js(ground))
        for what in ('.error', '.KvorError', 'h1', 'pre', '#bar output', '#bar button', '#bar label'):
            assert b.js('contrast(document.querySelector(arguments[0]))', what) >= 4.5, (system, what)
    light, dark = grounds
    assert light != dark
    for act, then in (lambda: b.press('t'), dark), (lambda: b.press('t'), light), (lambda: show(b), light), (
            lambda: b.press('t'), dark):  # the choice is kept; then the system's again
        act()
        same(b.js(ground), then)


def case_bar_and_help_speak_russian_to_russians(b):
    show(b)
    b.press('?')
    assert b.js('document.querySelector("dialog").open')
    assert 'развернуть до уровня' in b.js('document.querySelector("dialog").innerText')
    b.press('f', 'Escape')
    assert b.js('!document.querySelector("dialog").open && rows().length > 6'), 'keys are the help\'s'


def case_long_log_keeps_its_order_and_scrolls_to_its_end(b):
    show(b, 'long.html')
    inner = 'Inner\n' * 1000
    same(b.js('document.getElementById("log").textContent'), ''.join(
        f'Rowrow {n}\n{inner * (n == 1000)}\n' + f'between {n}\n' * (n % 10 == 0) + 'odd one\n' * (n == 7)
        for n in range(1, 2001)))
    assert b.js('[...document.querySelectorAll("#log h1")].every('
                '(h1) => h1.nextElementSibling?.id === h1.id.replace("h", "_"))'), 'groups part no section'
    assert b.js('Math.max(...[...document.querySelectorAll("#log, #log *")].map((node) => node.childElementCount))'
                ' < 700'), 'long rows are put into groups'
    for key in 'f', 'u', '1':
        b.press(key)
        b.js('scrollTo(0, 1e9)')
        last = 'document.querySelectorAll("#log h1")[2999]'
        b.wait(f'(scrollTo(0, 1e9), seen({last}))')
        assert b.js(f'Math.abs(document.documentElement.scrollHeight - scrollY - innerHeight) < 2')
        same(b.js(f'placed({last}.nextElementSibling)'), key != 'f')
    b.press('f')
    b.js('scrollTo(0, 0)')
    for _ in range(250):
        b.press('j')
    b.wait('seen(document.activeElement)')
    same(b.js('document.activeElement.parentElement.id'), 'h250')
    b.press('Enter', '/')
    b.type('#bar input', 'row 1777')
    b.wait('outputs()[0] === "1 / 1" && placed(document.getElementById("_2777"))')
    b.wait('seen(document.getElementById("_2777"))')


CASES = {name[5:]: case for name, case in globals().items() if name.startswith('case_')}
if sys.argv[1] == '--list':
    sys.exit(print('\n'.join(CASES)))
if missing():
    print(f'skipped: {missing()} not installed (packages.txt, section test)')
    sys.exit(SKIPPED)
tool, writer = map(os.path.abspath, sys.argv[1:3])
for chosen in sys.argv[3:] or CASES:
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        os.chdir(folder)
        os.environ.update(HOME=folder, USERPROFILE=folder, XDG_CONFIG_HOME='')
        subprocess.run([tool, 'log', 'demo', '.'], check=True, stdout=subprocess.DEVNULL)
        subprocess.run([writer], check=True)
        language = 'ru' if 'russian' in chosen else 'en'
        with Browser(f'{folder}/browser', language=language) as browser:
            CASES[chosen](browser)
            same(browser.complaints(), [])
        os.chdir('/')
