#!/usr/bin/env python3
"""Makes the seeds in fuzz/corpus/: the beginnings of the captures in samples/, and texts.

Usage: fuzz/make_corpus.py       (writes the same files each time; others in the folders stay)

Calls zstd and lz4, of the Debian packages of these names.
"""

import bz2
import gzip
import lzma
import pathlib
import struct
import subprocess
import zlib

ROOT = pathlib.Path(__file__).resolve().parent
SAMPLES = ROOT.parent / "samples"


def write(target, seeds):
    folder = ROOT / "corpus" / target
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in seeds.items():
        (folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())


def records(capture, count, order="<", skip=0):
    """The global header and some records of a classic capture."""
    at = 24
    ends = [at]
    while at < len(capture):
        at += 16 + struct.unpack_from(order + "I", capture, at + 8)[0]
        ends.append(at)
    return capture[:24] + capture[ends[skip] : ends[skip + count]]


def blocks(capture, count):
    """The first blocks of a pcap-ng file."""
    at = 0
    for _ in range(count):
        at += struct.unpack_from("<I", capture, at + 4)[0]
    return capture[:at]


def header(magic, link_type, order="<"):
    return struct.pack(order + "IHHiIII", magic, 2, 4, 0, 0, 65535, link_type)


def record(sec, usec, data, length=None):
    return struct.pack("<iiII", sec, usec, len(data), length or len(data)) + data


web = records((SAMPLES / "web.pcap").read_bytes(), 4)
big_endian = records((SAMPLES / "echo-be.pcap").read_bytes(), 4, ">")
dns = blocks((SAMPLES / "dns.pcapng").read_bytes(), 6)
icmp = records(gzip.decompress((SAMPLES / "icmp.pcap.gz").read_bytes()), 3)
bulk = records(bz2.decompress((SAMPLES / "bulk.pcap.bz2").read_bytes()), 5)
classic = header(0xA1B2C3D4, 1)
empty_records = classic + record(5, 1000000, b"x" * 40) + record(4, 0, b"", 60) + record(6, 7, b"y")
claim = classic + record(1, 2, b"ab") + struct.pack("<iiII", 3, 4, 0xFFFFFFFF, 0xFFFFFFFF) + b"cd"
clock_steps = classic + b"".join(record(sec, 999999, b"z" * 34) for sec in (100, 50, 60, 101, 200))

captures = {
    "little_endian": web,
    "big_endian": big_endian,
    "header_only": classic,
    "nanoseconds": header(0xA1B23C4D, 1) + web[24:],
    "cooked_big_endian": header(0xA1B2C3D4, 113, ">") + big_endian[24:],
    "empty_records": empty_records,
    "claim_of_4_gib": claim,
    "cut": web[:-7],
}
write("read_classic", captures)
compressed = {f"inside_{name}": b"\1" + content for name, content in captures.items()}
write("read_gzip", compressed | {"raw_gzip": b"\0" + gzip.compress(icmp, mtime=0), "raw_not_gzip": b"\0" + icmp,
                                 "raw_cut": b"\0" + gzip.compress(icmp, mtime=0)[:-40]})
write("read_bzip2", compressed | {"raw_bzip2": b"\0" + bz2.compress(icmp, 1), "raw_cut": b"\0" + bz2.compress(bulk, 1)[:-40],
                                  "raw_two_streams": b"\0" + bz2.compress(icmp, 1) + bz2.compress(bulk[24:], 1)})
write("read_pcapng", {"dns": dns, "cut": dns[:-20], "no_packets": blocks(dns, 2), "section_only": blocks(dns, 1)})



def filtered(content, *command):
    return subprocess.run(command, input=content, stdout=subprocess.PIPE, check=True).stdout


def gzip_with_header(content):
    """With an extra field, a name, a comment and a checksum of all that."""
    fields = bytes([31, 139, 8, 30, 0, 0, 0, 0, 0, 3]) + b"\3\0xyz" + b"name\0" + b"comment\0"
    return fields + struct.pack("<H", zlib.crc32(fields) & 0xFFFF) + gzip.compress(content, mtime=0)[10:]


