#!/usr/bin/env python3
"""Loads slix's machine-readable reports with the readers timeline tools are
built on: Python's json for -jsonl, its csv module for -csv and -csvl2t, and
The Sleuth Kit's mactime for the bodyfile.

  timeline_readers.py ALL_CSV ALL_L2T ALL_JSONL BODYFILE [MACTIME_CSV]

The files are the -nobanner reports of one source with -all; MACTIME_CSV,
when given, is `mactime -b BODYFILE -d -y -z UTC` of the bodyfile.  Every
JSON line must parse as one object of the documented members, its datetime
must be the ISO 8601 text of its FILETIME (computed here independently), and
every row of each CSV must hold exactly its header's columns.  Every entry of
the CSV report must appear in the JSON lines, and no other (the CSV writes
the characters that hide or reorder text as "\\uXXXX", JSON as themselves).
The bodyfile must be data lines alone, eleven fields each, and mactime must
list every entry that has a time.  Prints one line per file read; exits 1 with the
faults found.
"""
import csv
import json
import re
import sys
from datetime import datetime, timedelta, timezone

MEMBERS = ['message', 'datetime', 'timestamp', 'timestamp_desc', 'time_valid', 'filetime', 'macb', 'offset',
           'mft_entry', 'mft_sequence', 'parent_entry', 'parent_sequence', 'entry_type', 'annotation', 'file_type',
           'size_allocated', 'size_used', 'flags', 'flags_text', 'name', 'directory', 'index_source', 'evidence']
OPTIONAL_MEMBERS = ['username', 'hostname']
LABELS = ['Last Modified', 'Last Access', 'MFT Change', 'Created']
NOT_A_TIME = '1970-01-01T00:00:00.0000000Z'
FILETIME_ORIGIN = datetime(1601, 1, 1, tzinfo=timezone.utc)
UNIX_ORIGIN = datetime(1970, 1, 1, tzinfo=timezone.utc)
HIDDEN = re.compile('[\u0080-\u009f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]')

faults = []


def fault(where, text):
    faults.append('%s: %s' % (where, text))


