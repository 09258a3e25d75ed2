#!/usr/bin/env python3
"""Writes a 2 MiB file of 512 full INDX records for benchmarking -indxfile.

Each record holds a leaf node of live entries with distinct names, and its
slack behind the terminating entry is filled with stale entries of other
names (as deletions leave them), so the run parses thousands of valid entries
and carves thousands of slack entries.  Deterministic: same bytes every run.
"""
import struct
import sys

RECORD = 4096
SECTOR = 512
NODE = 24  # node header offset in the record
FIRST_ENTRY = 0x40  # entries start after the node header and the update sequence array
PARENT = (1 << 48) | 64  # directory entry 64, sequence 1
BASE_TIME = 133000000000000000  # 2022-06-16, inside the carving window


def entry(ref, name, t, flags=0):
    units = name.encode("utf-16-le")
    key = struct.pack("<QQQQQQQIIBB", PARENT, t, t + 1, t + 2, t + 3, 4096, 1000 + len(name),
                      0x20, 0, len(name), 1) + units
    length = (16 + len(key) + 7) & ~7
    head = struct.pack("<QHHHH", ref, length, len(key), flags, 0)
    return (head + key).ljust(length, b"\0")


def terminator():
    return struct.pack("<QHHHH", 0, 16, 0, 2, 0)


def record(index, serial):
    body = bytearray()
    live = 0
    while True:
        name = "live file %06d %s.txt" % (serial[0], "x" * (serial[0] % 23))
        e = entry((1 << 48) | (100 + serial[0]), name, BASE_TIME + serial[0] * 10000)
        if FIRST_ENTRY + len(body) + len(e) + 16 > 2600:
            break
        body += e
        serial[0] += 1
        live += 1
    body += terminator()
    used = FIRST_ENTRY - NODE + len(body)
    slack = bytearray()
    while FIRST_ENTRY + len(body) + len(slack) < RECORD - 200:
        name = "deleted file %06d %s.doc" % (serial[0], "y" * (serial[0] % 17))
        slack += entry((1 << 48) | (100 + serial[0]), name, BASE_TIME + serial[0] * 10000)
        serial[0] += 1
    rec = bytearray(RECORD)
    struct.pack_into("<4sHHQQ", rec, 0, b"INDX", 0x28, 9, 0, index)
    struct.pack_into("<IIII", rec, NODE, FIRST_ENTRY - NODE, used, RECORD - NODE, 0)
    rec[FIRST_ENTRY:FIRST_ENTRY + len(body)] = body
    start = FIRST_ENTRY + len(body)
    rec[start:start + len(slack)] = slack[:RECORD - start]
    # Update sequence: number 1 at every sector end, saved words in the array.
    usn = 1
    struct.pack_into("<H", rec, 0x28, usn)
    for i in range(1, 9):
        end = i * SECTOR - 2
        struct.pack_into("<H", rec, 0x28 + 2 * i, struct.unpack_from("<H", rec, end)[0])
        struct.pack_into("<H", rec, end, usn)
    return live, bytes(rec)


def main(path):
    serial = [0]
    total_live = 0
    with open(path, "wb") as out:
        for i in range(512):
            live, rec = record(i, serial)
            total_live += live
            out.write(rec)
    print("%s: 512 records, %d live entries, %d slack entries" % (path, total_live, serial[0] - total_live))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "bench/work/full.indx")
