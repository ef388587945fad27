"""Starts the shared library in a folder of its own, with data and a list of knowledge bases beside
it, for a user with a home of their own, and compares what the host hears and the registry keeps.

usage: startup.py LIBRARY PROBE
"""
import fcntl
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

LIBRARY, PROBE = map(os.path.abspath, sys.argv[1:])
REGISTRY = 'home/.config/kvor/registry'
HEAD = 'format = 1\n\n["Software\\\\Kvor-3\\\\KBase"]\n'
NO_LOCAL = 'KB <LOCAL>: Term file open error'


class Meanwhile(dict):
    """Values of a key that another process makes while the start waits to make it."""


# Each row: the words for the probe; the bases in the list file beside the library, if there is one;
# the values of the registry's key, if there is one; what the probe prints; and the values at the
# end, where they are others than before. A value of the registry is a base's file but for the
# unnamed one. The bases `good` and `also` are in order, `bare` has no terms, others are not there.
ROWS = [
    # Which list, which default.
    ('start', 'good also', None, 'start true:', 'good 3 <LOCAL> also good|good also',
     {'': 'good', 'good': 'good', 'also': 'also'}),
    ('start', '', None, 'user: Default KB list from file /lib/stdkbnames.lst is empty', 'start true:',
     '<LOCAL> 1 <LOCAL>|'),
    ('start', '/', None, "user: Can't load default KB list from file /lib/stdkbnames.lst",
     "start true: Can't load default KB list from file /lib/stdkbnames.lst", '<LOCAL> 1 <LOCAL>|'),
    ('-local start', None, None, f'start false: Локальная база знаний недоступна: ({NO_LOCAL}), '
     'остальные не указаны', ' 0 <LOCAL>|'),
    ('-local start', 'good', {'': 'good', 'good': 'good'}, 'start true:', 'good 1 <LOCAL> good|good'),
    ('start', 'good also', Meanwhile({'': 'also', 'also': 'more', 'more': 'more'}), 'start true:',
     'good 3 <LOCAL> also good|good also',
     {'': 'also', 'also': 'more', 'more': 'more', 'good': 'good'}),
    # Lists with something broken in them.
    ('start', 'gone good', None, 'start false: База gone не найдена', '<LOCAL> 2 <LOCAL> good|'),
    ('start', 'gone', None, 'start false: Ни одной базы из списка не загрузилось',
     '<LOCAL> 1 <LOCAL>|'),
    # Registries with something broken in them.
    ('start', None, {'good': 'good'}, 'start false: Ошибка конфигурации KB в реестре: '
     'не указана база знаний по умолчанию', '<LOCAL> 2 <LOCAL> good|'),
    ('start', None, {'': 'good', 'good': 'good', 'Also': 'also'},
     'start true: База Also: имя не соответствует имени файла', 'good 2 <LOCAL> good|'),
    ('start', None, {'': 'good', 'good': 'good', 'gone': 'gone'},
     'start true: Базу gone не удалось загрузить из файла', 'good 2 <LOCAL> good|'),
    ('start', None, {'': 'bare', 'good': 'good', 'bare': 'bare'},
     'start false: KB bare: Term file open error', '<LOCAL> 2 <LOCAL> bare good|'),
    ('-local start', None, {'': 'gone', 'gone': 'gone'},
     'start false: Нет ни одной корректной базы знаний', ' 0 <LOCAL>|'),
    ('start', None, 'damaged', 'start true:', '<LOCAL> 1 <LOCAL>|'),
    ('start', 'good', 'damaged', 'start false: Ошибка создания ключа Software\\Kvor-3\\KBase',
     'good 2 <LOCAL> good|'),
    # The caller's default, repeated calls, saving.
    ('start=none', 'good', {'': 'also', 'also': 'also'}, 'start false: База none не найдена',
     'also 2 <LOCAL> also|good'),
    ('start=also', 'good also', None, 'start true:', 'also 3 <LOCAL> also good|good also',
     {'': 'good', 'good': 'good', 'also': 'also'}),
    ('start start', None, None, 'start true:', '<LOCAL> 1 <LOCAL>|',
     'start true: Повторный вызов инициализации', '<LOCAL> 1 <LOCAL>|'),
    ('start start', None, {'': 'good', 'good': 'good'}, 'start true:', 'good 2 <LOCAL> good|',
     'start true: База good уже есть в списке', 'good 2 <LOCAL> good|'),
    ('stop start stop stop start', 'good', {'': 'also', 'also': 'also'}, 'stop true:', 'start true:',
     'also 2 <LOCAL> also|good', 'stop true:', 'stop true:', 'start true:',
     'also 2 <LOCAL> also|good'),
    ('throw start', '', None, 'throw true:', 'start false: Ошибка системы', '<LOCAL> 1 <LOCAL>|'),
    ('start add=bases/also.kb save', None, {'': 'good', 'good': 'good', 'gone': 'gone'},
     'start true: Базу gone не удалось загрузить из файла', 'good 2 <LOCAL> good|', 'add true:',
     'save true:', {'': 'good', 'good': 'good', 'also': 'bases/also.kb'}),
]


