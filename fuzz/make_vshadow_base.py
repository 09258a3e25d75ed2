#!/usr/bin/env python3
"""Writes fuzz/base/vshadow_volume.base and the seeds of vshadow_fuzz.

Shadow copies cannot be made on Linux, so the base is built here from the
layout Windows writes: a 64 MiB volume holding only its shadow-copy metadata
(everything else reads as zeros).  Every structure opens with the VSS
identifier, a version (1), a record type and its own offsets:

  0x1e00     volume header (type 1): the catalog's offset
  0x100000   catalog, two 16 KiB blocks (type 2): per store a 128-byte entry
             of type 2 (volume size, store GUID, index, creation time) and
             one of type 3 (the offsets of the store's block list, header,
             block range list and bitmap)
  0x200000+  per store: its header (type 4, with the store information:
             copy and copy set GUIDs, attribute flags, machine names), an
             empty block list (type 3), block range list (type 5) and
             bitmap (type 6)

vshadowinfo reads the materialised volume as two stores.  The seeds are
patch lists over the base (see overlay_disk.h): none (the base as it is), and
damage to the header, the catalog and a store header.
"""
import os
import struct
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from seed_tool import patch, save, write_base  # noqa: E402

VSS_ID = bytes.fromhex("6b87083876c1484eb7ae04046e6cc752")
VOLUME_SIZE = 64 << 20
BLOCK = 16384
HEADER_AT = 0x1E00
# Where the catalog and the stores' structures lie; a fixture planting them
# in a real volume moves them to clusters the volume leaves free.
CATALOG_AT, STORES_AT = 0x100000, 0x200000
STORES = [  # store GUID, creation FILETIME (2024-02-29 and 2024-03-01, 22:00 UTC)
    (bytes.fromhex("b4399477" "6ace" "ea11" "8bd1525400000001"), 133537176000000000),
    (bytes.fromhex("c8399477" "6ace" "ea11" "8bd1525400000002"), 133538040000000000),
]


def record_header(record_type, relative, current, next_offset=0, size=0):
    head = VSS_ID + struct.pack("<IIQQQQ", 1, record_type, relative, current, next_offset, size)
    return head.ljust(128, b"\0")


def volume_header():
    head = VSS_ID + struct.pack("<IIQQQQQ", 1, 1, HEADER_AT, HEADER_AT, 0, CATALOG_AT, VOLUME_SIZE // 2)
    head += bytes.fromhex("903994776aceea118bd1525400000000") * 2 + struct.pack("<I", 1)
    return head.ljust(512, b"\0")


def store_offsets(index):
    base = STORES_AT + index * 0x100000
    return {"header": base, "blocks": base + BLOCK, "ranges": base + 2 * BLOCK, "bitmap": base + 3 * BLOCK}


def catalog():
    first = bytearray(record_header(2, 0, CATALOG_AT, CATALOG_AT + BLOCK))
    for index, (guid, created) in enumerate(STORES):
        at = store_offsets(index)
        info = struct.pack("<QQ", 2, VOLUME_SIZE) + guid + struct.pack("<QQQ", index + 1, 0x40, created)
        where = struct.pack("<QQ", 3, at["blocks"]) + guid
        where += struct.pack("<QQQQQQ", at["header"], at["ranges"], at["bitmap"], 0, 3 * BLOCK, 0)
        first += info.ljust(128, b"\0") + where.ljust(128, b"\0")
    second = record_header(2, BLOCK, CATALOG_AT + BLOCK)
    return bytes(first.ljust(BLOCK, b"\0")) + second.ljust(BLOCK, b"\0")


def machine_name(name):
    text = name.encode("utf-16-le")
    return struct.pack("<H", len(text)) + text


def store_header(index, guid):
    at = store_offsets(index)["header"]
    info = bytes(16) + guid[:15] + b"\xaa" + guid[:15] + b"\xbb" + struct.pack("<IIII", 0x0D, 2, 0x0042000D, 0)
    info += machine_name("WORKSTATION-7") * 2
    return (record_header(4, 0, at, 0, 128 + len(info)) + info).ljust(512, b"\0")


def store_regions(index, guid):
    at = store_offsets(index)
    return [
        (at["header"], store_header(index, guid), f"store {index + 1} header (type 4)"),
        (at["blocks"], record_header(3, 0, at["blocks"]), f"store {index + 1} block list (type 3, empty)"),
        (at["ranges"], record_header(5, 0, at["ranges"]), f"store {index + 1} block range list (type 5)"),
        (at["bitmap"], record_header(6, 0, at["bitmap"]), f"store {index + 1} bitmap (type 6)"),
    ]


def vss_regions():
    """(offset, bytes, label) of every structure, sorted by offset."""
    regions = [(HEADER_AT, volume_header(), "volume header (type 1)"),
               (CATALOG_AT, catalog(), "catalog, two blocks (type 2)")]
    for index, (guid, _) in enumerate(STORES):
        regions += store_regions(index, guid)
    return regions


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    regions = vss_regions()
    write_base(os.path.join(here, "base", "vshadow_volume.base"), VOLUME_SIZE, regions)
    if len(sys.argv) > 1:  # the volume itself, for vshadowinfo
        with open(sys.argv[1], "wb") as f:
            f.truncate(VOLUME_SIZE)
            for offset, data, _ in regions:
                f.seek(offset)
                f.write(data)
    seeds = os.path.join(here, "corpus", "vshadow_fuzz")
    save(seeds, "base_as_is", b"")
    save(seeds, "catalog_offset_past_volume", patch(0, struct.pack("<Q", 1 << 62), 48))
    save(seeds, "catalog_loops_to_itself", patch(1, struct.pack("<Q", CATALOG_AT), 40))
    save(seeds, "store_entry_unknown_type", patch(1, struct.pack("<Q", 9), 128))
    save(seeds, "store_header_long_name", patch(2, struct.pack("<H", 0xFFFF), 128 + 64))
    save(seeds, "block_list_points_back", patch(3, struct.pack("<Q", store_offsets(0)["blocks"]), 40))


if __name__ == "__main__":
    main()