skippable = struct.pack("<II", 0x184D2A53, 5) + b"skip\0"
numbers = b"".join(b"%d\n" % (number * number) for number in range(300))
streams = {
    "plain": web,
    "gzip": gzip.compress(icmp, mtime=0),
    "gzip_header": gzip_with_header(numbers),
    "bzip2": bz2.compress(numbers, 1),
    "xz": lzma.compress(numbers, preset=0, check=lzma.CHECK_CRC32),
    "zstd": filtered(numbers, "zstd", "-q"),
    "zstd_blocks": filtered(numbers, "zstd", "-q", "-B1024", "--no-check") + skippable,
    "lz4": skippable + filtered(numbers, "lz4", "-q", "-B4"),
    "lz4_block_checksums": filtered(numbers, "lz4", "-q", "-B4", "-BX", "-BD"),
    "lz4_legacy": filtered(b"", "lz4", "-q", "-l"),
}
streams |= {f"{name}_padded": streams[name] + b"\0\0" + streams[name] + b"\0" for name in ("gzip", "bzip2", "xz", "zstd", "lz4")}
write("byte_stream", {name: bytes([6, 99]) + content for name, content in streams.items()})

inputs = {
    "web_and_icmp": (web, icmp),
    "dns_and_big_endian": (dns, big_endian),
    "empty_records_and_bulk": (empty_records, bulk),
    "clock_steps_and_web": (clock_steps, web),
    "nothing_and_header_only": (b"", classic),
}
write("algorithms", {f"{algorithm}_{name}": struct.pack("<BH", 192 + mode, len(first)) + first + second
                     for mode, algorithm in enumerate(("merge", "squish", "squish10"))
                     for name, (first, second) in inputs.items()})

write("text_forms", {
    "guid": "{6B29FC40-CA47-1067-B31D-00DD010662DA}",
    "guid_lower_open": "{6b29fc40-ca47-1067-b31d-00dd010662da",
    "guid_short_and_minus": "{-1-2-3-45-6-7-8-9-a}",
    "ip": "10.0.0.1",
    "ip_signs_and_zeros": " +010.00000000000000000255.\t3.4 and more",
    "ip_large": "4294967297.1.2.300",
    "hex_ip": "C0:A8:01:0A",
    "hex_odd": "0fF",
})
write("time_text", {
    "dates": "\0" "01-01-2021\n31-12-2021-23:59",
    "dates_reversed": "\1" "01-02-2020-10\n32-13-99",
    "dates_large": "\1" "-2147483648--2147483648--2147483648-2147483647:4294967297\n32-13-2147483647",
    "seconds": "\0" "0\n 1794797083 and more",
    "seconds_octal": "\0" " -010x\n4294967304 y",
    "seconds_of_one_text": "\0" "abc\n9",
    "seconds_reversed": "\0" "9\n8",
    "seconds_large": "\0" "-9223372036854775809\n99999999999999999999",
    "date_program": "\1" "Mon Nov 16 02:44:43 UTC 2026\n",
    "latest_and_earliest": b"\1" + struct.pack("<iiii", 2**31 - 1, 2**31 - 1, -(2**31), -(2**31)),
    "daylight_saving_ends": b"\1" + struct.pack("<iiii", 1775314800, 0, 1775316600, 999999),
})
write("byte_search", {
    "edits": bytes([2, 3, 0, 0, 0, 0]) + b"abXYZ" + b"aabbabaabbb",
    "edits_of_what_an_edit_makes": bytes([2, 2, 0, 0, 0, 0]) + b"abba" + b"xaaabbab",
    "edits_that_grow": bytes([1, 2, 0, 0, 0, 0]) + b"aaa" + b"aaa",
    "edits_of_overlaps": bytes([2, 1, 0, 0, 0, 0]) + b"aab" + b"aaaaa",
    "edits_of_less_than_the_pattern": bytes([3, 1, 0, 0, 0, 0]) + b".gzx" + b"gz",
    "edits_behind_the_end": bytes([3, 1, 0, 0, 0, 0]) + b".gzx" + b"a.gzx",
    "across_blocks": bytes([4, 1]) + struct.pack("<HH", 4094, 5000) + b"needN" + b"neneedle",
    "across_blocks_but_for_the_last_byte": bytes([4, 0]) + struct.pack("<HH", 8186, 9000) + b"need" + b"needle",
    "across_blocks_from_the_first_byte": bytes([4, 0]) + struct.pack("<HH", 8190, 9000) + b"need" + b"needle",
    "one_byte_of_the_next_block": bytes([1, 0]) + struct.pack("<HH", 4097, 6145) + b"x" + b"." * 4200,
    "a_byte": bytes([1, 0]) + struct.pack("<HH", 4, 3) + b"x" + b"y",
    "beyond_the_end": bytes([1, 0]) + struct.pack("<HH", 2, 12000) + b"x" + b"y" * 4095,
    "range": bytes([1, 0]) + struct.pack("<HH", 10, 12) + b"x" + b"............x",
    "empty_pattern": bytes([0, 0]) + struct.pack("<HH", 4096, 4096) + b"text",
})
write("tokenizer", {
    "command_line": "\1" " " "  ls   -l  ",
    "commas": "\1" "," ",a,,b,",
    "set": "\3" " \t\n" "one\ttwo \n three",
    "zero_inside": "\1" ";" "a;b\0;c;",
    "no_delimiters": "\0" "whole",
})
ip_link = """1: lo: <LOOPBACK,UP,LOWER_UP> mtu 65536 qdisc noqueue state UNKNOWN mode DEFAULT group default qlen 1000
    link/loopback 00:00:00:00:00:00 brd 00:00:00:00:00:00
    RX:  bytes packets errors dropped  missed   mcast           
          %d     120      0       0       0       0 
    TX:  bytes packets errors dropped carrier collsns           
          %d     120      0       0       0       0 
"""
eth = ip_link.replace("1: lo", "2: eth0.5@eth0")
write("interface_rates", {
    "two_readings": "\0" + ip_link % (1000, 2000) + eth % (1, 2) + "\0" + ip_link % (3000, 1000) + eth % (5, 2**63 - 1),
    "one_vanishes": "\4" + ip_link % (1000, 2000) + eth % (1, 2) + "\0" + ip_link % (3000, 1000),
    "beyond_64_bits": "\0" + ip_link % (2**63, 1) + "\0" + eth % (1, -1),
    "minimal": "\0" "1: a:\n\n\n 5\n\n 6\n1: b:\n\n\n 7\n\n 8\n",
})

