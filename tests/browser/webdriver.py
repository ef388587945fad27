"""A headless Chromium, driven through chromedriver by the W3C WebDriver protocol: plain HTTP and JSON."""
import json
import os
import re
import shutil
import subprocess
import time
import urllib.error
import urllib.request

ELEMENT = 'element-6066-11e4-a52e-4f735466cecf'
PATIENCE = 60  # seconds; only a fault ever waits so long
DIRECT = urllib.request.build_opener(urllib.request.ProxyHandler({}))
KEYS = {'Enter': '\ue007', 'Escape': '\ue00c', 'Shift': '\ue008', 'Tab': '\ue004'}


def missing():
    """What is not installed here; empty if a browser can be run."""
    return ' and '.join(name for name in ('chromium', 'chromedriver') if not shutil.which(name))


class Refused(Exception):
    """An answer of the browser that is an error."""


class Browser:
    longest_call = 200  # seconds; shorter than the time that a test has, so that the browser is ended

    def __init__(self, folder, *arguments, language='en'):
        """`folder` takes the browser's profile and the driver's log."""
        os.makedirs(folder, exist_ok=True)
        self.driver = subprocess.Popen(
            ['chromedriver', '--port=0', f'--log-path={folder}/driver.log'], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        told = ''
        while not (port := re.search(r'successfully on port (\d+)', told)):
            line = self.driver.stdout.readline()
            assert line, f'chromedriver did not start: {told}'
            told += line
        self.session = f'http://127.0.0.1:{port[1]}/session'
        switches = ['--headless=new', f'--user-data-dir={folder}/profile', '--disable-dev-shm-usage',
                    '--disable-gpu', '--no-first-run', '--disable-background-networking',
                    '--no-sandbox',  # which root and containers have not; the pages are our own
                    '--window-size=1200,800', f'--lang={language}', f'--accept-lang={language}',
                    *arguments]
        options = {'binary': shutil.which('chromium'), 'args': switches}
        try:
            made = self.call('POST', '', capabilities={'alwaysMatch': {
                'goog:chromeOptions': options, 'goog:loggingPrefs': {'browser': 'ALL'},
                'timeouts': {'script': 600000, 'pageLoad': 600000}}})
        except BaseException:
            self.driver.kill()
            raise
        self.session += '/' + made['sessionId']

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.longest_call = 30
        try:
            self.call('DELETE', '')
        finally:
            self.driver.terminate()
            self.driver.wait(PATIENCE)

    def call(self, method, path, **body):
        request = urllib.request.Request(
            self.session + path, method=method, headers={'Content-Type': 'application/json'},
            data=json.dumps(body).encode() if method == 'POST' else None)
        try:
            with DIRECT.open(request, timeout=self.longest_call) as answer:
                return json.load(answer)['value']
        except urllib.error.HTTPError as error:
            raise Refused(json.load(error)['value']['message']) from None

    def open(self, path):
        self.call('POST', '/url', url=path if ':' in path else 'file://' + path)

    def js(self, text, *arguments):
        """The value of an expression, in which `arguments` has what is given."""
        return self.call('POST', '/execute/sync', script=f'return {text}', args=arguments)

    def wait(self, text, *arguments):
        """Until an expression is true; answers its value."""
        end = time.monotonic() + PATIENCE
        while not (value := self.js(text, *arguments)):
            assert time.monotonic() < end, f'never came true: {text} {arguments}'
            time.sleep(0.02)
        return value

    def find(self, selector):
        return self.call('POST', '/element', using='css selector', value=selector)[ELEMENT]

    def click(self, selector):
        self.call('POST', f'/element/{self.find(selector)}/click')

    def type(self, selector, text):
        self.call('POST', f'/element/{self.find(selector)}/value', text=text)

    def press(self, *keys):
        """One key after the other, to what has the focus; "Shift+N" and names as in KEYS."""
        steps = []
        for key in keys:
            names = [KEYS.get(name, name) for name in key.split('+')]
            steps += [{'type': 'keyDown', 'value': name} for name in names]
            steps += [{'type': 'keyUp', 'value': name} for name in reversed(names)]
        self.call('POST', '/actions', actions=[{'type': 'key', 'id': 'keys', 'actions': steps}])

    def windows(self):
        return self.call('GET', '/window/handles')

    def switch(self, window):
        self.call('POST', '/window', handle=window)

    def cdp(self, command, **parameters):
        return self.call('POST', '/goog/cdp/execute', cmd=command, params=parameters)

    def complaints(self):
        """What the page's console has of warnings and errors since the last call."""
        return [entry['message'] for entry in self.call('POST', '/se/log', type='browser')]
