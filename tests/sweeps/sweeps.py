#!/usr/bin/env python3
"""Compares the tool kvor with the programs of this machine that do the same, on what the machine has.

    sweeps.py --list             the names of all sweeps
    sweeps.py KVOR NAME...       runs these sweeps with that tool; all of them without names

Where the two are known to differ, a table here says so with the reason; what it says is checked, too.
"""
import collections
import gzip
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
from events import documents_of, events_of  # pylint: disable=wrong-import-position

KVOR = os.path.abspath(sys.argv[1])
SKIPPED = 77
# Bounds of a run; more documents are sampled evenly. Higher ones can be set for a run by hand.
MOST_DOCUMENTS = int(os.environ.get('KVOR_SWEEP_DOCUMENTS', 3000))
MOST_TEXT = int(os.environ.get('KVOR_SWEEP_TEXT', 2_000_000))  # characters
DAMAGED = int(os.environ.get('KVOR_SWEEP_DAMAGED', 250))  # documents


def run(*command, stdin=b'', codes=(0,), **more):
    done = subprocess.run(command, input=stdin, capture_output=True, timeout=300, **more)
    assert done.returncode in codes, (command[:6], done.returncode, done.stderr[-2000:])
    return done.stdout


def kvor(*args, **more):
    return run(KVOR, *args, **more)


def write(name, data):
    with open(name, 'wb') as f:
        f.write(data)
    return name


def need(*programs):
    missing = [p for p in programs if not (os.path.exists(p) if '/' in p else shutil.which(p))]
    if missing:
        print('missing:', *missing)
        sys.exit(SKIPPED)


def real_files(folder):
    for path, folders, names in os.walk(folder):
        folders.sort()
        for name in sorted(names):
            file = os.path.join(path, name)
            if os.path.isfile(file) and not os.path.islink(file) and os.access(file, os.R_OK):
                yield file


# ---- digests ---------------------------------------------------------------------------------


def sweep_digests_are_those_of_md5sum():
    sizes = [*range(3), *range(54, 66), *range(118, 130), 1023, 1024, 1025, 65537, 3 << 20]
    files = [write(f'size {n}', random.Random(n).randbytes(n)) for n in sizes]
    files += [write(name, b'x') for name in (b'new\nline', b'back\\slash', b'cr\rname', b'-', b'--json',
                                             b'-c', ' кот'.encode(), b'\xff', b'a' * 255)]
    files += [*real_files('/usr/bin')][:400] + [*real_files('/usr/share/doc')][:400]
    files = [file for file in files if file not in ('-', b'-')] + ['./-']
    theirs = run('md5sum', '--', *files)
    assert kvor('md5', '--', *files) == theirs
    run('md5sum', '-c', '--quiet', stdin=theirs)
    print(len(files), 'files')


# ---- code pages ------------------------------------------------------------------------------

# Real texts: dictionaries, without the pronunciation that no code page has letters for.
TEXTS = {'Russian': ('mueller7', r'\[[^\]]*\]'), 'German': ('freedict-deu-ita', r' /[^/\n]*/'),
         'Japanese': ('freedict-jpn-rus', r' /[^/\n]*/')}
CYRILLIC = {'1251': 'cp1251', '866': 'cp866', 'koi8-r': 'koi8-r', '28595': 'iso8859-5'}
WESTERN = {'1252': 'cp1252', '28591': 'iso8859-1', '28605': 'iso8859-15'}
JAPANESE = {'shift_jis': 'cp932', '51932': 'euc-jp'}
UNICODE = {'65001': 'utf-8', '1200': 'utf-16le', '1201': 'utf-16be'}
PAGES = {**CYRILLIC, **WESTERN, **JAPANESE, **UNICODE}
OWN_PAGES = {'Russian': CYRILLIC, 'German': WESTERN, 'Japanese': JAPANESE}

# What the two have in different places of a page, or one of them not at all.
DIFFERENT = {'51932': {'〜': 'A1 C1 is U+FF5E here, as in all pages of this family, and U+301C there',
                       '驎': 'in the added rows here, in the third plane of three bytes there'}}


def texts():
    need('iconv', *(f'/usr/share/dictd/{name}.dict.dz' for name, _ in TEXTS.values()))
    read = {}
    for language, (name, sounds) in TEXTS.items():
        with gzip.open(f'/usr/share/dictd/{name}.dict.dz', 'rt', encoding='utf-8') as f:
            read[language] = re.sub(sounds, '', f.read(MOST_TEXT))
    return read


def iconv(data, source, to, *options):
    return run('iconv', *options, '-f', source, '-t', to, stdin=data, codes=(0, 1))


def convert(data, source, to):
    """With what is not in the code page replaced, which the code 1 tells."""
    return kvor('text', 'convert', '--from', source, '--to', to, '-', stdin=data, codes=(0, 1))


