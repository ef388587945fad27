#!/usr/bin/env python3
"""Measures in Chromium how a large log opens, folds and is searched.

    measure.py PAGE [WORD]      a page that LogHTML wrote, and a word to search for

A log of 100 MB with 200,000 sections:  kvor log demo /tmp/large --sections 200000

Each line is a step, in seconds: how long until it could be seen; the longest task meanwhile, which is
how long the page did not answer; and the processor time of the page's thread, which other work on the
machine does not lengthen.
"""
import os
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(HERE, '../../tests/browser'))
from webdriver import Browser  # noqa: E402

# Tasks of 50 ms and more, from the first one on.
OBSERVER = '''
window.longest = 0;
new PerformanceObserver((list) => {
  for (const task of list.getEntries()) longest = Math.max(longest, task.duration);
}).observe({type: 'longtask', buffered: true});
'''
# The second frame from now on begins when the first one has been drawn.
DRAWN = '''
const done = arguments[arguments.length - 1];
requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done)));
'''


def drawn(browser):
    browser.call('POST', '/execute/async', script=DRAWN, args=[])


def renderer_peak():
    """The largest resident set of the renderers that this program has started, in MB."""
    mine = {os.getpid()}
    peak = 0
    processes = []
    for pid in filter(str.isdigit, os.listdir('/proc')):
        try:
            with open(f'/proc/{pid}/stat') as file:
                parent = int(file.read().rsplit(')', 1)[1].split()[1])
            with open(f'/proc/{pid}/cmdline', errors='replace') as file:
                processes.append((int(pid), parent, file.read()))
        except OSError:
            continue
    for pid, parent, command in sorted(processes):
        if parent in mine:
            mine.add(pid)
            if '--type=renderer' in command:
                with open(f'/proc/{pid}/status') as file:
                    peak = max(peak, *(int(line.split()[1]) for line in file if 'VmHWM' in line))
    return peak / 1024


def report(browser, name, seconds):
    longest = browser.js('Math.round(longest)') / 1000
    metrics = browser.cdp('Performance.getMetrics')['metrics']
    work = next(metric['value'] for metric in metrics if metric['name'] == 'TaskDuration')
    print(f'{name:<32}{seconds:8.2f}{longest:8.2f}{work - report.before:8.2f}{renderer_peak():9.0f} MB',
          flush=True)
    report.before = work
    browser.js('(longest = 0)')


report.before = 0


def step(browser, name, action, until='true'):
    start = time.monotonic()
    action()
    browser.wait(until)
    drawn(browser)
    report(browser, name, time.monotonic() - start)


def main():
    page, word = os.path.abspath(sys.argv[1]), (sys.argv + ['нетопырь'])[2]
    Browser.longest_call = 900
    with tempfile.TemporaryDirectory() as folder, Browser(folder) as browser:
        browser.cdp('Page.addScriptToEvaluateOnNewDocument', source=OBSERVER)
        browser.cdp('Performance.enable', timeDomain='threadTicks')
        print(f'{"":<32}{"seen":>8}{"frozen":>8}{"work":>8}{"peak memory":>12}')
        start = time.monotonic()
        browser.open(page)
        drawn(browser)
        loaded = time.monotonic() - start
        paint = browser.js('performance.getEntriesByName("first-contentful-paint")[0].startTime')
        print(f'{"first paint":<32}{paint / 1000:8.2f}')
        report(browser, 'all read, ready', loaded)
        key = browser.press
        step(browser, 'fold all', lambda: key('f'))
        step(browser, 'unfold to level 2', lambda: key('2'))
        step(browser, 'unfold all', lambda: key('u'))
        step(browser, 'to the end of the page', lambda: browser.js('scrollTo(0, 1e9)'))
        step(browser, 'fold all, at the end', lambda: key('f'))
        step(browser, 'unfold one section', lambda: key('j', 'Enter'))
        step(browser, 'next error', lambda: key('e'))
        step(browser, 'previous error, the last one', lambda: key('Shift+e', 'Shift+e'))
        key('/')
        step(browser, f'first match of {word}', lambda: browser.type('#bar input', word),
             'document.querySelector("#bar .group-of-controls output").value.startsWith("1 / ")')
        step(browser, 'all matches', lambda: None,
             '/(^|100000.)$|[0-9]$/.test(document.querySelector("#bar .group-of-controls output").value)')
        print('    ', browser.js('document.querySelector("#bar .group-of-controls output").value'))
        step(browser, 'the last match', lambda: key('Shift+Enter'))
        browser.js('(window.all = document.querySelectorAll("pre[id]")).length')
        step(browser, 'link to the middle',
             lambda: browser.js('(location.hash = all[all.length >> 1].id)'))
        step(browser, 'other theme', lambda: key('Escape', 't'))


main()