# A byte for the link type (fuzz/address_copies.cpp lists them), and a packet; sums as they come.
ethernet, loopback, raw, cooked, cooked2, raw6 = b"\1", b"\0", b"\4", b"\6", b"\x08", b"\x0A"
mac = bytes(12)


def ipv4(protocol, segment, options=b"", fragment=0, length=None):
    size = 20 + len(options)
    return struct.pack(">BBHHHBBHII", 0x40 + size // 4, 0, size + len(segment) if length is None else length,
                       1, fragment, 64, protocol, 0x1234, 0xC0A80702, 0xCB007109) + options + segment


def ipv6(next_header, chain, length=None):
    return struct.pack(">IHBBQQQQ", 6 << 28, len(chain) if length is None else length, next_header, 64,
                       0x20010DB800000000, 1, 0x20010DB800000000, 2) + chain


tcp = struct.pack(">HHIIHHHH", 1234, 80, 1, 2, 0x5010, 500, 0x1234, 0)
udp = struct.pack(">HHHH", 1234, 53, 9, 0x1234) + b"x"
dccp = struct.pack(">HHBBHBBHI", 1234, 5001, 4, 0, 0x1234, 5, 0, 0, 7)
write("address_copies", {
    "web": ethernet + web[40:],
    "tags": ethernet + mac + bytes.fromhex("88A80001 81000002 91000003 0800") + ipv4(6, tcp),
    "cooked": cooked + bytes(14) + b"\x08\0" + ipv4(17, udp),
    "cooked_tag": cooked + bytes(14) + bytes.fromhex("81000007 0800") + ipv4(136, udp),
    "cooked2_tag": cooked2 + b"\x81\0" + bytes(18) + bytes.fromhex("00070800") + ipv4(33, dccp),
    "loopback": loopback + b"\2\0\0\0" + ipv4(17, udp, length=0),
    "loopback_big_endian": loopback + b"\0\0\0\2" + ipv4(17, udp, length=27),
    "no_sum": raw + ipv4(17, udp[:6] + b"\0\0"),
    "options": raw + ipv4(6, tcp, options=bytes.fromhex("01440C05 00000000 00000000 00000000")),
    "route": raw + ipv4(6, tcp, options=bytes.fromhex("01830704 C0A80507")),
    "fragments": raw + ipv4(17, udp, fragment=0x2000),
    "later_fragment": raw + ipv4(17, udp, fragment=0x2001),
    "cut": raw + ipv4(6, tcp)[:37],
    "ipv6": ethernet + mac + b"\x86\xDD" + ipv6(6, tcp),
    "ipv6_raw": raw + ipv6(58, bytes.fromhex("8000 1234 0001 0001")),
    "ipv6_loopback": loopback + b"\0\0\0\x1C" + ipv6(33, dccp, length=0),
    "ipv6_extensions": raw6 + ipv6(0, bytes.fromhex("3C00010400000000 2B00010400000000 2C00040000000000 3300000000000007 1101000000000000 00000000") + udp),
    "ipv6_route": raw6 + ipv6(43, bytes.fromhex("0602000100000000 20010DB8000000000000000000000009") + tcp),
    "ipv6_later_fragment": raw6 + ipv6(44, bytes.fromhex("1100000800000007") + udp),
})
write("report_names", {
    "markup": "<script>alert(1)</script>.pcap",
    "attribute": "\" onload='x' a=\"&amp;&lt;",
    "no_utf8": b"a\xff\xc0\xaf\xed\xa0\x80\xf4\x90\x80\x80\xe2\x82",
    "longer_than_need_be": b"\xc1\xbf/\xe0\x9f\xbf/\xf0\x8f\xbf\xbf/\xf5\x80\x80\x80",
    "direction": "a\u202eb\u2066\u0085\u20ac/\U0001f600",
    "controls": "\0\n\r\x1b[2J\x7f\\",
    "directories": "/a/b//c/",
})
write("exact_options", {
    "all": "\0".join([
        "--from=@1", "--to=2026-11-21T12:00:00+01:00", "--snaplen=96", "--dedup=0.5", "--files-from=list", "--quiet",
        "--format=pcapng", "--compress=zstd", "--report=a.json", "-r", "/tmp", "--", "a", "-", "--b", "-out", "c.zst"]),
    "squish": "--progress\0-squish10\0a\0-out\0-",
    "concatenate": "--concatenate\0a\0-out\0c.gz",
    "fault": "--from=\n\xff\0a\0-out\0b",
    "local": "2024-02-29T23:59:59.123456789",
    "west": "1999-12-31T00:00:00.5-09:30",
    "before_1970": "@-0.000000001",
    "last": "@9223372036.854775807",
    "first": "1677-09-21T00:12:43.145224192Z",
    "list": "a\n\n- b\r\nc",
})