def sweep_texts_become_what_iconv_makes_of_them():
    read = texts()
    characters = sorted(set(''.join(read.values())) - {'\n'})
    everything = '\n'.join(characters).encode()

    def the_same(plain):
        return {c for c, again in zip(characters, plain.decode().split('\n')) if c == again}

    for page, name in PAGES.items():
        ours = the_same(convert(convert(everything, '65001', page), page, '65001'))
        theirs = the_same(iconv(iconv(everything, 'utf-8', name, '-c'), name, 'utf-8'))
        differ = DIFFERENT.get(page, {}).keys()
        assert ours ^ theirs <= differ, (page, ours - theirs, theirs - ours)
        both = (ours & theirs) - differ
        for language, text in read.items():
            lines = text.split('\n')
            kept = [line for line in lines if both.issuperset(line)]
            needed = page in UNICODE or page in OWN_PAGES[language]
            assert len(kept) > len(lines) * (0.99 if needed else 0.3), (page, language, len(kept))
            plain = '\n'.join(kept).encode()
            coded = iconv(plain, 'utf-8', name)
            assert convert(plain, '65001', page) == coded, (page, language)
            assert convert(coded, page, '65001') == plain, (page, language)
            print(page, language, len(kept), 'of', len(lines), 'lines')


# ---- documents -------------------------------------------------------------------------------

def read_by_us(files):
    shown = kvor('xml', 'show', '--exact', '--json', *files, codes=(0, 2)).splitlines()
    return {told['file']: events_of(told['root'], []) for told in map(json.loads, shown)}


def read_by_xmllint(files):
    return documents_of(run('xmllint', '--nonet', '--c14n', *files).decode())


def documents():
    """All files under /usr/share that call themselves XML, by their name or their first bytes."""
    for file in real_files('/usr/share'):
        with open(file, 'rb') as f:
            if file.endswith(('.xml', '.svg', '.xsl', '.xsd', '.rng')) or f.read(5) == b'<?xml':
                yield file


EXTERNAL = re.compile(rb'(SYSTEM|PUBLIC\s+(?:"[^"]*"|\'[^\']*\'))\s+(?:"[^"]*"|\'[^\']*\')')


def without_external_data(file):
    """A copy whose external entities and DTD are nowhere. Ours never opens any of them."""
    with open(file, 'rb') as f:
        return write('cut off', EXTERNAL.sub(rb'SYSTEM "none"', f.read()))


