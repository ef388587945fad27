#!/usr/bin/env python3
"""Runs the tool kvor as its users do. Each function named case_… is one test, in a folder of its own.

    cases.py --list             the names of all cases
    cases.py KVOR NAME...       runs these cases with that tool; all cases without names
"""
import json
import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import traceback

KVOR = ''
HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = 4096
WORDS = 'cat a small animal\ndog a friend\ncow кошка\n'


def run(*args, stdin='', code=0, out=None, err=None, **more):
    """Runs `kvor store ARGS`. `out` is all of its output, `err` a part of what it says on stderr."""
    if isinstance(stdin, str):
        stdin = stdin.encode()
    done = subprocess.run([KVOR, 'store', *args], input=stdin, capture_output=True, timeout=60, **more)
    told = f'kvor store {" ".join(args)}\nexit {done.returncode}\n{done.stdout!r}\n{done.stderr!r}'
    assert done.returncode == code, told
    if out is not None:
        assert done.stdout == (out if isinstance(out, bytes) else out.encode()), told
    if err is None:
        assert done.stderr == b'', told
    else:
        assert err in done.stderr.decode(), told
    return done.stdout.decode('utf-8', 'surrogateescape')


def rows(*args, **more):
    """The objects that the command prints with --json."""
    return [json.loads(line) for line in run(*args, '--json', **more).splitlines()]


def words(name='w'):
    run('load', name, '--key', '3', stdin=WORDS, out='3 records stored\n')
    return name


def patch(name, offset, data):
    with open(name, 'r+b') as f:
        f.seek(offset)
        f.write(data)


def content(name):
    with open(name, 'rb') as f:
        return f.read()


# ---- every command --------------------------------------------------------------------------


def case_records_come_back_in_order():
    words()
    run('get', 'w', 'cow', 'cat', out='cow кошка\ncat a small animal\n')
    run('get', 'w', 'cow', 'zebra', 'cat', code=1, out='cow кошка\ncat a small animal\n',
        err='kvor: w: zebra: absent\n')
    run('list', 'w', out='cat a small animal\ncow кошка\ndog a friend\n')
    run('list', 'w', '--keys', out='cat\ncow\ndog\n')
    run('list', 'w', '--from', 'ci', '--limit', '1', out='cow кошка\n')
    run('list', 'w', '--from', 'z', out='')
    run('del', 'w', 'cat', 'cat', 'dog', code=1, out='', err='kvor: w: cat: absent\n')
    run('list', 'w', out='cow кошка\n')
    run('clear', 'w', out='')
    run('list', 'w', out='')
    run('check', 'w', out='w: sound, 0 records\n')


def case_each_layout_prints_what_was_loaded():
    front = 'x' * 39
    texts = {
        0: [front + 'key text', front + 'key2 '], 1: ['xxxxxxkey text'], 2: ['xxxxkey text'],
        3: ['ключ текст', 'key  two blanks\tand a tab'], 4: ['ice cream\tcold', 'key', 'key2\t'],
        5: ['-5\tminus', '12\ttwelve'], 6: ['ice cream\tcold\tsweet', 'key', 'key2\t'],
        7: ['-2147483648\tlow', '0\t', '2147483647\thigh'], 8: ['ice cream\tcold', 'key\t'],
    }
    for layout, lines in texts.items():
        name = f'f{layout}'
        text = ''.join(line + '\n' for line in lines)
        run('create', name, '--key', str(layout), out='')
        assert rows('load', name, stdin=text)[0]['stored'] == len(lines)
        assert sorted(run('list', name).splitlines()) == sorted(lines), layout
        # Lines and bytes both make the same file again.
        for form in ([], ['--hex']):
            run('load', name + 'b', '--key', str(layout), *form, stdin=run('list', name, *form))
            assert run('list', name + 'b', '--hex') == run('list', name, '--hex')
            os.remove(name + 'b')
        keys = run('list', name, '--keys').splitlines()
        run('get', name, '--', *keys, out=run('list', name))
        run('del', name, '--', *keys, out='')
        run('check', name, out=f'{name}: sound, 0 records\n')
    run('load', 'i', '--key', '7', stdin='5 five\n', out='1 record stored\n')
    run('list', 'i', out='5\tfive\n')


