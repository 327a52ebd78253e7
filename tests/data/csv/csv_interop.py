#!/usr/bin/env python3
"""Python's csv module on one side of the CSV interoperability tests.

  csv_interop.py write ROWS.json OUT.csv   writes the rows (a JSON array of
                                           arrays of strings) with csv.writer
  csv_interop.py read IN.csv ROWS.json     reads IN.csv with csv.reader and
                                           stores its rows as JSON

Both use the default dialect (comma, double quote, minimal quoting) and UTF-8.
"""
import csv
import json
import sys


def main():
    mode, source, target = sys.argv[1:4]
    if mode == 'write':
        with open(source, encoding='utf-8') as f:
            rows = json.load(f)
        with open(target, 'w', newline='', encoding='utf-8') as f:
            csv.writer(f).writerows(rows)
    elif mode == 'read':
        with open(source, newline='', encoding='utf-8') as f:
            rows = list(csv.reader(f))
        with open(target, 'w', encoding='utf-8') as f:
            json.dump(rows, f, ensure_ascii=True)
    else:
        sys.exit('usage: csv_interop.py write|read SOURCE TARGET')


if __name__ == '__main__':
    main()
