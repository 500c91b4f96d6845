#!/usr/bin/python3
"""Files that lie, for the tests of hostile input:
  png OUT WIDTH HEIGHT PADDING: a 1 x 1 PNG whose header claims WIDTH x HEIGHT, plus PADDING skipped bytes;
  jpegsize JPEG WIDTH HEIGHT: sets the size in a JPEG's frame header;
  flacpicture FLAC IMAGE MIME DELTA: adds a front cover, then DELTA to its own data-length field;
  apicsize FILE DELTA: adds DELTA to the first APIC frame's size (the tag's size stays true);
  replace FILE OLD NEW: replaces the one occurrence of hex bytes OLD by NEW of the same length."""
import struct
import sys
import zlib

from mutagen import flac


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(out, width, height, padding):
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    pixels = zlib.compress(b"\0\xff\0\0")
    with open(out, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header))
        if padding:
            f.write(chunk(b"prVt", bytes(padding)))
        f.write(chunk(b"IDAT", pixels) + chunk(b"IEND", b""))


def jpegsize(path, width, height):
    data = bytearray(open(path, "rb").read())
    i = 2
    while i + 9 < len(data):
        marker, length = data[i + 1], struct.unpack(">H", data[i + 2:i + 4])[0]
        if marker in (0xC0, 0xC1, 0xC2):
            struct.pack_into(">HH", data, i + 5, height, width)
            open(path, "wb").write(data)
            return
        i += 2 + length
    sys.exit("no frame header")


def flacpicture(path, image, mime, delta):
    audio = flac.FLAC(path)
    picture = flac.Picture()
    picture.data = open(image, "rb").read()
    picture.type = 3
    picture.mime = mime
    audio.add_picture(picture)
    audio.save()
    data = bytearray(open(path, "rb").read())
    # type, MIME, description, width, height, depth, colours, then the length.
    at = data.index(struct.pack(">I", 3) + struct.pack(">I", len(mime)) + mime.encode())
    at += 8 + len(mime) + 4 + 16
    length = struct.unpack(">I", data[at:at + 4])[0]
    assert length == len(picture.data)
    struct.pack_into(">I", data, at, length + delta)
    open(path, "wb").write(data)


def apicsize(path, delta):
    data = bytearray(open(path, "rb").read())
    at = data.index(b"APIC") + 4
    size = sum(b << shift for b, shift in zip(data[at:at + 4], (21, 14, 7, 0))) + delta
    data[at:at + 4] = bytes((size >> shift) & 0x7F for shift in (21, 14, 7, 0))
    open(path, "wb").write(data)


def replace(path, old, new):
    data = open(path, "rb").read()
    assert data.count(old) == 1 and len(old) == len(new)
    open(path, "wb").write(data.replace(old, new))


command, args = sys.argv[1], sys.argv[2:]
commands = {"png": lambda: png(args[0], int(args[1]), int(args[2]), int(args[3])),
            "jpegsize": lambda: jpegsize(args[0], int(args[1]), int(args[2])),
            "flacpicture": lambda: flacpicture(args[0], args[1], args[2], int(args[3])),
            "apicsize": lambda: apicsize(args[0], int(args[1])),
            "replace": lambda: replace(args[0], bytes.fromhex(args[1]), bytes.fromhex(args[2]))}
commands[command]() if command in commands else sys.exit(__doc__)