def case_load_reports_what_it_leaves_out():
    words()
    run('load', 'w', stdin='cat again\nelk\neel long\n\nb\0d x\nb\xff y\n'.encode('latin-1'), code=1,
        out='1 record stored, 1 left alone: the key is there, 4 lines refused\n',
        err='kvor: standard input:2: Record contains a wrong key\n'
            'kvor: standard input:4: an empty line\n'
            'kvor: standard input:5: a zero byte inside the text\n'
            'kvor: standard input:6: not valid UTF-8\n')
    with open('more', 'wb') as f:
        f.write(b'\xef\xbb\xbfcat once more\r\nfox red')  # a mark in front, no line end behind
    run('load', 'w', 'more', '--replace', out='2 records stored\n')
    run('get', 'w', 'cat', 'fox', out='cat once more\nfox red\n')
    run('load', 'w', stdin='k' * 127 + ' x\n', code=1, err='standard input:1: ',
        out='0 records stored, 1 line refused\n')
    run('load', 'w', 'missing', code=2, err='kvor: missing: No such file or directory\n')
    run('load', 'w', '.', code=2, err='kvor: .: cannot be read\n', out='0 records stored\n')
    run('load', 'new', stdin='a b\n', code=2, err='kvor: new: NONEXISTENT FILE')
    assert not os.path.exists('new')
    run('load', 'w', '--key', '7', stdin='5 x\n', code=2, err='kvor: w: Keydescr error\n')


def case_long_records_survive():
    lines = ''.join(f'k{n} {"x" * (n * 700)}\n' for n in range(1, 60))
    run('load', 'w', '--key', '3', stdin=lines, out='59 records stored\n')
    assert sorted(run('list', 'w').splitlines()) == sorted(lines.splitlines())
    stat = rows('stat', 'w')[0]
    assert stat['records'] == 59 and stat['externalRecords'] == 57 and stat['sound'], stat
    assert stat['longestRecord'] == 59 * 700 + 5
    assert stat['fileSize'] == os.path.getsize('w')


def case_batch_answers_each_line():
    words()
    script = ('put ant small\nput ant again\nreplace ant big\nget ant\nget bee\n\n# a remark\ncount\n'
              'next\nfrom co\nnext\nnext\nnext\nrewind\nnext\ndel ant\ndel ant\n')
    run('batch', 'w', stdin=script,
        out='ok\nexists\nok\nok ant big\nabsent\nok 4\nok ant big\nok\nok cow кошка\n'
            'ok dog a friend\nend\nok\nok ant big\nok\nabsent\n')
    run('batch', 'w', stdin='fly\nput noblank\nget\nput ok then\n', code=1,
        out='error unknown command\nerror Record contains a wrong key\nerror Empty key\nok\n')
    key, record = b'hex'.hex(), b'hex \x01\xff'.hex()
    run('batch', 'w', '--hex', stdin=f'put {record}\nget {key}\nfrom {key}\nnext\nput 0g\n', code=1,
        out=f'ok\nok 6 {sum(bytes.fromhex(record)):08x}\nok\n'
            f'ok {key} 6 {sum(bytes.fromhex(record)):08x}\n'
            'error not an even number of hexadecimal digits\n')
    answers = rows('batch', 'w', stdin='get cat\nget none\nnothing\n', code=1)
    assert [a['answer'] for a in answers] == ['ok', 'absent', 'error']


