#!/usr/bin/env python3
"""Runs the tool kvor as its users do. Each function named case_… is one test, in a folder of its own.

    cases.py --list             the names of all cases
    cases.py KVOR NAME...       runs these cases with that tool; all cases without names
"""
import fcntl
import functools
import glob
import gzip
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from xml.etree import ElementTree

KVOR = os.path.abspath(sys.argv[1])
HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = 4096
WORDS = 'cat a small animal\ndog a friend\ncow кошка\n'
LISTED = 'cat a small animal\ncow кошка\ndog a friend\n'
MUELLER = '/usr/share/dictd/mueller7'
SKIPPED = 77
PIPES = {'stdin': subprocess.PIPE, 'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE}


def run(*args, stdin='', code=0, out=None, err=None, of='store', cp='utf-8', **more):
    """Runs `kvor store ARGS`. `out` is all of its output, `err` a part of what it says on stderr."""
    done = subprocess.run([KVOR, of, *args], timeout=120, capture_output=True,
                          input=stdin if isinstance(stdin, bytes) else stdin.encode(), **more)
    told = f'kvor {of} {" ".join(args)}\nexit {done.returncode}\n{done.stdout!r}\n{done.stderr!r}'
    assert done.returncode == code, told
    assert out is None or done.stdout == out.encode(cp), told
    assert done.stderr == b'' if err is None else err in done.stderr.decode('utf-8', 'surrogateescape'), told
    return done.stdout.decode('utf-8', 'surrogateescape')


def rows(*args, **more):
    """The objects that the command prints with --json."""
    return [json.loads(line) for line in run(*args, '--json', **more).splitlines()]


cond, dic, kb, lexem, log, term, text, xml = (
    functools.partial(run, of=name) for name in 'cond dict kb lexem log term text xml'.split())


def words():
    run('load', 'w', '--key', '3', stdin=WORDS, out='3 records stored\n')


def base(name, text='', terms='<t/>'):
    """A description in the present folder, and its data."""
    config = f'{name}.data/Data/Config'
    os.makedirs(config, exist_ok=True)
    write(f'{name}.kb', f'Root = "{os.getcwd()}/{name}.data"\n{text}')
    write(f'{config}/term.xml', terms)


def write(name, data):
    with open(name, 'wb') as f:
        f.write(data if isinstance(data, bytes) else data.encode())


def patch(name, offset, data):
    with open(name, 'r+b') as f:
        f.seek(offset)
        f.write(data)


def full_disk(size):
    """For a process that can write no file beyond this size."""
    def limit():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    return limit


def content(name):
    with open(name, 'rb') as f:
        return f.read()


# ---- every command --------------------------------------------------------------------------


def case_records_come_back_in_order():
    words()
    run('get', 'w', 'cow', 'zebra', 'cat', code=1, out='cow кошка\ncat a small animal\n',
        err='kvor: w: zebra: absent\n')
    run('list', 'w', out=LISTED)
    run('list', 'w', '--keys', out='cat\ncow\ndog\n')
    run('list', 'w', '--from', 'ci', '--limit', '1', out='cow кошка\n')
    run('list', 'w', '--from', 'z', out='')
    run('del', 'w', 'cat', 'cat', 'dog', code=1, out='', err='kvor: w: cat: absent\n')
    run('list', 'w', out='cow кошка\n')
    run('clear', 'w', out='')
    run('check', 'w', out='w: sound, 0 records\n')


def case_each_layout_prints_what_was_loaded():
    front = 'x' * 39
    texts = [[front + 'key text', front + 'key2 '], ['xxxxxxkey text'], ['xxxxkey text'],
             ['ключ текст', 'key  two blanks\tand a tab'], ['ice cream\tcold', 'key', 'key2\t'],
             ['-5\tminus', '12\ttwelve'], ['ice cream\tcold\tsweet', 'key', 'key2\t'],
             ['-2147483648\tlow', '0\t', '2147483647\thigh'], ['ice cream\tcold', 'key\t']]
    for layout, lines in enumerate(texts):
        name = f'f{layout}'
        run('create', name, '--key', str(layout), out='')
        assert rows('load', name, stdin='\n'.join(lines))[0]['stored'] == len(lines)
        assert sorted(run('list', name).splitlines()) == sorted(lines), layout
        for form in ([], ['--hex']):  # lines and bytes both make the same file again
            again = f'{name}{form}'
            run('load', again, '--key', str(layout), *form, stdin=run('list', name, *form))
            assert run('list', again, '--hex') == run('list', name, '--hex')
        keys = run('list', name, '--keys').splitlines()
        run('get', name, '--', *keys, out=run('list', name))
        run('del', name, '--', *keys, out='')
        run('check', name, out=f'{name}: sound, 0 records\n')
    run('load', 'f4', stdin='key\n')
    run('list', 'f4', '--hex', out='00006b657900\n')
    run('load', 'f5', stdin='-5\t\n')
    run('list', 'f5', '--hex', out='0000fbffffff00\n')
    run('load', 'f7', stdin='x\ty\n5\n2147483648\tx\n5x\ty\n', code=1, err='no TAB behind the number',
        out='0 records stored, 4 lines refused\n')
    run('load', 'f8', stdin='no tab\n', code=1, err='no TAB behind the key')


def case_load_reports_what_it_leaves_out():
    words()
    run('load', 'w', stdin='cat again\nelk\neel long\n\nb\0d x\nb\xff y\n'.encode('latin-1'), code=1,
        out='1 record stored, 1 left alone: the key is there, 4 lines refused\n',
        err='kvor: standard input:2: Record contains a wrong key\n'
            'kvor: standard input:4: an empty line\n'
            'kvor: standard input:5: a zero byte inside the text\n'
            'kvor: standard input:6: not valid UTF-8\n')
    write('more', b'\xef\xbb\xbfcat once more\r\nfox red')  # a mark in front, no line end behind
    run('load', 'w', 'more', '--replace', out='2 records stored\n')
    run('get', 'w', 'cat', 'fox', out='cat once more\nfox red\n')
    run('load', 'w', 'missing', code=2, err='kvor: missing: No such file or directory\n')
    run('load', 'w', '.', code=2, err='kvor: .: Is a directory\n', out='0 records stored\n')
    run('load', 'new', stdin='a b\n', code=2, err='kvor: new: NONEXISTENT FILE')
    run('load', 'w', '--key', '7', stdin='5 x\n', code=2, err='kvor: w: Keydescr error\n')


def case_load_in_the_order_of_keys_differs_in_nothing_but_speed():
    for replace, out, left in ([], '2 records stored, 2 left alone: the key is there, 1 line refused\n', \
                        'a 1\nb 1\n'), (['--replace'], '4 records stored, 1 line refused\n', 'a 3\nb 1\n'):
        name = f'f{len(replace)}'
        run('load', name, '--key', '3', *replace, stdin='a 1\nnoblank\na 2\nb 1\na 3\n', code=1,
            err='kvor: standard input:2: Record contains a wrong key\n',
            out=out)
        run('list', name, out=left)
    run('create', 'w', '--key', '3')
    with subprocess.Popen([KVOR, 'store', 'load', 'w'], **PIPES) as loader:
        loader.stdin.write(WORDS.encode())
        loader.stdin.flush()
        for _ in range(100):  # what waits for more input is not held back for long
            if run('list', 'w') == LISTED:
                break
            time.sleep(0.1)
        assert run('list', 'w') == LISTED
        loader.kill()


def case_compact_makes_a_file_small_or_leaves_it():
    lines = [f'k{n:05} {"x" * (n % 90)}\n' for n in range(4000)]
    run('load', 'w', '--key', '3', stdin=''.join(lines[::-1]))
    os.chmod('w', 0o640)
    os.symlink('w', 'link')
    before = content('w')
    with subprocess.Popen([KVOR, 'store', 'batch', 'w'], **PIPES) as holder:
        holder.stdin.write(b'count\n')
        holder.stdin.flush()
        assert holder.stdout.readline() == b'ok 4000\n'
        run('compact', 'w', code=2, err='kvor: w: somebody has the file open')
        holder.communicate()
    run('compact', 'w', code=2, err='kvor: w: SYSTEM ERROR', preexec_fn=full_disk(40 * PAGE))
    assert content('w') == before and sorted(os.listdir()) == ['link', 'w']
    told = rows('compact', 'link')[0]
    assert told['bytesBefore'] == len(before) and told['records'] == 4000, told
    assert told['bytesAfter'] == os.stat('w').st_size < len(before) * 6 // 10, told
    assert os.path.islink('link') and os.stat('w').st_mode & 0o777 == 0o640
    run('list', 'w', out=''.join(lines))
    run('check', 'w', out='w: sound, 4000 records\n')
    if os.getuid() == 0:
        os.chown('w', 65534, 65534)
        run('compact', 'w', '--fill', '70')
        assert (os.stat('w').st_uid, os.stat('w').st_gid) == (65534, 65534)
    patch('w', 3 * PAGE + 100, b'\xff\xff')
    run('compact', 'w', code=2, err='FILE CORRUPTED (`kvor store salvage`')


def case_batch_answers_each_line_before_it_waits():
    words()
    script = ('put ant small\nput ant again\nreplace ant big\nget ant\nget bee\n\n# a remark\ncount\n'
              'next\nfrom co\nnext\nnext\nnext\nrewind\nnext\ndel ant\ndel ant\n')
    run('batch', 'w', stdin=script,
        out='ok\nexists\nok\nok ant big\nabsent\nok 4\nok ant big\nok\nok cow кошка\n'
            'ok dog a friend\nend\nok\nok ant big\nok\nabsent\n')
    run('batch', 'w', stdin='fly\nput noblank\nget\nput ok then\n', code=1,
        out='error unknown command\nerror Record contains a wrong key\nerror Empty key\nok\n')
    record = b'hex \x01\xff'
    told = f'6 {sum(record):08x}\n'
    run('batch', 'w', '--hex', stdin=f'put {record.hex()}\nget 686578\nfrom 686578\nnext\nput 0g\n',
        out=f'ok\nok {told}ok\nok 686578 {told}error not an even number of hexadecimal digits\n', code=1)
    answers = rows('batch', 'w', stdin='get cat\nget none\nnothing\n', code=1)
    assert [a['answer'] for a in answers] == ['ok', 'absent', 'error']
    with subprocess.Popen([KVOR, 'store', 'batch', 'w'], **PIPES) as batch:
        for _ in range(3):
            batch.stdin.write(b'get cat\n')
            batch.stdin.flush()
            assert batch.stdout.readline() == b'ok cat a small animal\n'


def case_copy_and_upgrade():
    words()
    run('copy', 'w', 'копия 🐈', out='3 records copied\n')
    run('list', 'копия 🐈', out=LISTED)
    run('copy', 'w', 'копия 🐈', code=2, err='FILE ALREADY EXISTS')
    run('copy', 'w', 'w', '--replace', code=2, err='is the file that is to be copied')
    run('copy', 'w', 'копия 🐈', '--replace', out='3 records copied\n')
    patch('w', 0, b'\x17')  # version 23
    run('load', 'w', stdin='long ' + 'x' * 5000 + '\n', out='1 record stored\n')
    run('upgrade', 'w', code=2, err='1 long record could not be read')
    run('copy', 'w', 'c', out='4 records copied\n')
    run('upgrade', 'c', out='')
    run('check', 'c', out='c: sound, 4 records\n')
    run('del', 'w', 'long')
    run('upgrade', 'w', out='')
    assert rows('stat', 'w')[0]['version'] == 24


def case_json_is_valid_whatever_the_bytes():
    nasty = '"\\\x01\x1f\x7f é🐈'
    run('load', 'w', '--key', '3', stdin=nasty)
    key = nasty.split(' ')[0]
    assert rows('get', 'w', key)[0]['record'] == nasty
    assert rows('list', 'w')[0] == {'key': key, 'size': len(nasty.encode()) + 1, 'record': nasty}
    keys = ['ff', '80', 'c1bf', 'c2', 'e09fbf', 'e282', 'eda080', 'f08fbfbf', 'f4908080', 'f5808080',
            'c280', 'e0a080', 'ed9fbf', 'f0908080', 'f48fbfbf']
    run('load', 'b', '--key', '3', '--hex', stdin=''.join(f'{key}20\n' for key in keys))
    told = {row.get('keyHex') or row['key'].encode().hex(): row for row in rows('list', 'b')}
    assert [key for key in keys if 'keyHex' in told[key]] == keys[:10]
    assert told['ff'] == {'keyHex': 'ff', 'size': 2, 'recordHex': 'ff20'}
    run('load', 'i', '--key', '5', stdin='-7\tx\n')
    assert rows('list', 'i') == [{'key': -7, 'size': 8, 'record': '-7\tx'}]
    for command in 'get', 'del':
        found = rows(command, 'i', '-7', '8', code=1, err='8: absent')
        assert [row['key'] for row in found] == [-7, 8], found
    assert rows('create', 'c', '--key', '6') == [{'file': 'c', 'layout': 6}]
    assert rows('load', 'c', stdin='x\nx\n', code=1)[0]['present'] == 1
    assert rows('copy', 'c', 'd')[0]['records'] == 1
    assert rows('salvage', 'c', 'e')[0]['saved'] == 1
    assert rows('upgrade', 'c')[0]['version'] == 24
    assert rows('clear', 'c')[0]['cleared'] and rows('check', 'c')[-1]['sound']
    patch('b', PAGE, b'z')
    found = rows('check', 'b', code=1)
    assert found[0]['kind'] == 'damage' and found[0]['fileOffset'] == PAGE, found


def case_example_of_the_format_is_what_the_tool_writes():
    run('load', 'tiny.kv', '--key', '3', stdin='cat кошка\ndog a friend\n')
    run('load', 'tiny.kv', stdin='zoo ' + 'z' * 3000 + '\n')
    stat = rows('stat', 'tiny.kv')[0]
    assert stat['externalRecords'] == 1 and stat['longestRecord'] == 3005, stat
    made = content('tiny.kv')
    assert len(made) == stat['fileSize'] == 3 * PAGE
    with open(os.path.join(HERE, '../../docs/store-format.md'), encoding='utf-8') as page:
        dump = re.findall('^    ([0-9a-f]{8}): (.*?)(?:  .*)?$', page.read(), re.M)
    assert len(dump) == 8
    for at, data in dump:
        assert made[int(at, 16):].startswith(bytes.fromhex(data)), at


def case_help_and_version():
    def text(*args, code=0):
        done = subprocess.run([KVOR, *args], capture_output=True, text=True, timeout=60)
        assert done.returncode == code and done.stdout + done.stderr, done
        return done.stdout + done.stderr
    assert text('--version').startswith('kvor ') and 'Exit codes' in text('--help')
    for command in ('create load get list del stat clear upgrade copy batch check salvage').split():
        assert command in text('store', '--help') and '--json' in text('store', command, '--help')
    assert 'unknown command: fly' in text('store', 'fly', code=2)
    assert 'unknown option: -x' in text('store', 'get', 'w', '-x', code=2)
    assert '-1 is no number' in text('dict', 'list', 'w', '--limit', '-1', code=2)
    for args in [], ['get'], ['get', 'w'], ['create', 'w', '--key', '9'], ['create', 'w']:
        text(*(['store'] if args else []), *args, code=2)
    assert not os.path.exists('w')


# ---- bad input ------------------------------------------------------------------------------

WRITERS = [('load',), ('del', 'KEY'), ('upgrade',), ('batch',), ('clear',)]


def case_files_that_are_none():
    for name, data in ('empty', b''), ('foreign', b'\x89PNG' * 3000), ('short', b'\x18\0\1\2'):
        write(name, data)
    os.mkdir('folder')
    short = 'SYSTEM ERROR (no store file: it is shorter than a page)'
    told = {'empty': short, 'foreign': 'FILE CORRUPTED', 'folder': 'SYSTEM ERROR (a folder)',
            'short': short, 'missing': 'NONEXISTENT FILE'}
    for name, expected in told.items():
        before = os.path.isfile(name) and content(name)
        for command, *rest in [('get', 'KEY'), ('list',), ('stat',), ('copy', 'to'), *WRITERS]:
            run(command, name, *rest, code=2, err=f'kvor: {name}: {expected}')
        if before is False:
            run('check', name, code=2, err=f'kvor: {name}: {expected}')
            continue
        run('check', name, code=1)
        run('salvage', name, 'to', code=2, err='the header is lost')
        run('create', name, '--key', '3', code=2, err=f'kvor: {name}: exists already\n')
        assert content(name) == before
    assert not os.path.exists('to')
    run('create', 'no/folder/f', '--key', '3', code=2, err='kvor: no/folder/f: NONEXISTENT FILE')


def case_names_and_keys_that_cannot_be():
    run('create', 'f' * 126, '--key', '3')
    for command in ['create', '--key', '3'], ['list']:
        run(*command, 'f' * 127, code=2, err=f'kvor: {"f" * 127}: Wrong file name')
    words()
    run('get', 'w', 'a b', code=1, err='kvor: w: a b: Stop symbol inside key\n')
    run('get', 'w', 'k' * 128, code=1, err=': Key too long\n')
    run('get', 'w', '', code=2, err='Empty key')
    run('get', 'w', 'x', '--hex', code=2, err='not an even number of hexadecimal digits')
    run('create', 'i', '--key', '7')
    run('get', 'i', '99999999999', code=2, err='not a whole number of 32 bits')


def case_file_that_takes_no_updates():
    words()
    os.chmod('w', 0o444)
    run('list', 'w', out=LISTED)
    for command, *rest in WRITERS if os.geteuid() != 0 else []:  # root writes to anything
        run(command, 'w', *rest, code=2, err='kvor: w: SYSTEM ERROR')
    os.chmod('w', 0o644)
    patch('w', 16, b'\1')  # the mark of a corrupted file
    run('list', 'w', out=LISTED)
    run('check', 'w', code=1)
    for command, *rest in WRITERS[:3]:
        run(command, 'w', *rest, stdin='elk big\n', code=2, err='marked as corrupted')
    run('batch', 'w', stdin='put elk big\n', code=1,
        out='error SUCCESS (the file is marked as corrupted and takes no updates)\n')
    run('clear', 'w')
    run('check', 'w', out='w: sound, 0 records\n')


def case_damaged_file_is_told_and_salvaged():
    lines = [f'key{n:04} {"text " * 20}\n' for n in range(400)]
    run('load', 'w', '--key', '3', stdin=''.join(lines))
    first = int.from_bytes(content('w')[8:10], 'little')
    patch('w', first * PAGE + 60, b'#')
    out = run('check', 'w', code=1)
    assert out.startswith(f'page {first} offset 12: damage: the checksum of the record is wrong\n')
    assert out.endswith('w: damaged, 400 records reached, 1 place damaged\n')
    for args in ['get', 'w', 'key0000'], ['list', 'w'], ['list', 'w', '--from', 'key0000']:
        run(*args, code=2, err='kvor: w: CHECKSUM ERROR')
    damaged = content('w')
    out = run('salvage', 'w', 's', code=1)
    assert '399 records saved; the damaged file\'s header counts 400\n' in out, out
    run('list', 's', out=''.join(lines[1:]))
    run('salvage', 'w', 's', code=2, err='kvor: s: FILE ALREADY EXISTS')
    assert content('w') == damaged
    run('batch', 'w', stdin='put before it\nnext\nnext\nnext\n', code=1,
        out='ok\nok before it\nerror CHECKSUM ERROR\nend\n')


# ---- knowledge bases ------------------------------------------------------------------------


def case_bases_are_added_chosen_shown_and_removed():
    here = os.getcwd()
    base('English', 'Key1="x"\nrules.txt="r.txt"\nRules="\n')
    base('другая')
    kb('add', 'English.kb', 'none.kb', 'другая.kb', code=1, err='kvor: none.kb: Базу none не удалось',
       out='english added, with 2 errors\nдругая added\n')
    kb('default', 'english', out='english\n')
    kb('list', code=1, out=f'  <LOCAL>\n* english\t{here}/English.kb\t2 errors: Wrong option string\n'
                           f'  другая\t{here}/другая.kb\n')
    shown = rows('show', 'english', of='kb', code=1)[0]
    assert shown['settings'] == {'Root': f'{here}/English.data', 'rules.txt': 'r.txt'}, shown
    assert shown['errors'] == ['Wrong option string', 'Wrong string in cfg file'] and shown['valid']
    folders = {row['folder']: row['path'] for row in rows('dirs', of='kb', code=1)}
    assert folders['config'] == f'{here}/English.data/Data/Config/' and folders['binary'] == ''
    assert folders['temporary'] == f'{here}/Documents/kvordata/'
    kb('remove', 'ENGLISH', out='english removed\n<LOCAL> is the default now\n')
    kb('remove', '<local>', code=2, err='kvor: <local>: belongs to the library')
    kb('list', out=f'* <LOCAL>\n  другая\t{here}/другая.kb\n')


def case_changes_of_the_list_at_once_lose_nothing_of_each_other():
    for name in 'a', 'b', 'c', 'd':
        base(name)
    kb('add', 'a.kb', 'b.kb')
    kb('default', 'b')
    with open('.config/kvor/registry.lock', 'r+', encoding='ascii') as turn:
        fcntl.lockf(turn, fcntl.LOCK_EX)
        tools = [subprocess.Popen([KVOR, 'kb', *args], stdout=subprocess.DEVNULL) for args in
                 (('add', 'c.kb'), ('add', 'd.kb'), ('remove', 'a'), ('remove', 'b'))]
        time.sleep(0.5)  # for all of them to have read the list as it is now
    assert [tool.wait(20) for tool in tools] == [0] * 4
    listed = {row['name']: row['default'] for row in rows('list', of='kb')}
    assert listed == {'<LOCAL>': True, 'c': False, 'd': False}, listed


def case_list_with_broken_bases_loses_nothing_and_can_be_mended():
    for name in 'a', 'b', 'c':
        base(name)
    kb('add', 'a.kb', 'b.kb', out='a added\nb added\n')
    kb('default', 'b', out='b\n')
    os.rename('a.kb', 'away')
    base('b', terms='<t>')
    kb('add', 'c.kb', out='c added\n', err='kvor: KB b: Term file open error\n')
    kb('add', 'a.data/a.kb', 'none.kb', code=2, err='kvor: a.data/a.kb: База a уже есть в списке')
    kb('default', 'b', code=2, err='kvor: b: База b имеет ошибки в описании')
    state = {row['name']: (row['default'], row['valid']) for row in
             rows('list', of='kb', code=1, err='kvor: Cannot open term file')}
    assert state == {'<LOCAL>': (True, True), 'a': (False, False), 'b': (False, False),
                     'c': (False, True)}, state
    os.rename('away', 'a.kb')
    base('b')
    assert [row['name'] for row in rows('list', of='kb') if row['default']] == ['b']
    with open('.config/kvor/registry', 'a') as f:
        f.write('damage')
    kb('add', 'new.kb', code=2, err='registry: line ')
    kb('list', code=1, out='* <LOCAL>\n', err='registry: line ')
    run('code', 'noun', of='term', code=2, err='kvor: the default is not known')
    assert content('.config/kvor/registry').endswith(b'damage')


def case_first_list_whose_first_base_is_missing_is_kept_by_the_first_change():
    here = os.getcwd()
    base('good')
    shutil.copytree(f'{os.path.dirname(KVOR)}/../lib/kvorlib', 'lib', symlinks=True)
    write('lib/stdkbnames.lst', f'{here}/none.kb {here}/good.kb')
    env = {**os.environ, 'LD_LIBRARY_PATH': f'{here}/lib'}
    kb('default', 'good', env=env, err='kvor: База none не найдена\n', out='good\n')
    kb('list', env=env, out=f'  <LOCAL>\n* good\t{here}/good.kb\n')


# ---- terms -----------------------------------------------------------------------------------


def case_terms_are_found_by_name_and_code_and_told_when_they_are_not():
    term('code', 'arabic', 'no', '7', code=1, out='2707\n0107\n', err='kvor: no: no such term\n')
    term('name', '0x1011', 'fffe', '886', code=1, out='common-noun\nspanish\n', err='fffe: no such')
    term('name', '10111', code=2, err='kvor: 10111: no code: ')
    term('tree', '1370', out='1370 verb-of-motion\n  1371 unidirectional-motion\n'
         '  1372 multidirectional-motion\n')
    term('belongs', 'common-noun', '1000', out='yes\n')
    term('belongs', 'russian', 'part-of-speech', code=1, out='no\n')
    term('header', 'no/terms.h', code=2, err='kvor: no/terms.h: No such file or directory\n')
    term('header', 'terms.h', out='')
    assert content('terms.h').count(b'\n#define T_') == len(rows('tree', of='term')) > 500
    with open(f'{HERE}/../../data/Data/Source/sample.tsv', encoding='utf-8') as table:
        term('code', *{name for row in table for name in row.split('\t')[3:5] if name})
    base('broken', terms='<t>')
    base('bare', terms='<t><group name="g" code="7"><term name="y" code="8"/></group><term name="z"/></t>')
    kb('add', 'broken.kb', 'bare.kb', out='broken added\nbare added\n')
    term('code', 'arabic', '--kb', 'broken', code=2, err='broken: Term file open error\n')
    term('tree', '--kb', 'bare', out='0000 z\n0007 g\n  0008 y\n')


# ---- dictionaries ---------------------------------------------------------------------------


def case_articles_are_looked_up_and_edited():
    dic('create', 'd', out='')
    dic('create', 'd', code=2, err='kvor: d: exists already')
    dic('add', 'd', 'bat', '--ktext', 'bat', '--kpos', 'noun', '--mtext', 'бита', '--number', '-7')
    dic('add', 'd', 'bat2', '--mtext', 'мышь')
    dic('add', 'd', 'cat')
    dic('add', 'd', 'cat', code=1, err='kvor: d: cat: the name exists')
    dic('add', 'd', 'elk', '--type', 'N', '--ktext', 'elk', code=2, err='an article of type N')
    dic('homs', 'd', 'bat',
        out='bat\t-7\tB\t\tnoun\tbat\tбита\nbat2\t0\tM\t\t\tмышь\tмышь\n')
    dic('correct', 'd', 'bat', '--mtext', 'палка', '--pos', 'verb')
    dic('correct', 'd', 'bat2', '--ktext', 'bat', '--mtext', 'нетопырь')
    dic('correct', 'd', 'cat', '--kpos', 'noun', code=1, err='cat: there is no side K')
    dic('correct', 'd', 'cat', '--number', '3')
    dic('correct', 'd', 'elk', '--number', '3', code=1, err='kvor: d: elk: absent')
    dic('correct', 'd', 'bat', '--ktext', '', code=2, err='ktext is empty; expected a word')
    dic('rename', 'd', 'bat', 'bat2', code=1, err='kvor: d: bat2: the name exists')
    dic('rename', 'd', 'bat', 'a b', code=2, err='white space')
    dic('rename', 'd', 'cat', 'кот')
    dic('delete', 'd', 'bat', '--side', 'K')
    dic('delete', 'd', 'bat', '--side', 'K', code=1, err='Entry not found in dictionary (it has')
    dic('list', 'd', out='bat\t-7\tM\tverb\tnoun\t\tпалка\nbat2\t0\tB\t\t\tbat\tнетопырь\n'
                         'кот\t3\tN\t\t\t\t\n')
    assert rows('list', 'd', '--from', 'bat1', '--limit', '1', of='dict') == [
        {'name': 'bat2', 'number': 0, 'type': 'B', 'pos': '', 'kpos': '', 'ktext': 'bat',
         'mtext': 'нетопырь'}]
    assert rows('get', 'd', 'elk', of='dict', code=1, err='elk: absent') == [
        {'name': 'elk', 'found': False}]
    run('load', 'd', stdin='dog is no article\n# 1 K\n')
    dic('export', 'd', code=1, err="record 'dog' holds more than its article")
    run('load', 'd', stdin='foreign 1 B terme - k m\n')
    for args in ['correct', '--mtext', 'x'], ['rename', 'y'], ['delete', '--side', 'K']:
        dic(args[0], 'd', 'foreign', *args[1:], code=1, err='which a change would lose')
    run('get', 'd', 'foreign', out='foreign 1 B terme - k m\n')
    dic('list', 'd', code=1, err="record '#' has no name")
    run('create', 'numbers', '--key', '7')
    dic('list', 'numbers', code=2, err='kvor: numbers: Keydescr error (no dictionary')
    dic('import', 'none', '-', code=2, err='kvor: none: NONEXISTENT FILE')


def case_bad_rows_are_told_and_good_ones_stored():
    bad = {'a|0|K|||a': '6 columns; expected 7', '': '1 column; expected 7',
           '|0|K|||a|': 'the name is empty', '#|0|K|||a|': "name '#' reads back as empty",
           'a b|0|K|||a|': "name 'a b' has white space in it", 'b|0|K|||a\v|': 'white space',
           'b|0|M||||a b': "mtext 'a b' has white space in it; expected a single word",
           'b|0|X|||a|': "type 'X' is unknown; expected N, K, M or B",
           'b|1x|K|||a|': "number '1x' is none", 'b|2147483648|K|||a|': 'is none',
           'b|0|K||nuon|a|': "kpos 'nuon' is an unknown term", 'b|0|K|7||a|': "pos '7' is an unknown",
           'b|0|N|||a|': 'type N', 'b|0|K|||#|': "ktext '#' reads back as empty",
           'good|1|K|||x|': "name 'good' exists", 'x' * 127 + '|0|K|||a|': 'has 127 bytes; expected 126',
           'b|0|K|||a\0|': 'no text', 'b|0|K||||\udcff|': 'no text'}
    good = 'good|5|B|verb|noun|k|слово\n', 'x' * 126 + '|-2147483648|N||||\n'
    table = ''.join([good[0], *(row + '\n' for row in bad), good[1]]).replace('|', '\t')
    write('t', table.encode('utf-8', 'surrogateescape'))
    dic('create', 'd')
    told = rows('import', 'd', 't', of='dict', code=1)
    assert told.pop() == {'file': 'd', 'stored': 2, 'refused': len(bad)}
    assert [row['line'] for row in told] == list(range(2, len(bad) + 2)), told
    for row, fault in zip(told, bad.values()):
        assert fault in row['error'], (row, fault)
    dic('list', 'd', out=''.join(good).replace('|', '\t'))
    dic('import', 'd', 't', code=1, out=f'0 articles stored, {len(bad) + 2} rows refused\n',
        err='t:3: error: 1 column; expected 7, parted by tabs: name, number, type, pos, kpos, ktext, ')


def case_table_comes_in_any_form_and_goes_out_as_it_is():
    table = 'дом\t1\tK\t\t\tk\t\n\ufeffмарка\t2\tM\t\t\t\tслово\n😀\t3\tN\t\t\t\t\n'
    wide = table.encode('utf-16-le')
    for n, data in enumerate([table.encode(), b'\xef\xbb\xbf' + table.encode(), b'\xff\xfe' + wide, wide,
                              b'\xfe\xff' + table.encode('utf-16-be'),
                              table.replace('\n', '\r\n').encode()]):
        dic('create', f'd{n}')
        dic('import', f'd{n}', '-', stdin=data, out='3 articles stored\n')
        dic('export', f'd{n}', out=table)
    for broken in wide.replace(b'\x3d\xd8', b''), wide[:-2] + b'x':  # half a pair, half a unit
        dic('import', 'd0', '-', stdin=broken, code=1, err='standard input:3: error: no text')
    # A name that begins like a mark of the table, in front.
    dic('delete', 'd0', 'дом', '--side', 'K')
    dic('export', 'd0', 't', out='2 articles exported\n')
    dic('create', 'again')
    dic('import', 'again', 't')
    dic('get', 'again', '\ufeffмарка', out='\ufeffмарка\t2\tM\t\t\tслово\tслово\n')
    dic('export', 'd0', 't', code=2, err='kvor: t: exists (--replace')
    dic('export', 'd0', 'd0', '--replace', code=2, err='kvor: d0: is the dictionary itself')
    # What is no regular file is never replaced by one, and of a link the file is, not the link.
    os.mkfifo('pipe')
    run('copy', 'd0', 'pipe', '--replace', code=2, err='kvor: pipe: is no regular file')
    with subprocess.Popen(['cat', 'pipe'], stdout=subprocess.PIPE) as cat:
        dic('export', 'd0', 'pipe', '--replace', out='2 articles exported\n')
        assert cat.communicate()[0] == content('t'), 'a pipe gets the rows'
    os.symlink('t', 'link')
    dic('delete', 'd0', '\ufeffмарка', '--side', 'M')
    dic('export', 'd0', 'link', '--replace', out='1 article exported\n')
    assert os.path.islink('link') and content('t').count(b'\n') == 1


def case_whole_real_dictionary_comes_back():
    if not os.path.exists(MUELLER + '.index'):
        sys.exit(SKIPPED)
    with gzip.open(MUELLER + '.dict.dz', 'rt', encoding='utf-8') as f:
        text = ''.join(line for line in f if line[0] == ' ').split()
    rows = {}
    with open(MUELLER + '.index', encoding='utf-8') as f:
        for n, line in enumerate(f):  # each headword with some word of the text, none of it "#"
            name = line.split('\t')[0].replace(' ', '_') or 'none'
            rows[name] = f'{name}\t{n}\t{"KMB"[n % 3]}\tverb\tnoun\t{name}\t{text[n]}\n'
    table = ''.join(sorted(rows.values(), key=lambda row: row.split('\t')[0].encode()))
    dic('create', 'd')
    dic('import', 'd', '-', stdin=''.join(rows.values()), out=f'{len(rows)} articles stored\n')
    dic('export', 'd', out=table)
    run('check', 'd', out=f'd: sound, {len(rows)} records\n')


# ---- texts and files ------------------------------------------------------------------------


def case_digests_are_the_lines_of_md5sum():
    run('-', of='md5', stdin='abc', out='900150983cd24fb0d6963f7d28e17f72  -\n')
    write('кот', '')
    run('.', 'кот', 'none', of='md5', code=2, out='d41d8cd98f00b204e9800998ecf8427e  кот\n',
        err='kvor: .: Is a directory\nkvor: none: No such file')


def case_texts_are_converted_as_far_as_they_tell_what_they_are():
    plain = 'いろはにほへと 表ソ漢字\n' * 9999  # many times what the library converts at once
    text('convert', '-', '--to', 'shift_jis', '--output', 'out', stdin=plain)
    text('convert', '--from', '932', 'out', out=plain)
    text('convert', 'out', '--output', 'out', code=2, err='out: exists (--replace writes over it)')
    text('convert', '--from', '65001', '--to', 'us-ascii', '-', stdin='a\nb\0кот\n', code=1,
         out='a\nb\0???\n',
         err="kvor: standard input:2: 'к' is not in code page us-ascii, and is replaced\n")
    text('convert', '-', stdin=b'a\n\xff', code=2, err='nothing tells its code page')
    text('convert', '-', '--to', 'x-mac-japanese', code=2, err='no text can be converted under this')
    write('bad', b'\xff\n')
    text('convert', 'bad', 'bad', '--from', '65001', '--output', 'free of complaints', code=1,
         preexec_fn=lambda: os.close(2))
    assert content('free of complaints').decode() == '\ufffd\n' * 2
    marked = text('convert', '--from', '1251', '--mark', '-', stdin='ж'.encode('cp1251'), out='\ufeffж')
    text('detect', '-', stdin=marked, out='standard input: 65001 utf-8, with a mark\n')
    text('detect', '-', stdin=b'\xea\xee\xf2', out='standard input: unknown\n', code=1)


def case_tables_are_shown_row_by_row():
    table = functools.partial(run, 'show', of='table')
    write('t', 'кот\tcat\tx\nкошка\tshe-cat\n\n\tempty\n'.encode('utf-16'))
    table('t', out='кот    cat      x\nкошка  she-cat\n\n       empty\n')
    table('t', '--columns', '2', code=1, out='кошка  she-cat\n       empty\n',
          err='kvor: t:1: more than 2 cells\nkvor: t:3: 0 cells; expected 2 cells\n')
    shown = rows('show', '-', '--separator', '::', '--from', '1251', of='table',
                 stdin='ж::"\\\n'.encode('cp1251'))
    assert shown == [{'row': 1, 'cells': ['ж', '"\\']}], shown
    table('.', code=2, err='kvor: .: Is a directory\n')
    table('/dev/stdin', stdin='кот\tcat\n', out='кот  cat\n')  # a pipe
    table('-', stdin=b'\xea\xee\xf2\n', code=2, err='nothing tells its code page')
    table('-', stdin='\ufeffa\tb\n'.encode('utf-16-be'), code=2, err='UTF-16 that tables are not read from')
    table('-', '--columns', '-1', code=2, err='Value -1 not in range 0 to 4096\n')


def case_documents_are_shown_and_converted():
    write('d', '<?xml version="1.0" encoding="windows-1251"?>\n<a b="1" a="&lt;&quot;&#233;"><p>mixed '
          '<i>кот</i>\n text &amp;<![CDATA[<raw>]]></p>\n <e/></a>'.encode('cp1251'))
    xml('convert', 'd', '--cp', '866', out='<?xml version="1.0" encoding="cp866" standalone="no"?>\r\n'
        '<a a="&lt;&quot;e" b="1"><p>mixed <i>кот</i>\n text &amp;&lt;raw&gt;</p>\n <e/></a>', cp='cp866')
    xml('show', 'd', out='<a a="&lt;&quot;é" b="1">\n\t<p>mixed <i>кот</i>\n text &amp;&lt;raw&gt;</p>\n'
        '\t<e/>\n</a>\n')
    assert rows('show', '-', of='xml', stdin='<a b="c">x<d/>y</a>')[0]['root'] == {
        'tag': 'a', 'attributes': {'b': 'c'}, 'nodes': [{'text': 'x'}, {'tag': 'd'}], 'text': 'y'}
    xml('show', '-', 'd', stdin='<a>\n<b></a>', code=2, err='kvor: standard input:2: column')
    xml('convert', 'd', '--cp', '65001', '--output', 'd', code=2, err='d: exists (--replace')
    xml('convert', 'd', '--cp', '65001', '--output', '\udcff')
    assert content('\udcff').endswith(b'<e/></a>')
    xml('show', '\udcff', code=2, err='its name is not valid UTF-8\n')
    xml('convert', 'd', '--cp', '1201', code=2, err='1201: documents are not written in it')
    xml('show', '-', stdin='<?xml version="1.0" encoding="none"?><a/>', code=2, err=':1: the encoding of')


def case_error_files_are_shown_with_their_places():
    errors = functools.partial(run, 'show', of='errors')
    write('e', '\ufeff<errors><error message="узел" type="Warning"><coord line="3" column="7" name="п.txt"/>'
          '</error>\n<error message="all"/></errors>')
    errors('e', out='п.txt(3,7): warning: узел\nnote: all\n')
    errors('-', stdin='<errors><error><coord column="7"/></error></errors>', out='(7): note: \n')
    bad = '<errors><error message="m" type="Error"><coord line="3" name="n"/></error>'
    errors('-', '--color', 'always', stdin=bad + '</errors>', code=1,
           out='n(3): \033[31merror:\033[0m m\n')
    errors('-', 'e', stdin=bad, code=2, err='kvor: standard input:1: ',
           out='п.txt(3,7): warning: узел\nnote: all\n')
    errors('-', stdin=bad + '\n<x/></errors>', code=2, err='Wrong data in error file\n')
    shown = rows('show', 'e', of='errors')
    assert shown[0] == {'type': 'warning', 'message': 'узел', 'name': 'п.txt', 'line': 3, 'column': 7}


def case_letters_of_languages():
    run('russian', 'кот', 'коt', '😀', of='lexem', code=1,
        out="кот: fine\nкоt: 't' at 3 is foreign\n😀: '😀' at 1 is foreign\n")
    run('klingon', 'x', of='lexem', code=2, err='kvor: klingon: no such language\n')
    run('слово كتب.', 'none', of='translit', out='слово arabic{ktb}.\nnone\n')
    run('-', of='detranslit', stdin='a arabic&#{ktbx}\nnone\n', out='a كتب}\nnone\n')
    run('кот', 'cat', 'señor', of='lang', out='2702 russian\n2703 english\n2708 spanish\n')
    base('mute')
    kb('add', 'mute.kb', out='mute added\n')
    run('x', '--kb', 'mute', of='translit', code=2, err='has no good Config/symbols.dat\n')


def case_conditions_hold_as_they_are_drawn():
    text = '(a + ^(b | c) | ^a + b) + (c | a)\n+ ^(a + d)'
    graph = cond(text, '--dot')
    labels = dict(re.findall(r'^  (\d+) \[label="(\w+)"', graph, re.M))
    arrows = {(a, v): b for a, b, v in re.findall(r'(\d+) -> (\d+) \[label="([01])"', graph)}
    for bits in range(16):
        a, b, c, d = (bits >> n & 1 for n in range(4))
        holds = ((a and not (b or c)) or (not a and b)) and (c or a) and not (a and d)
        at = re.search(r'start -> (\d+)', graph)[1]
        while at not in '01':
            at = arrows[at, str({'a': a, 'b': b, 'c': c, 'd': d}[labels[at]])]
        assert labels[at] == ('yes' if holds else 'no'), (bits, graph)
        cond(text, f'a={a}', f'b={b}', f'c={c}', f'd={d}', code=0 if holds else 1)
    cond('x | y', 'x=1', out='yes\n')
    for bad, words in (('a +\n+ b', 'Line 2: Wrong syntax'), ('(a', 'Line 1: Wrong bracket level'),
                       ('a; b', "behind the ';'"), ('x + y', 'y: has no value')):
        cond(bad, *['x=1'] * ('x' in bad), code=2, err=words)


def case_demonstration_shows_what_it_did_and_what_it_lacked():
    demo = functools.partial(run, 'demo', of='log')
    told = demo('a/b')
    assert told.startswith('a/b/analysis.html: a log for a browser, with 3 errors '), told
    assert int(told.split()[-1]) > 1000, 'conditions that were evaluated'
    page = content('a/b/analysis.html').decode('utf-16')
    for part in ('The <b>', 'He saw the bat &lt;&quot;&amp;&quot;&gt;.</h1>', 'bat: subject of saw\r\n', told[-9:-1],
                 'The character 2 of «Кoт» is no letter of the language russian.', '/alts-3-analysis.html'):
        assert (part in page) == ('<b>' not in part), part
    drawn = ElementTree.parse('a/b/tree-100-analysis.svg').findall('.//*[@class="word"]')
    assert [word.text for word in drawn] == 'The old bat saw a cat in the house'.split()
    assert '[[[The] [old] bat] saw [[a] cat]' in content('a/b/alts-1-analysis.html').decode('utf-16')
    dic('rename', 'a/b/words.dat', 'cat', 'kitten')
    for name in ('tree-oak-analysis', 'a/b/tree-999-analysis.svg'):
        write(name, 'mine, and that of an earlier run')
    assert rows('demo', 'a/b', '--sections', '900', of='log')[0]['errors'] > 30
    assert os.path.exists('tree-oak-analysis') and not os.path.exists('a/b/tree-999-analysis.svg')
    assert content('a/b/analysis.html').decode('utf-16').count('</h1>') >= 900
    base('bare', terms=content(f'{HERE}/../../data/Data/Config/term.xml').decode())
    kb('add', 'bare.kb')
    demo('c', '--kb', 'bare', code=1, err='header.html: missing; the log is plain text')
    assert '\r\nThe old bat' in content('c/analysis.html').decode('utf-16')
    demo('a/b/words.dat', code=2, err='a/b/words.dat: Not a directory')
    demo('/proc/x', code=2, err='kvor: /proc/x: ')
    demo('d', code=2, err='cannot be written', preexec_fn=full_disk(9000))


# ---- the world around -----------------------------------------------------------------------


def case_full_disk():
    words()
    for args in ['list', 'w'], ['get', 'w', 'cat'], ['check', 'w'], ['--help'], ['batch', 'w']:
        with open('/dev/full', 'wb') as full:
            done = subprocess.run([KVOR, 'store', *args], input=b'get cat\n', stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        assert done.returncode == 2, (args, done)
        assert b'kvor: standard output: No space left' in done.stderr, (args, done)

    lines = [f'k{n:04} {"x" * 400}\n' for n in range(1000)]
    out = run('load', 'f', '--key', '3', stdin=''.join(lines), code=2, preexec_fn=full_disk(40 * PAGE),
              err='kvor: f: SYSTEM ERROR')
    stored = int(out.split()[0])
    assert 100 < stored < 1000
    run('list', 'f', out=''.join(lines[:stored]))
    assert rows('check', 'f')[-1]['sound']
    run('header', 'w', of='term', code=2, preexec_fn=full_disk(PAGE), err='w: cannot be written')
    assert os.path.exists('w') and not os.path.exists('w.part')
    run('list', 'w', out=LISTED)  # what was there under the name


def case_killed_conversion_leaves_nothing_behind():
    env = {**os.environ, 'TMPDIR': os.getcwd()}  # for the copy of standard input
    with subprocess.Popen([KVOR, 'text', 'convert', '-', '--output', 'out'], env=env, **PIPES) as tool:
        def opened():
            links = (os.path.join(f'/proc/{tool.pid}/fd', n) for n in os.listdir(f'/proc/{tool.pid}/fd'))
            return [name for name in map(os.readlink, links) if name.startswith(os.getcwd())]
        while len(opened()) < 2:
            time.sleep(0.01)
        tool.send_signal(signal.SIGKILL)
        assert tool.wait(20) == -signal.SIGKILL, tool.returncode
    assert os.listdir() == []


def case_interrupted_load_leaves_a_sound_file_and_closed_pipe_ends_quietly():
    run('create', 'w', '--key', '3')
    lines = [f'k{n:07} {"x" * 100}\n'.encode() for n in range(20000)]
    with subprocess.Popen([KVOR, 'store', 'load', 'w'], **PIPES) as loader:
        loader.stdin.writelines(lines)
        loader.stdin.flush()  # so that nothing is left to write when the tool has gone
        time.sleep(0.3)
        loader.send_signal(signal.SIGINT)
        out, err = loader.communicate(b'z\n' * 10 ** 6, timeout=20)
    assert loader.returncode in (2, -signal.SIGINT), (loader.returncode, err)
    check = rows('check', 'w')[-1]
    assert check['sound'] and check['records'] > 1000, check
    if loader.returncode == 2:
        assert b'interrupted' in err and int(out.split()[0]) == check['records']

    with subprocess.Popen([KVOR, 'store', 'list', 'w'], **PIPES) as lister:
        assert lister.stdout.readline().startswith(b'k0000000 ')
        lister.stdout.close()
        assert lister.wait(20) == 2 and lister.stderr.read() == b''


CASES = {name[5:]: case for name, case in globals().items() if name.startswith('case_')}
if sys.argv[1] == '--list':
    sys.exit(print('\n'.join(CASES)))
for chosen in sys.argv[2:] or CASES:
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.environ.update(HOME=folder, USERPROFILE=folder, XDG_CONFIG_HOME='')
        CASES[chosen]()
        os.chdir('/')
