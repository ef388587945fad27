"""What a document holds: a list of start tags as (name, attributes), texts, and None for end tags.

From canonical XML, as xmllint writes it, and from the objects that `kvor xml show --json` prints.
"""
import re

TOKEN = re.compile(r'<!--.*?-->|<\?.*?\?>|<(/?)([^\s<>/]+)((?: [^\s=]+="[^"]*")*)>|([^<]+)', re.S)
ATTRIBUTE = re.compile(r' ([^\s=]+)="([^"]*)"')
REFERENCE = re.compile('&(amp|lt|gt|quot|#x[0-9A-F]+);')
SIGNS = {'amp': '&', 'lt': '<', 'gt': '>', 'quot': '"'}


def unescaped(text):
    return REFERENCE.sub(lambda m: SIGNS.get(m[1]) or chr(int(m[1][2:], 16)), text)


def attributes(text):
    """As our reader tells them: escapes of our own undone, declarations of name spaces left out."""
    undo = lambda value: re.sub(r'\\(\\|n)', lambda m: '\r\n' if m[1] == 'n' else m[1], unescaped(value))
    return {name: undo(value) for name, value in ATTRIBUTE.findall(text)
            if name.split(':')[0] != 'xmlns'}


def put_text(events, text):
    if isinstance(events[-1], str):
        events[-1] += text
    else:
        events.append(text)


def documents_of(canonical):
    """What xmllint has written one behind the other, without comments and instructions."""
    documents, events, depth, at = [], [], 0, 0
    for m in TOKEN.finditer(canonical):
        assert m.start() == at, canonical[at:at + 80]
        at = m.end()
        if m[2]:
            depth += -1 if m[1] else 1
            events.append(None if m[1] else (m[2], attributes(m[3])))
            if depth == 0:
                documents.append(events)
                events = []
        elif m[4] and depth:
            put_text(events, unescaped(m[4]))
    return documents


def events_of(node, events):
    if 'tag' not in node:
        put_text(events, node['text'])
        return events
    events.append((node['tag'], node.get('attributes', {})))
    for inner in node.get('nodes', []):
        events_of(inner, events)
    if 'text' in node:
        put_text(events, node['text'])
    events.append(None)
    return events