def sweep_documents_hold_what_xmllint_reads():
    need('xmllint')
    files = [*documents()]
    files = files[::len(files) // MOST_DOCUMENTS + 1]
    if len(files) < 20:
        need('documents under /usr/share')
    ours = read_by_us(files)
    accepted = [file for file in files if file in ours]
    for file in set(files) - set(accepted):
        run('xmllint', '--nonet', '--noout', file, codes=range(1, 10))
    theirs = dict(zip(accepted, read_by_xmllint(accepted)))
    different = [file for file in accepted if ours[file] != theirs[file]]
    for file in different:
        copy = without_external_data(file)
        assert [ours[file]] == read_by_xmllint([copy]), file
    print(f'{len(files)} documents, {len(accepted)} accepted by both, {len(different)} with external data')


def damaged(data, chance):
    at = chance.randrange(min(len(data), chance.choice([100, len(data)])))
    sign = chance.choice([b'<', b'>', b'&', b'"', b"'", b'/', b'=', b' ', b'\1', b'\xff', b'\xc3', b'?',
                          b'!', b'-', b']', b':', b';', b'a', b'0', b'\0', b'\r', b'\xef\xbf\xbf'])
    cut, put = chance.choice([(1, b''), (1, sign), (0, sign), (0, data[at:at + chance.randrange(1, 30)])])
    return data[:at] + put + data[at + cut:]


# Damage of which the two think differently: what it looks like in the document, in our words, or in
# those of xmllint.
THOUGHT_DIFFERENTLY = {
    'any version number is taken here, as in older editions of XML': lambda data, ours, theirs: re.match(
        rb'(\xef\xbb\xbf)?<\?xml\s+version\s*=\s*["\'](?!1\.\d+["\'])[\w.:-]+["\']', data) and not ours,
    'UTF-08 and the like are guessed there': lambda data, ours, theirs: b'the encoding of' in ours,
    'no blank is needed behind <!DOCTYPE there': lambda data, ours, theirs: re.search(
        rb'<!DOCTYPE\S', data) and ours,
    'a name space that is wrong is told there and passed': lambda data, ours, theirs: b'namespace' in theirs}


def why_differently(name, theirs):
    ours = subprocess.run([KVOR, 'xml', 'show', name], capture_output=True, check=False).stderr
    with open(name, 'rb') as f:
        data = f.read()
    reasons = [why for why, holds in THOUGHT_DIFFERENTLY.items() if holds(data, ours, theirs)]
    assert reasons, (data[:200], ours, theirs)
    return reasons[0]


def sweep_damaged_documents_are_refused_when_xmllint_refuses_them():
    need('xmllint')
    small = [file for file in documents() if 100 < os.path.getsize(file) < 3000] or sys.exit(SKIPPED)
    chance = random.Random(1)
    for n in range(DAMAGED):
        with open(chance.choice(small), 'rb') as f:
            write(f'{n}', damaged(f.read(), chance))
    names = [f'{n}' for n in range(DAMAGED)]
    ours = read_by_us(names)
    told = collections.Counter()
    for name in names:
        done = subprocess.run(['xmllint', '--nonet', '--noout', name], capture_output=True, check=False)
        kind = 'refused' if done.returncode else 'accepted'
        if (kind == 'accepted') != (name in ours):
            kind = why_differently(name, done.stderr)
        told[kind] += 1
    assert min(told['accepted'], told['refused']) > DAMAGED / 5, told
    print(dict(told))


# ---- what is written -------------------------------------------------------------------------

MARKS = {'65001': b'\xef\xbb\xbf', '1200': b'\xff\xfe'}


def document_of(lines, name):
    """Lines in attributes, as text, and mixed with elements, with all that has to be escaped."""
    rows = []
    for line in lines:
        line = line.replace('&', '&amp;').replace('<', '&lt;').replace('"', '&quot;')
        rows.append(f'<r a="{line}" {name}="\\n&#13;&#10;&apos;">{line}<i/>&gt;\n</r><e/>')
    return f'<t>{"".join(rows)}\n<e a="x"/></t>'.encode()


def without_blanks(events):
    return [event for event in events if not isinstance(event, str) or event.strip()]


def check_written(page, name, indented):
    kvor('xml', 'convert', 'plain', '--cp', page, *indented, '--output', 'made', '--replace')
    with open('made', 'rb') as f:
        made = f.read()
    assert made.startswith(MARKS.get(page, b'') + '<?xml version="1.0" encoding="'.encode(name)), page
    plain, again = read_by_us(['plain', 'made']).values()
    assert [again] == read_by_xmllint(['made']), page
    if indented:
        assert len(again) > len(plain) and made.count('\r\n\t<'.encode(name)) > 100
        plain, again = without_blanks(plain), without_blanks(again)
    assert plain == again, page


def sweep_documents_come_back_in_each_encoding_and_form():
    need('xmllint')
    for language, text in texts().items():
        lines = text[:60000].split('\n')[100:400]
        for page, name in {**OWN_PAGES[language], '65001': 'utf-8', '1200': 'utf-16le'}.items():
            if page == 'shift_jis':  # whose backslash is a yen sign there
                continue
            write('plain', document_of(lines, 'b' if page in WESTERN else 'б'))
            write('made', b'older and longer ' * 99999)
            for indented in [], ['--indent']:
                check_written(page, name, indented)


# ---- no room, no permission ------------------------------------------------------------------

NO_ROOM = b'kvor: standard output: No space left on device'


def refuses(*args, words, **more):
    done = subprocess.run([*more.pop('prefix', []), KVOR, *args], stderr=subprocess.PIPE, timeout=60,
                          check=False, **more)
    assert done.returncode == 2 and words in done.stderr, (args, done)


def little_room():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))


def sweep_full_disks_and_closed_folders_are_told_and_nothing_is_lost():
    write('text', b'word\n' * 9999)
    write('document', b'<t>' + b'<a b="c">text</a>\n' * 9999 + b'</t>')
    write('errors', b'<errors><error message="m" type="Warning"/></errors>')
    for command in ('md5 text', 'text convert text', 'text detect text', 'xml show document', 'cond a a=1',
                    'xml convert document --cp 1251', 'table show text', 'errors show errors',
                    'lang word', 'md5 text --json', 'xml show --json document'):
        with open('/dev/full', 'wb') as full:
            refuses(*command.split(), words=NO_ROOM, stdout=full)
    os.mkdir('folder')
    os.chmod('folder', 0o555)
    powerless = []
    if os.geteuid() == 0:
        need('setpriv')
        powerless = ['setpriv', '--bounding-set', '-dac_override']
    write('old', b'old')
    before = sorted(os.listdir())
    for command in 'text convert text', 'xml convert document --cp 1251 --replace', 'xml convert document --cp 1200':
        target = [*command.split(), '--output']
        refuses(*target, 'new', words=b'new: ', preexec_fn=little_room)
        refuses(*target, 'old', '--replace', words=b'old: ', preexec_fn=little_room)
        refuses(*target, 'folder/new', words=b'folder/new: ', prefix=powerless)
        refuses(*target, 'none/new', words=b'none/new: ')
    assert sorted(os.listdir()) == before and not os.listdir('folder')
    with open('old', 'rb') as f:
        assert f.read() == b'old'


SWEEPS = {name[6:]: sweep for name, sweep in globals().items() if name.startswith('sweep_')}
if sys.argv[1] == '--list':
    sys.exit(print('\n'.join(SWEEPS)))
for chosen in sys.argv[2:] or SWEEPS:
    with tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        os.environ.update(HOME=place, USERPROFILE=place, XDG_CONFIG_HOME='', LC_ALL='C.UTF-8')
        SWEEPS[chosen]()
        os.chdir('/')
