#!/usr/bin/env python3
"""Holds every #include of the library to the dependency table of the README.

The README's Layout section has two tables this script reads:
  - "may include from": for each folder of utils/, the folders whose internal
    and public headers it may include, and the third-party header prefixes that
    only the folders naming them may include;
  - "What is here": for each public header, the folder that implements it.

Also checked: operating-system headers and environment calls appear only in
utils/platform/, and the SDK stand-in includes nothing of the library.

Usage: check-layering.py [ROOT]   exit 0 when clean, 1 with one line per fault.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
# Headers through which code reaches the operating system directly.
OS_HEADERS = re.compile(r'^(unistd\.h|fcntl\.h|pwd\.h|grp\.h|dirent\.h|dlfcn\.h|poll\.h|spawn\.h|'
                        r'langinfo\.h|signal\.h|sys/.*|mntent\.h|termios\.h|pthread\.h)$')
OS_CALLS = re.compile(r'(?<![\w.>:])(?:std::|::)?(getenv|secure_getenv|setenv|unsetenv|getpwuid(?:_r)?|wxGetEnv|wxSetEnv)\s*\(')


def table_rows(text, heading):
    """Rows (lists of cells) of the first table after the line `heading`."""
    lines = text.splitlines()
    try:
        start = next(i for i, l in enumerate(lines) if l.strip() == heading)
    except StopIteration:
        sys.exit(f"README.md has no line '{heading}'")
    rows = []
    for line in lines[start + 1:]:
        if not line.startswith('|'):
            if rows:
                break
            continue
        cells = [c.strip() for c in line.strip().strip('|').split('|')]
        if set(''.join(cells)) <= set('-: '):
            continue
        rows.append(cells)
    return rows[1:]  # without the header row


def ticked(cell):
    return re.findall(r'`([^`]+)`', cell)


def main():
    readme = (ROOT / 'README.md').read_text(encoding='utf-8')
    allowed, third_party = {}, {}
    for folder, uses, libs in (r[:3] for r in table_rows(readme, '### Dependencies between folders')):
        name = ticked(folder)[0]
        allowed[name] = set(ticked(uses)) | {name}
        for prefix in ticked(libs):
            third_party.setdefault(prefix, set()).add(name)
    owner = {}
    for row in table_rows(readme, '## What is here'):
        folders = ticked(row[1])
        for header in ticked(row[0]):
            owner[header] = folders[0] if folders else None  # None: any folder may include it

    faults = []
    internal = {}  # internal header name -> folder
    utils = ROOT / 'utils'
    for path in utils.glob('*/*.h'):
        internal[path.name] = path.parent.name
    for header in (ROOT / 'include' / 'ut').glob('*.h'):
        if header.name != 'ut.h' and header.name not in owner:
            faults.append(f'include/ut/{header.name}: no folder in the README table "What is here"')

    def check(path, folder):
        rel = path.relative_to(ROOT)
        text = path.read_text(encoding='utf-8', errors='replace')
        for kind, name in INCLUDE.findall(text):
            if name.startswith('ut/'):
                base = name[3:]
                if base not in owner:
                    if (ROOT / 'include' / name).exists() and base != 'ut.h':
                        continue  # reported above
                    faults.append(f'{rel}: includes <{name}>, which is no public header of a folder')
                elif owner[base] and owner[base] not in allowed[folder]:
                    faults.append(f'{rel}: {folder} may not use {owner[base]} (<{name}>)')
                continue
            if kind == '"' and name in internal:
                if internal[name] not in allowed[folder]:
                    faults.append(f'{rel}: {folder} may not use {internal[name]} ("{name}")')
                continue
            if OS_HEADERS.match(name) and folder != 'platform':
                faults.append(f'{rel}: operating-system header <{name}> outside utils/platform')
            for prefix, folders in third_party.items():
                if name.startswith(prefix) and folder not in folders:
                    faults.append(f'{rel}: <{name}> belongs to {", ".join(sorted(folders))}')
        if folder != 'platform':
            for match in OS_CALLS.finditer(text):
                line = text.count('\n', 0, match.start()) + 1
                faults.append(f'{rel}:{line}: {match.group(1)} outside utils/platform')

    for path in sorted(utils.glob('*/*')):
        if path.suffix in ('.h', '.cpp'):
            folder = path.parent.name
            if folder not in allowed:
                faults.append(f'{path.relative_to(ROOT)}: folder {folder} is not in the README table')
                continue
            check(path, folder)
    for header in sorted((ROOT / 'include' / 'ut').glob('*.h')):
        if owner.get(header.name):
            check(header, owner[header.name])
    for path in sorted((ROOT / 'sdk').rglob('*')):
        if path.suffix in ('.h', '.cpp'):
            for _, name in INCLUDE.findall(path.read_text(encoding='utf-8', errors='replace')):
                if name.startswith('ut/') or name in internal:
                    faults.append(f'{path.relative_to(ROOT)}: the SDK stand-in includes the library ({name})')

    for fault in faults:
        print(fault)
    if faults:
        print(f'{len(faults)} include(s) break the layering', file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
