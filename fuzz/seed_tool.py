#!/usr/bin/env python3
"""Builds the fuzz targets' base images and seed inputs (run by make_seeds.sh).

A base image is a disk or volume image stored sparsely: its size and the few
regions the parsers read (boot sectors, partition tables, MFT records, index
records).  Everything else reads as zeros.  File layout, little-endian:

    8 bytes  "slixbase"
    u64      image size in bytes
    u32      region count (at most 256: a patch names its region in one byte)
    u32      0
    per region: u64 image offset, u32 length, u32 0 (sorted, no overlap)
    the regions' bytes, in the same order

Beside each base, <base>.regions.txt lists the regions (index, offset, length,
what it holds) for people and for the seed commands below.

A patch input, as volume_fuzz and partition_scan_fuzz read it after their
first (mode) byte, is a list of

    u8  region index (modulo the region count)
    u16 offset in that region (modulo its length)
    u16 length
    the bytes, laid over the regions' bytes from there on (clipped at the
    end of the last region)
"""
import gzip
import os
import re
import struct
import subprocess
import sys

MAGIC = b"slixbase"
MAX_REGIONS = 256


# ---------------------------------------------------------------- base files

def write_base(path, image_size, regions):
    """regions: list of (offset, bytes, label)."""
    regions = sorted(regions, key=lambda r: r[0])
    if len(regions) > MAX_REGIONS:
        sys.exit(f"{path}: {len(regions)} regions, at most {MAX_REGIONS}")
    end = 0
    for offset, data, label in regions:
        if offset < end:
            sys.exit(f"{path}: region {label} at {offset} overlaps the one before")
        end = offset + len(data)
    if end > image_size:
        sys.exit(f"{path}: regions run past the image size")
    out = bytearray(MAGIC + struct.pack("<QII", image_size, len(regions), 0))
    for offset, data, _ in regions:
        out += struct.pack("<QII", offset, len(data), 0)
    for _, data, _ in regions:
        out += data
    with open(path, "wb") as f:
        f.write(out)
    with open(path + ".regions.txt", "w") as f:
        f.write(f"# {os.path.basename(path)}: image of {image_size} bytes, {len(regions)} regions\n")
        f.write("# index offset length what\n")
        for index, (offset, data, label) in enumerate(regions):
            f.write(f"{index} {offset:#x} {len(data)} {label}\n")


def read_base(path):
    """Returns (image size, [(offset, bytes, label)])."""
    with open(path, "rb") as f:
        raw = f.read()
    if raw[:8] != MAGIC:
        sys.exit(f"{path}: not a base image")
    size, count, _ = struct.unpack_from("<QII", raw, 8)
    labels = {}
    with open(path + ".regions.txt") as f:
        for line in f:
            if not line.startswith("#"):
                index, _, _, label = line.rstrip("\n").split(" ", 3)
                labels[int(index)] = label
    regions, at = [], 24 + 16 * count
    for i in range(count):
        offset, length, _ = struct.unpack_from("<QII", raw, 24 + 16 * i)
        regions.append((offset, raw[at:at + length], labels.get(i, "")))
        at += length
    return size, regions


def materialise(size, regions, limit):
    image = bytearray(min(size, limit))
    for offset, data, _ in regions:
        if offset < len(image):
            piece = data[:len(image) - offset]
            image[offset:offset + len(piece)] = piece
    return bytes(image)


def patch(region, data, offset=0):
    return struct.pack("<BHH", region, offset, len(data)) + data


def find_region(regions, pattern):
    for index, (_, _, label) in enumerate(regions):
        if re.fullmatch(pattern, label):
            return index
    sys.exit(f"no region matches {pattern!r}")


def save(folder, name, data):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


# ------------------------------------------------------- NTFS volume regions

def run(*args):
    return subprocess.run(args, capture_output=True, text=True, errors="replace").stdout


def fsstat_value(text, key):
    match = re.search(rf"^{re.escape(key)}: (\S+)", text, re.M)
    if not match:
        sys.exit(f"fsstat gave no {key}")
    return match.group(1)


