#!/usr/bin/env bash
# Checks every #include "..." of src/ and tools/ against the layer table (scripts/layers.txt):
# a file may include its own layer and the layers its row names; src/ includes nothing from
# outside src/; tools/ take from src/ only what the tools row names. Prints
# "file:line: includes X, which layer Y may not use" for each include outside the table and exits
# 1 when there is one. It also checks that docs/architecture.md quotes the table as it is.
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 - scripts/layers.txt <<'PY'
import os, re, sys

layers = {}   # name -> set of layers it may include, or None for all
paths = []    # (path, layer), deepest first
rows = []     # the table's rows, words only, for the quote in the doc
with open(sys.argv[1]) as f:
    for n, line in enumerate(f, 1):
        words = line.split('#', 1)[0].split()
        if not words:
            continue
        if len(words) < 3:
            sys.exit(f"{sys.argv[1]}:{n}: a row needs a layer, its paths and what it may include")
        rows.append(words)
        name, where, may = words[0], words[1].split(','), words[2:]
        layers[name] = None if may == ['*'] else set() if may == ['-'] else set(may)
        paths += [(p.rstrip('/'), name) for p in where]
for name, may in layers.items():
    for other in may or ():
        if other not in layers:
            sys.exit(f"{sys.argv[1]}: layer {name} names {other}, which has no row")
paths.sort(key=lambda p: -len(p[0]))

def layer_of(path):
    for prefix, name in paths:
        if path == prefix or path.startswith(prefix + '/'):
            return name
    return None

# docs/architecture.md quotes the table in the code block after its marker line.
doc, quoted, at = 'docs/architecture.md', None, 1
with open(doc) as f:
    lines = f.read().split('\n')
for n, line in enumerate(lines):
    if line.strip() == '<!-- layers.txt -->':
        at, first = n + 1, n + 2
        last = lines.index('```', first) if '```' in lines[first:] else len(lines)
        quoted = [l.split() for l in lines[first:last] if l.split()]
bad = 0
if quoted != rows:
    print(f"{doc}:{at}: the quoted layer table is not the one of {sys.argv[1]}")
    bad += 1

include = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
for top in ('src', 'tools'):
    for root, dirs, files in os.walk(top):
        dirs.sort()
        for fn in sorted(files):
            if not fn.endswith(('.h', '.cc')):
                continue
            path = os.path.join(root, fn)
            own = layer_of(path)
            if own is None:
                print(f"{path}:1: belongs to no layer of scripts/layers.txt")
                bad += 1
                continue
            with open(path, errors='replace') as f:
                for n, line in enumerate(f, 1):
                    m = include.match(line)
                    if not m:
                        continue
                    target = m.group(1)
                    in_src = os.path.isfile(os.path.join('src', target))
                    if not in_src:
                        if top == 'src' and not os.path.isfile(os.path.join(root, target)):
                            print(f"{path}:{n}: includes {target}, which is not part of src/")
                            bad += 1
                        continue
                    theirs = layer_of(os.path.join('src', target))
                    may = layers[own]
                    if theirs == own or may is None or theirs in may:
                        continue
                    print(f"{path}:{n}: includes {target}, which layer {own} may not use "
                          f"(it is in layer {theirs})")
                    bad += 1
if bad:
    print(f"{bad} finding(s) against the layers of scripts/layers.txt (docs/architecture.md)")
    sys.exit(1)
PY