# Two bytes for the sizes of blocks and pieces behind one for the compression, and a file.
big_ng = struct.pack(">IIIHHqI", 0x0A0D0D0A, 28, 0x1A2B3C4D, 1, 0, -1, 28)
big_ng += struct.pack(">IIHHIHHB3xI", 1, 28, 1, 0, 0, 9, 1, 9, 28)
big_ng += struct.pack(">IIIIIII4sI", 6, 36, 0, 0, 7, 3, 60, b"abc", 36)
big_ng += struct.pack(">III4sI", 3, 20, 4, b"wxyz", 20) + struct.pack(">II8sI", 0xBAD, 20, b"stepover", 20)
big_ng += struct.pack(">IIHHIIII4sI", 2, 36, 0, 0, 0, 8, 2, 60, b"xy", 36)
forms = captures | {
    "modified": header(0xA1B2CD34, 1) + record(1, 2, b"") + bytes(8) + record(2, 2, b"") + bytes(8),
    "lengths_exchanged": struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 2, 0, 0, 0, 1) + struct.pack("<IIII", 1, 2, 60, 3) + b"abc",
    "dns": dns,
    "big_endian_ng": big_ng,
    "two_sections": big_ng + blocks(dns, 4),
    "cut_ng": (big_ng + dns)[:-5],
}
packed = {
    "raw_gzip": gzip.compress(icmp, mtime=0),
    "raw_bzip2": bz2.compress(icmp, 1),
    "raw_xz": lzma.compress(icmp, check=lzma.CHECK_CRC32, preset=0),
    "raw_gzip_wrong_checksum": gzip.compress(icmp, mtime=0)[:-5] + b"x" + gzip.compress(icmp, mtime=0)[-4:],
    "raw_zstd": bytes.fromhex("28b52ffd0418010000") + b"xyz",
    "raw_skippable": struct.pack("<II", 0x184D2A50, 4) + b"skip",
}
write("exact_reader", {name: struct.pack("BBB", at % 8, 11 * at, at % 5 * 20) + content
                       for at, (name, content) in enumerate((forms | packed).items())}
      | {name: b"\0\0\0" + content for name, content in packed.items()})
write("exact_merge", {f"{mode}_{name}": struct.pack("<BHH", number, len(one), len(two)) + one + two + three
                      for number, mode in enumerate(("merge", "squish"))
                      for name, (one, two, three) in {
                          "plain": (web, clock_steps, empty_records),
                          "ng_and_nanoseconds": (big_ng, captures["nanoseconds"], dns),
                          "damaged": (web[:-7], b"", gzip.compress(icmp, mtime=0)[:-9]),
                          "other_link_type": (web, classic, captures["cooked_big_endian"]),
                      }.items()})