def istat_attributes(image, entry):
    """Yields (type line, [clusters]) for each non-resident attribute of an entry."""
    text = run("istat", "-f", "ntfs", image, str(entry))
    current, clusters = None, []
    for line in text.split("\n"):
        if line.startswith("Type: "):
            if current:
                yield current, clusters
            current, clusters = (line if "Non-Resident" in line else None), []
        elif current and re.fullmatch(r"[0-9 ]+", line.strip() or "x"):
            clusters += [int(c) for c in line.split()]
    if current:
        yield current, clusters


def volume_base(image, out):
    """The boot sector, every MFT record in use or not that holds anything,
    and the clusters of the streams a directory analysis reads: $I30 index
    allocations and bitmaps, non-resident attribute lists and reparse data."""
    info = run("fsstat", "-f", "ntfs", image)
    cluster = int(fsstat_value(info, "Cluster Size"))
    record = int(re.search(r"Size of MFT Entries: (\d+)", info).group(1))
    index_record = int(re.search(r"Size of Index Records: (\d+)", info).group(1))
    last_entry = int(re.search(r"^Range: \d+ - (\d+)", info, re.M).group(1))
    with open(image, "rb") as f:
        data = f.read()
    regions = {0: (data[:512], "boot sector")}

    def path_of(entry):
        # The first name of the entry; * marks a deleted one.
        lines = run("ffind", "-f", "ntfs", image, str(entry)).strip().split("\n")
        name = lines[0].replace("//", "/")
        return name if "/" in name else "(no name)"

    mft_clusters = next(c for t, c in istat_attributes(image, 0) if t.startswith("Type: $DATA"))
    stream = b"".join(data[c * cluster:(c + 1) * cluster] for c in mft_clusters)
    for entry in range(min(last_entry + 1, len(stream) // record)):
        position = mft_clusters[entry * record // cluster] * cluster + entry * record % cluster
        bytes_ = data[position:position + record]
        if not any(bytes_):
            continue
        base_entry = struct.unpack_from("<Q", bytes_, 0x20)[0] & 0xFFFFFFFFFFFF
        what = f"extension of {base_entry}" if base_entry else path_of(entry)
        regions[position] = (bytes_, f"mft {entry} {what}")
    wanted = (("$INDEX_ALLOCATION", "$I30", index_record, "indx"), ("$BITMAP", "$I30", cluster, "bitmap"),
              ("$ATTRIBUTE_LIST", "N/A", cluster, "attrlist"), ("$REPARSE_POINT", "N/A", cluster, "reparse"))
    for entry in range(last_entry + 1):
        for type_line, clusters in istat_attributes(image, entry):
            for kind, name, unit, label in wanted:
                if not (type_line.startswith(f"Type: {kind} ") and f"Name: {name} " in type_line):
                    continue
                stream = b"".join(data[c * cluster:(c + 1) * cluster] for c in clusters)
                for piece in range(0, len(stream), unit):
                    position = clusters[piece // cluster] * cluster + piece % cluster
                    bytes_ = data[position:position + unit]
                    if any(bytes_) and position not in regions:
                        regions[position] = (bytes_, f"{label} {entry} vcn-byte {piece} {path_of(entry)}")
    write_base(out, len(data), [(o, b, l) for o, (b, l) in regions.items()])


def disk_base(image, out, ranges):
    """Every 512-byte sector that holds anything (tables, boot records, file
    system heads), and every sector of the stretches "first:count:label"
    (a negative first counts from the end), all-zero or not, so that
    patches can fill an unused table entry."""
    with open(image, "rb") as f:
        data = f.read()
    labels = {}
    for item in ranges:
        first, count, label = item.split(":", 2)
        first = int(first) if int(first) >= 0 else len(data) // 512 + int(first)
        for sector in range(first, first + int(count)):
            labels[sector] = label
    for sector in range(len(data) // 512):
        if sector not in labels and any(data[sector * 512:(sector + 1) * 512]):
            labels[sector] = "in use"
    write_base(out, len(data), [(s * 512, data[s * 512:(s + 1) * 512], f"sector {s} {label}")
                                for s, label in labels.items()])


# ------------------------------------------------------------------ seeds

def changed(data, *edits):
    """A copy of data with (offset, bytes) edits."""
    out = bytearray(data)
    for offset, value in edits:
        out[offset:offset + len(value)] = value
    return bytes(out)


def attribute_at(record, kind):
    """Offset of the first attribute of a type in an MFT record."""
    at = struct.unpack_from("<H", record, 0x14)[0]
    while at + 8 <= len(record):
        found, length = struct.unpack_from("<II", record, at)
        if found == kind:
            return at
        if found == 0xFFFFFFFF or length == 0:
            break
        at += length
    sys.exit(f"no attribute {kind:#x} in the record")


def in_one_cluster_runs(raw):
    """An MFT record (as stored, 512-byte sectors, 4096-byte clusters) whose
    $I30 $INDEX_ALLOCATION is rewritten as one run per cluster, each two
    clusters past the one before after the stream's own clusters, as many as
    the record and the 2 MiB volume (512 clusters) hold."""
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "fixtures"))
    from fragment_index import (I30, T_INDEX_ALLOCATION, attributes, build_record, fix, non_resident, pair,
                                runs_of, unfix)
    record = unfix(raw)
    found = attributes(record)
    alloc = next(attr for _at, kind, name, attr in found if kind == T_INDEX_ALLOCATION and name == I30)
    lcns = [lcn + i for _vcn, lcn, count in runs_of(alloc) for i in range(count)]
    used = 0x38 + 8 + sum(len(attr) for _at, _kind, _name, attr in found) - len(alloc)
    room = len(record) - used - 0x48 - 1 - 8
    while len(pair(1, lcns[0])) + 3 * len(lcns) <= room and lcns[-1] + 2 < 512:
        lcns.append(lcns[-1] + 2)
    pairs = pair(1, lcns[0]) + b"".join(pair(1, b - a) for a, b in zip(lcns, lcns[1:]))
    new = non_resident(T_INDEX_ALLOCATION, I30, struct.unpack_from("<H", alloc, 0x0E)[0], 0, len(lcns) - 1,
                       pairs, (4096 * len(lcns),) * 3)
    attrs = [new if attr is alloc else attr for _at, _kind, _name, attr in found]
    return fix(build_record(record, attrs, struct.unpack_from("<Q", record, 0x20)[0],
                            struct.unpack_from("<H", record, 0x28)[0]), 512)


def volume_seeds(base, folder):
    """The unchanged volume, then each region whole with one damage a real
    volume can show, so that every seed adds coverage of its own and the
    fuzzer mutates a whole real record from there."""
    size, regions = read_base(base)

    def damaged(pattern, name, *edits):
        index = find_region(regions, pattern)
        save(folder, name, b"\0" + patch(index, changed(regions[index][1], *edits)))

    def record(pattern):
        return regions[find_region(regions, pattern)][1]

    save(folder, "overlay_unchanged", b"\0")
    # Boot sector: 4096-byte MFT records claimed (record 0 says 1024); a
    # volume four times larger than the image.
    damaged(r"boot sector", "boot_4096_byte_records", (0x40, b"\xf4"))
    damaged(r"boot sector", "boot_volume_past_image", (0x28, struct.pack("<Q", 4 * size // 512)))
    # $MFT: a data size beyond its runs; a "BAAD" record 0.
    mft = record(r"mft 0 .*")
    data = attribute_at(mft, 0x80)
    damaged(r"mft 0 .*", "mft_data_size_beyond_runs", (data + 0x30, struct.pack("<Q", 1 << 30)))
    damaged(r"mft 0 .*", "mft_record_0_baad", (0, b"BAAD"))
    # The root: not in use; its index root named other than $I30.
    root = record(r"mft 5 .*")
    damaged(r"mft 5 .*", "root_not_in_use", (0x16, b"\x02"))
    index_root = attribute_at(root, 0x90)
    name = index_root + struct.unpack_from("<H", root, index_root + 10)[0]
    damaged(r"mft 5 .*", "root_index_not_i30", (name + 6, b"1\0"))
    # docs/2023: its allocation's first run far past the volume; a torn
    # index record (a sector's last word differs from the update number);
    # a "BAAD" index record.
    docs = record(r"mft \d+ /docs/2023")
    alloc = attribute_at(docs, 0xA0)
    pairs = alloc + struct.unpack_from("<H", docs, alloc + 0x20)[0]
    header = docs[pairs]
    lcn_at, lcn_size = pairs + 1 + (header & 0xF), header >> 4
    damaged(r"mft \d+ /docs/2023", "docs_run_past_volume", (lcn_at, b"\x7f" * lcn_size))
    damaged(r"indx \d+ vcn-byte 0 /docs/2023", "docs_indx_torn", (0x3FE, b"\xaa\x55"))
    damaged(r"indx \d+ vcn-byte 4096 /docs/2023", "docs_indx_baad", (0, b"BAAD"))
    # docs/2023: its allocation cut into one-cluster runs, its two INDX
    # records first, then clusters that hold nothing.
    index = find_region(regions, r"mft \d+ /docs/2023")
    save(folder, "docs_allocation_in_many_runs", b"\0" + patch(index, in_one_cluster_runs(docs)))
    # The root's index record with a wrong VCN and a used size past its end.
    damaged(r"indx 5 vcn-byte 0 .*", "root_indx_wrong_vcn_and_size",
            (0x10, struct.pack("<Q", 7)), (0x1C, struct.pack("<I", 0x2000)))
    # The deleted directory marked in use again.
    damaged(r"mft \d+ \* /nested/a/gone", "deleted_directory_in_use", (0x16, b"\x03"))
    # The attribute list's first entry names an MFT entry past the end.
    damaged(r"attrlist .*", "attribute_list_entry_past_mft", (0x10, struct.pack("<IH", 100000, 0)))
    # The hard-linked file's record not in use, and a reparse tag that is
    # neither a symlink nor a junction.
    damaged(r"mft \d+ /hardlinks/.+", "attribute_list_base_not_in_use", (0x16, b"\x00"))
    link = record(r"mft \d+ /links/symlink to c")
    reparse = attribute_at(link, 0xC0)
    value = reparse + struct.unpack_from("<H", link, reparse + 0x14)[0]
    damaged(r"mft \d+ /links/symlink to c", "symlink_unknown_tag", (value, struct.pack("<I", 0x80000017)))
    # The old whole-volume mode: the boot sector and the first MFT records.
    mft0 = regions[find_region(regions, r"mft 0 .*")][0]
    save(folder, "raw_volume_head", b"\1" + materialise(size, regions, mft0 + 24 * 1024))


def mft_seeds(base, folder, extra_image):
    """Records of the base volume (512-byte sectors), and of a volume with
    4096-byte sectors and records."""
    _, regions = read_base(base)
    for pattern, name in ((r"mft 0 .*", "mft_0_mft"), (r"mft 5 .*", "mft_5_root"),
                          (r"mft 3 .*", "mft_3_volume"), (r"mft 9 .*", "mft_9_secure"),
                          (r"mft 11 .*", "mft_11_extend"), (r"mft \d+ /docs/2023", "dir_with_allocation"),
                          (r"mft \d+ /hardlinks/.+", "attribute_list_base"),
                          (r"mft \d+ /links/symlink to c", "symlink_reparse"),
                          (r"mft \d+ /links/junction to b", "junction_reparse"),
                          (r"mft \d+ /docs/notes.txt", "small_file"),
                          (r"mft \d+ /fragments.bin", "file_with_runs")):
        save(folder, name, b"\0" + regions[find_region(regions, pattern)][1])
    # The first extension record named in the attribute list.
    base_entry = regions[find_region(regions, r"mft \d+ /hardlinks/.+")][2].split()[1]
    extension = find_region(regions, rf"mft \d+ extension of {base_entry}")
    save(folder, "attribute_list_extension", b"\0" + regions[extension][1])
    with gzip.open(extra_image) as f:
        image = f.read()
    mft = struct.unpack_from("<Q", image, 0x30)[0] * 4096
    save(folder, "sector4k_mft_0", b"\1" + image[mft:mft + 4096])
    save(folder, "sector4k_root", b"\1" + image[mft + 5 * 4096:mft + 6 * 4096])


def fragmented_seeds(image_gz, folder):
    """From vol_fragmented (tests/fixtures/make_fragmented_index.sh): the
    record of \\fragmented, whose non-resident attribute list names its index
    allocation in seven extension records, and the first of those, some 295
    one-cluster runs."""
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "fixtures"))
    import tempfile
    from fragment_index import T_ATTRIBUTE_LIST, T_INDEX_ALLOCATION, Volume, attributes, list_rows
    with gzip.open(image_gz) as f, tempfile.NamedTemporaryFile() as image:
        image.write(f.read())
        image.flush()
        volume = Volume(image.name)
        base = volume.read_record(64)
        attribute_list = next(attr for _at, kind, _name, attr in attributes(base) if kind == T_ATTRIBUTE_LIST)
        first = next(row[3] & 0xFFFFFFFFFFFF for row in list_rows(volume, attribute_list)
                     if row[0] == T_INDEX_ALLOCATION and row[2] == 0)
        for entry, name in ((64, "fragmented_index_base"), (first, "fragmented_index_extension")):
            at = volume.record_offset(entry)
            save(folder, name, b"\0" + volume.map[at:at + volume.record_size])


def indx_seeds(fixtures, folder):
    """Single records and short runs of records from the INDX fixtures."""
    def load(name):
        with gzip.open(os.path.join(fixtures, name)) as f:
            return f.read()
    many = load("dir_many.indx.gz")
    branch = next(i for i in range(len(many) // 4096) if many[i * 4096 + 0x24] & 1)
    save(folder, "dir_many_branch", many[branch * 4096:(branch + 1) * 4096])
    save(folder, "dir_many_two_leaves", many[:8192])
    for name in ("handmade_slack_name65", "handmade_slack_name65_times", "handmade_100_bytes"):
        save(folder, name, load(name + ".indx.gz"))
    save(folder, "handmade_bad_second_signature", load("handmade_bad_second_signature.indx.gz")[:8192])


def partition_seed(image, out, requested, size_bits):
    """A raw disk seed for partition_scan_fuzz: the image's first eight bytes
    (boot code, zero in these images) become the offset asked for, and the
    image is padded so that its size picks whether that offset is asked for
    (bit 1) and whether a short image is accepted (bit 0)."""
    with open(image, "rb") as f:
        data = bytearray(f.read())
    data[0:8] = struct.pack("<Q", requested)
    while len(data) % 4 != size_bits:
        data.append(0)
    with open(out, "wb") as f:
        f.write(b"\0" + data)


def partition_overlay_seeds(base, mode, prefix, folder, requested):
    """Overlay seeds: the mode byte, a flags byte (bit 1: an offset is asked
    for; bit 0: a short image is accepted), the offset asked for (u64), then
    patches: none, or one sector whole with a damage a real table can show."""
    size, regions = read_base(base)
    head = bytes([mode, 2]) + struct.pack("<Q", requested)
    save(folder, prefix + "_unchanged", head)
    save(folder, prefix + "_offset_of_no_partition", bytes([mode, 3]) + struct.pack("<Q", requested + 512))

    def damaged(sector, name, *edits):
        index = find_region(regions, rf"sector {sector} .*")
        save(folder, f"{prefix}_{name}", head + patch(index, changed(regions[index][1], *edits)))

    def entry(i, field):  # a field of the i-th partition entry of a table sector
        return 0x1BE + 16 * i + field

    if prefix == "mbr":
        image = materialise(size, regions, size)
        mbr = image[:512]
        extended = next(i for i in range(4) if mbr[entry(i, 4)] in (0x05, 0x0F, 0x85))
        chain = struct.unpack_from("<I", mbr, entry(extended, 8))[0]
        second = chain + struct.unpack_from("<I", image, chain * 512 + entry(1, 8))[0]
        damaged(0, "protective_entry_last", (entry(3, 4), b"\xee"))
        damaged(0, "ntfs_typed_linux", (entry(0, 4), b"\x83"))
        damaged(0, "extended_lba_type", (entry(extended, 4), b"\x0f"))
        damaged(second, "second_ebr_links_back", (entry(1, 8), struct.pack("<I", 0)))
    else:
        damaged(1, "huge_entry_count", (0x50, struct.pack("<I", 0xFFFFFFFF)))
        damaged(1, "entry_size_256", (0x54, struct.pack("<I", 256)))
        damaged(1, "header_not_at_lba_1", (0x18, struct.pack("<Q", 2)))
        damaged(2, "inverted_first_entry", (0x20, struct.pack("<QQ", 100, 50)))


def extract(base, offset, length, out):
    size, regions = read_base(base)
    with open(out, "wb") as f:
        f.write(materialise(size, regions, offset + length)[offset:])


def vmdk_cut(path, out, grain_bytes):
    """A sparse extent up to the end of its grain tables, plus the first
    grain_bytes of its first grain."""
    with open(path, "rb") as f:
        data = f.read()
    capacity, grain = struct.unpack_from("<QQ", data, 12)
    gtes, _, gd = struct.unpack_from("<IQQ", data, 44)
    tables = -(-capacity // (grain * gtes))
    directory = struct.unpack_from(f"<{tables}I", data, gd * 512)
    end = max(gd * 512 + 4 * tables, max(directory) * 512 + 4 * gtes)
    entries = [e for t in directory if t for e in struct.unpack_from(f"<{gtes}I", data, t * 512) if e > 1]
    if grain_bytes and entries:
        end = max(end, min(entries) * 512 + grain_bytes)
    with open(out, "wb") as f:
        f.write(data[:end])


def join(layout, out, first, second=None):
    """A vmdk_fuzz input: the layout byte, the first file, and with a second
    file "@@" and that file.  The split is at the first "@@", so the first
    file must not hold one."""
    with open(first, "rb") as f:
        data = f.read()
    if second is not None:
        if b"@@" in data:
            sys.exit(f"{first} holds '@@' and cannot come first")
        with open(second, "rb") as f:
            data += b"@@" + f.read()
    with open(out, "wb") as f:
        f.write(bytes([layout]) + data)


def main():
    command, args = sys.argv[1], sys.argv[2:]
    if command == "volume-base":
        volume_base(*args)
    elif command == "disk-base":
        disk_base(args[0], args[1], args[2:])
    elif command == "volume-seeds":
        volume_seeds(*args)
    elif command == "mft-seeds":
        mft_seeds(*args)
    elif command == "fragmented-seeds":
        fragmented_seeds(*args)
    elif command == "indx-seeds":
        indx_seeds(*args)
    elif command == "partition-seed":
        partition_seed(args[0], args[1], int(args[2], 0), int(args[3]))
    elif command == "partition-overlay-seeds":
        partition_overlay_seeds(args[0], int(args[1]), args[2], args[3], int(args[4], 0))
    elif command == "extract":
        extract(args[0], int(args[1], 0), int(args[2], 0), args[3])
    elif command == "vmdk-cut":
        vmdk_cut(args[0], args[1], int(args[2]))
    elif command == "join":
        join(int(args[0]), *args[1:])
    else:
        sys.exit(f"unknown command {command}")


if __name__ == "__main__":
    main()