def case_batch_answers_before_it_waits():
    words()
    with subprocess.Popen([KVOR, 'store', 'batch', 'w'], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as batch:
        for _ in range(3):
            batch.stdin.write(b'get cat\n')
            batch.stdin.flush()
            assert batch.stdout.readline() == b'ok cat a small animal\n'
        batch.stdin.close()
        assert batch.wait(10) == 0


def case_copy_and_upgrade():
    words()
    run('copy', 'w', 'копия 🐈', out='3 records copied\n')
    assert run('list', 'копия 🐈') == run('list', 'w')
    run('copy', 'w', 'копия 🐈', code=2, err='FILE ALREADY EXISTS')
    run('copy', 'w', 'w', '--replace', code=2, err='is the file that is to be copied')
    run('copy', 'w', 'копия 🐈', '--replace', out='3 records copied\n')
    run('copy', 'none', 'c', code=2, err='kvor: none: NONEXISTENT FILE\n')
    assert not os.path.exists('c')
    patch('w', 0, b'\x17')  # version 23
    run('load', 'w', stdin='long ' + 'x' * 5000 + '\n', out='1 record stored\n')
    run('upgrade', 'w', code=2, err='1 long record could not be read')
    run('copy', 'w', 'c', out='4 records copied\n')
    run('del', 'w', 'long')
    run('upgrade', 'w', out='')
    assert rows('stat', 'w')[0]['version'] == 24
    run('check', 'c', out='c: sound, 4 records\n')


def case_json_is_valid_whatever_the_bytes():
    nasty = '"\\\x01\x1f\x7f é🐈'
    run('load', 'w', '--key', '3', stdin=f'{nasty}\n')
    key = nasty.split(' ')[0]
    assert rows('get', 'w', key)[0]['record'] == nasty
    assert rows('list', 'w')[0] == {'key': key, 'size': len(nasty.encode()) + 1, 'record': nasty}
    run('load', 'b', '--key', '3', '--hex', stdin='ff20fe\n')
    assert rows('list', 'b') == [{'keyHex': 'ff', 'size': 3, 'recordHex': 'ff20fe'}]
    assert rows('list', 'b', '--hex', '--keys') == [{'keyHex': 'ff'}]
    run('load', 'i', '--key', '5', stdin='-7\tx\n')
    assert rows('list', 'i') == [{'key': -7, 'size': 8, 'record': '-7\tx'}]
    assert rows('get', 'i', '-7', '8', code=1, err='8: absent')[1] == {'key': 8, 'found': False}
    assert rows('del', 'i', '-7', '8', code=1, err='8: absent')[0]['deleted']
    assert rows('create', 'c', '--key', '6') == [{'file': 'c', 'layout': 6}]
    assert rows('load', 'c', stdin='x\nx\n', code=1)[0]['present'] == 1
    assert rows('check', 'c')[-1]['sound']
    assert rows('copy', 'c', 'd')[0]['records'] == 1
    assert rows('salvage', 'c', 'e')[0]['saved'] == 1
    assert rows('upgrade', 'c')[0]['version'] == 24
    assert rows('clear', 'c')[0]['cleared']
    patch('b', PAGE, b'z')
    found = rows('check', 'b', code=1)
    assert found[0]['kind'] == 'damage' and found[0]['fileOffset'] == PAGE, found


def case_example_of_the_format_is_what_the_tool_writes():
    run('load', 'tiny.kv', '--key', '3', stdin='cat кошка\ndog a friend\n')
    run('load', 'tiny.kv', stdin='zoo ' + 'z' * 3000 + '\n')
    made = content('tiny.kv')
    assert len(made) == 3 * PAGE
    with open(os.path.join(HERE, '../../docs/store-format.md'), encoding='utf-8') as page:
        dump = [line[4:].split('  ')[0] for line in page if re.match('    [0-9a-f]{8}: ', line)]
    assert len(dump) == 8
    for line in dump:
        at, data = line.split(': ')
        expected = bytes.fromhex(data)
        assert made[int(at, 16):int(at, 16) + len(expected)] == expected, line


def case_help_and_version():
    def text(*args, code=0):
        done = subprocess.run([KVOR, *args], capture_output=True, text=True, timeout=60)
        assert done.returncode == code, done
        return done.stdout + done.stderr
    assert text('--version').startswith('kvor ')
    assert 'Exit codes' in text('--help') and 'layout' in text('store', '--help')
    for command in ('create', 'load', 'get', 'list', 'del', 'stat', 'clear', 'upgrade', 'copy',
                    'batch', 'check', 'salvage'):
        assert command in text('store', '--help')
        assert '--json' in text('store', command, '--help')
    assert 'unknown command: fly' in text('store', 'fly', code=2)
    assert text(code=2) and text('store', 'get', code=2) and text('store', 'get', 'w', code=2)
    assert text('store', 'create', 'w', '--key', '9', code=2) and text('store', 'create', 'w', code=2)
    assert not os.path.exists('w')


# ---- bad input ------------------------------------------------------------------------------

READERS = [('get', 'KEY'), ('list',), ('stat',)]
WRITERS = [('load',), ('del', 'KEY'), ('clear',), ('upgrade',), ('batch',)]


def case_files_that_are_none():
    open('empty', 'wb').close()
    with open('foreign', 'wb') as f:
        f.write(b'\x89PNG' * 3000)
    os.mkdir('folder')
    words('short')
    os.truncate('short', 100)
    told = {'empty': 'SYSTEM ERROR', 'foreign': 'FILE CORRUPTED', 'folder': 'SYSTEM ERROR',
            'short': 'SYSTEM ERROR', 'missing': 'NONEXISTENT FILE'}
    for name, expected in told.items():
        before = content(name) if os.path.isfile(name) else None
        for command, *rest in READERS + WRITERS:
            run(command, name, *rest, code=2, err=f'kvor: {name}: {expected}')
        run('copy', name, 'to', code=2, err=f'kvor: {name}: {expected}')
        assert not os.path.exists('to')
        if before is not None:
            run('check', name, code=1)
            run('salvage', name, 'to', code=2, err='the header is lost')
            assert content(name) == before
            run('create', name, '--key', '3', code=2, err=f'kvor: {name}: SYSTEM ERROR')
    run('check', 'missing', code=2, err='kvor: missing: NONEXISTENT FILE')
    run('check', 'folder', code=2, err='kvor: folder: SYSTEM ERROR')
    run('create', 'no/folder/f', '--key', '3', code=2, err='kvor: no/folder/f: NONEXISTENT FILE')


def case_paths_too_long():
    short, long = 'f' * 126, 'f' * 127
    run('create', short, '--key', '3')
    run('check', short)
    run('create', long, '--key', '3', code=2, err=f'kvor: {long}: Wrong file name')
    run('list', long, code=2, err=f'kvor: {long}: Wrong file name')
    run('salvage', short, 'd/' + long, code=2, err='')


def case_keys_that_cannot_be():
    words()
    run('get', 'w', 'a b', code=1, err='kvor: w: a b: Stop symbol inside key\n')
    run('get', 'w', 'k' * 128, code=1, err=': Key too long\n')
    run('get', 'w', '', code=2, err='Empty key')
    run('create', 'i', '--key', '7')
    run('get', 'i', '99999999999', code=2, err='not a whole number of 32 bits')
    run('get', 'w', 'x', '--hex', code=2, err='not an even number of hexadecimal digits')


def case_read_only_file():
    words()
    os.chmod('w', 0o444)
    run('get', 'w', 'cat', out='cat a small animal\n')
    run('check', 'w', out='w: sound, 3 records\n')
    if os.geteuid() == 0:
        return  # root writes to anything
    for command, *rest in WRITERS:
        run(command, 'w', *rest, code=2, err='kvor: w: SYSTEM ERROR')


def case_damaged_file_is_told_and_salvaged():
    lines = [f'key{n:04} {"text " * 20}\n' for n in range(400)]
    run('load', 'w', '--key', '3', stdin=''.join(lines))
    data = content('w')
    first = int.from_bytes(data[8:10], 'little')
    patch('w', first * PAGE + 60, b'#')
    out = run('check', 'w', code=1)
    assert out.startswith(f'page {first} offset 12: damage: the checksum of the record is wrong\n')
    assert out.endswith('w: damaged, 400 records reached, 1 place damaged\n')
    run('get', 'w', 'key0000', code=2, err='kvor: w: CHECKSUM ERROR')
    run('list', 'w', code=2, err='kvor: w: CHECKSUM ERROR')
    run('list', 'w', '--from', 'key0000', code=2, err='kvor: w: CHECKSUM ERROR')
    damaged = content('w')
    run('batch', 'w', stdin='put before it\nnext\nnext\nnext\ndel before\n', code=1,
        out='ok\nok before it\nerror CHECKSUM ERROR\nend\nok\n')
    with open('w', 'wb') as file:
        file.write(damaged)
    out = run('salvage', 'w', 's', code=1)
    assert '399 records saved; the damaged file\'s header counts 400\n' in out, out
    assert content('w') == damaged
    assert run('list', 's') == ''.join(lines[1:])
    run('salvage', 'w', 's', code=2, err='kvor: s: FILE ALREADY EXISTS')

    patch('w', 0, b'\0' * PAGE)
    run('salvage', 'w', 't', code=2, err='kvor: w: the header is lost')
    run('salvage', 'w', 't', '--key', '3', code=0)
    assert run('list', 't') == ''.join(lines[1:])


def case_file_marked_as_corrupted_takes_no_updates():
    words()
    patch('w', 16, b'\1')
    run('list', 'w', out='cat a small animal\ncow кошка\ndog a friend\n')
    run('check', 'w', code=1)
    for command, *rest in WRITERS:
        if command not in ('clear', 'batch'):
            run(command, 'w', *rest, stdin='elk big\n', code=2, err='marked as corrupted')
    run('batch', 'w', stdin='put elk big\n', code=1,
        out='error SUCCESS (the file is marked as corrupted and takes no updates)\n')
    run('clear', 'w')
    run('check', 'w', out='w: sound, 0 records\n')


# ---- the world around -----------------------------------------------------------------------


def case_full_disk_for_the_answers():
    words()
    for args in (['list', 'w'], ['get', 'w', 'cat'], ['stat', 'w'], ['check', 'w'], ['--help'],
                 ['batch', 'w']):
        with open('/dev/full', 'wb') as full:
            done = subprocess.run([KVOR, 'store', *args], input=b'get cat\n', stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        assert done.returncode == 2, (args, done)
        assert b'kvor: standard output: No space left' in done.stderr, (args, done)


def case_full_disk_for_the_records():
    def limit():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (40 * PAGE, 40 * PAGE))
    lines = ''.join(f'k{n:04} {"x" * 400}\n' for n in range(1000))
    out = run('load', 'w', '--key', '3', stdin=lines, code=2, err='kvor: w: SYSTEM ERROR',
              preexec_fn=limit)
    stored = int(out.split()[0])
    assert 100 < stored < 1000
    assert run('list', 'w') == ''.join(line + '\n' for line in lines.splitlines()[:stored])
    assert rows('check', 'w')[-1]['sound']


def case_closed_pipe_ends_the_tool_quietly():
    lines = ''.join(f'k{n:05} {"x" * 50}\n' for n in range(20000))
    run('load', 'w', '--key', '3', stdin=lines)
    with subprocess.Popen([KVOR, 'store', 'list', 'w'], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as lister:
        assert lister.stdout.readline().startswith(b'k00000 ')
        lister.stdout.close()
        assert lister.wait(20) == 2
        assert lister.stderr.read() == b''


def case_interrupted_load_leaves_a_sound_file():
    run('create', 'w', '--key', '3')
    with subprocess.Popen([KVOR, 'store', 'load', 'w'], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as loader:
        try:
            for n in range(10 ** 6):
                loader.stdin.write(f'k{n:07} {"x" * 100}\n'.encode())
                if n == 20000:
                    time.sleep(0.3)
                    loader.send_signal(signal.SIGINT)
        except BrokenPipeError:
            pass
        loader.stdin = None
        out, err = loader.communicate(timeout=20)
    assert loader.returncode in (2, -signal.SIGINT), (loader.returncode, err)
    check = rows('check', 'w')[-1]
    assert check['sound'] and check['records'] > 1000, check
    if loader.returncode == 2:
        assert b'interrupted' in err
        assert int(out.split()[0]) == check['records']


def main():
    global KVOR
    cases = {name[5:]: case for name, case in globals().items() if name.startswith('case_')}
    if sys.argv[1] == '--list':
        print('\n'.join(cases))
        return 0
    KVOR = os.path.abspath(sys.argv[1])
    failures = 0
    for name in sys.argv[2:] or cases:
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            try:
                cases[name]()
            except Exception:  # pylint: disable=broad-except
                failures += 1
                print(f'{name}: failed', file=sys.stderr)
                traceback.print_exc()
            os.chdir('/')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