def write(name, text):
    os.makedirs(os.path.dirname(name), exist_ok=True)
    with open(name, 'w', encoding='utf-8') as f:
        f.write(text)


def registry():
    if os.path.exists(REGISTRY):
        with open(REGISTRY, encoding='utf-8') as f:
            return f.read()


def lay_out(local, listed, stored):
    for config in ['bases/root'] + ['lib'] * local:
        write(f'{config}/Data/Config/term.xml', '<t><term name="noun" code="1"/></t>')
    for name, root in ('good', 'root'), ('also', 'root'), ('bare', 'none'):
        write(f'bases/{name}.kb', f'Root = "{os.getcwd()}\\bases/{root}"\n')
    os.makedirs('lib/stdkbnames.lst' if listed == '/' else 'lib', exist_ok=True)
    shutil.copy(LIBRARY, 'lib/libkvorlib.so.0')
    if listed is not None and listed != '/':
        write('lib/stdkbnames.lst', '\n\t'.join(f'{os.getcwd()}\\bases\\{n}.kb' for n in listed.split()))
    if stored is not None and not isinstance(stored, Meanwhile):
        store(stored)


def store(values):
    write(REGISTRY, values if values == 'damaged' else HEAD + ''.join(
        f'"{n}" = "{f"{os.getcwd()}/bases/{v}.kb" if n else v}"\n' for n, v in values.items()))


def heard(command, env, stored):
    """What the command prints; with values to store, once it has come to the lock of the registry."""
    if not isinstance(stored, Meanwhile):
        return subprocess.run(command, env=env, capture_output=True, timeout=60)
    write(REGISTRY + '.lock', '')
    with open(os.path.abspath(REGISTRY) + '.lock', 'w') as lock:
        fcntl.lockf(lock, fcntl.LOCK_EX)
        probe = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        files = f'/proc/{probe.pid}/fd'
        while probe.poll() is None and all(
                os.path.realpath(f'{files}/{n}') != lock.name for n in os.listdir(files)):
            time.sleep(0.01)
        store(stored)
    out, err = probe.communicate(timeout=60)
    return subprocess.CompletedProcess(command, probe.returncode, out, err)


def values():
    """The values as rows have them: the names of bases for their files in the folder of bases."""
    found = re.findall(r'^"(.*)" = "(.*)"$', registry() or '', re.M)
    return {n: re.sub(f'^{os.getcwd()}/bases/(.*).kb$', r'\1', v) for n, v in found}


def run(words, listed, stored, *expected):
    after = [part for part in expected if isinstance(part, dict)]
    lay_out('-local' not in words, listed, stored)
    before = registry()
    env = {**os.environ, 'HOME': os.getcwd() + '/home', 'USERPROFILE': os.getcwd() + '/home',
           'LD_LIBRARY_PATH': os.getcwd() + '/lib', 'XDG_CONFIG_HOME': ''}
    done = heard([PROBE, *words.split()], env, stored)
    told = [line.rstrip() for line in done.stdout.decode().replace(os.getcwd(), '').splitlines()]
    assert told == list(expected[:len(expected) - len(after)]), told
    assert (done.returncode, done.stderr) == (0, b''), done
    assert [values()] == after if after else registry() == before, registry()


for row in ROWS:
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(os.path.realpath(folder))
        try:
            run(*row)
        except AssertionError as wrong:
            sys.exit(f'{row}\n{wrong}')
        finally:
            os.chdir('/')