def expected_time(filetime):
    """(ISO text, microseconds since 1970) of a FILETIME, or None when it is
    not a time a four-digit year can write."""
    if filetime == 0 or filetime >= 1 << 63:
        return None
    try:
        moment = FILETIME_ORIGIN + timedelta(microseconds=filetime // 10)
    except OverflowError:
        return None
    text = moment.strftime('%Y-%m-%dT%H:%M:%S') + '.%07dZ' % (filetime % 10**7)
    if len(text) != len(NOT_A_TIME):
        return None
    return text, (moment - UNIX_ORIGIN) // timedelta(microseconds=1)


def refuse_constant(name):
    raise ValueError('not JSON: ' + name)


def check_line(where, line):
    try:
        item = json.loads(line.decode('utf-8'), parse_constant=refuse_constant)
    except ValueError as error:
        fault(where, 'does not parse: %s' % error)
        return None
    if not isinstance(item, dict):
        fault(where, 'not an object')
        return None
    keys = list(item)
    if keys[:len(MEMBERS)] != MEMBERS or any(k not in OPTIONAL_MEMBERS for k in keys[len(MEMBERS):]):
        fault(where, 'members %s' % keys)
        return None
    for key in ('message', 'datetime', 'timestamp_desc'):
        if not isinstance(item[key], str) or not item[key]:
            fault(where, 'empty or not text: %s' % key)
    for key in ('timestamp', 'offset', 'mft_sequence', 'parent_entry', 'parent_sequence', 'size_allocated',
                'size_used', 'flags'):
        if type(item[key]) is not int:
            fault(where, 'not an integer: %s' % key)
    if item['mft_entry'] is not None and type(item['mft_entry']) is not int:
        fault(where, 'mft_entry neither an integer nor null')
    labels = [LABELS[i] for i, letter in enumerate(item['macb']) if letter != '.']
    if '; '.join(labels) != item['timestamp_desc']:
        fault(where, 'timestamp_desc %r does not match macb %r' % (item['timestamp_desc'], item['macb']))
    expected = expected_time(int(item['filetime'], 16))
    if expected is None:
        if item['time_valid'] or item['datetime'] != NOT_A_TIME or item['timestamp'] != 0:
            fault(where, 'filetime %s is not a time, yet %r' % (item['filetime'], item['datetime']))
    elif not item['time_valid'] or (item['datetime'], item['timestamp']) != expected:
        fault(where, 'filetime %s should give %r, not %r' % (item['filetime'], expected,
                                                             (item['datetime'], item['timestamp'])))
    datetime.fromisoformat(item['datetime'])
    return item


def read_jsonl(path):
    """The entries of the JSON lines, in order: consecutive lines of one entry
    are its timestamp groups."""
    entries = []
    with open(path, 'rb') as f:
        for number, line in enumerate(f, 1):
            item = check_line('%s:%d' % (path, number), line)
            if item is None:
                continue
            shown = HIDDEN.sub(lambda m: '\\u%04x' % ord(m.group()), item['directory'] + item['name'])
            key = (item['offset'], shown, item['entry_type'], item['annotation'])
            if not entries or entries[-1] != key:
                entries.append(key)
    print('%s: %d lines parsed, %d entries' % (path, number, len(entries)))
    return entries


def read_csv(path, first_column):
    with open(path, newline='', encoding='utf-8') as f:
        reader = csv.DictReader(f)
        if reader.fieldnames is None or reader.fieldnames[0] != first_column:
            fault(path, 'line 1 is not the column header: %s' % reader.fieldnames)
            return []
        rows = []
        for row in reader:
            if None in row or None in row.values():
                fault('%s:%d' % (path, reader.line_num), 'not the %d columns of the header' % len(reader.fieldnames))
            rows.append(row)
    print('%s: %d rows of %d columns' % (path, len(rows), len(reader.fieldnames)))
    return rows


def read_bodyfile(path):
    """The names of the lines that have a time other than 0 (mactime leaves
    out a file whose times are all 0)."""
    timed = set()
    with open(path, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            fields = line.rstrip('\n').split('|')
            if len(fields) != 11 or not all(field.lstrip('-').isdigit() for field in fields[2:3] + fields[4:]):
                fault('%s:%d' % (path, number), 'not a bodyfile data line: %r' % line)
                continue
            if any(int(t) for t in fields[7:]):
                timed.add(fields[1])
    print('%s: %d data lines' % (path, number))
    return timed


def read_mactime(path, timed):
    with open(path, newline='', encoding='utf-8') as f:
        rows = list(csv.DictReader(f))
    listed = {row['File Name'] for row in rows}
    if listed != timed:
        fault(path, 'mactime lists %d names, the bodyfile times %d: %s' % (len(listed), len(timed),
                                                                           sorted(listed ^ timed)[:5]))
    print('%s: %d rows, %d names' % (path, len(rows), len(listed)))


def main():
    if len(sys.argv) not in (5, 6):
        sys.exit(__doc__)
    all_csv, all_l2t, all_jsonl, bodyfile = sys.argv[1:5]
    timed = read_bodyfile(bodyfile)
    if len(sys.argv) == 6:
        read_mactime(sys.argv[5], timed)
    rows = read_csv(all_csv, 'offset')
    read_csv(all_l2t, 'date')
    entries = read_jsonl(all_jsonl)
    from_csv = sorted((int(r['offset'], 16), r['name'], r['type'], r['slack comment']) for r in rows)
    if sorted(entries) != from_csv:
        missing = set(from_csv) - set(entries)
        fault(all_jsonl, '%d entries against %d CSV rows; missing: %s' % (len(entries), len(from_csv),
                                                                         sorted(missing)[:5]))
    for line in faults[:20]:
        print(line)
    sys.exit(1 if faults else 0)


if __name__ == '__main__':
    main()
