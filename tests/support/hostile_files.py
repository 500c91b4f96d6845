#!/usr/bin/python3
"""Files that lie, for the tests of hostile input. Usage:

  hostile_files.py png OUT WIDTH HEIGHT PADDING
      a PNG whose header says WIDTH x HEIGHT over the pixels of a 1 x 1
      image (so it lies unless both are 1), followed by an ancillary chunk
      of PADDING bytes that decoders skip (a large valid file);
  hostile_files.py jpegsize JPEG WIDTH HEIGHT
      sets the size in a JPEG's frame header, leaving its data;
  hostile_files.py flacpicture FLAC IMAGE MIME DELTA
      adds IMAGE as the FLAC file's front cover (with mutagen), then adds
      DELTA to the picture's own data-length field (the block's length
      stays true);
  hostile_files.py apicsize FILE DELTA
      adds DELTA to the size of the first APIC frame of the ID3v2.4 tag in
      FILE (the tag's own size stays true);
  hostile_files.py replace FILE OLD NEW
      replaces the one occurrence of the bytes OLD (hex) by NEW (hex, the
      same length), e.g. to put invalid UTF-8 where a tag writer wrote text.
"""
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


def syncsafe(value):
    return bytes((value >> shift) & 0x7F for shift in (21, 14, 7, 0))


def apicsize(path, delta):
    data = bytearray(open(path, "rb").read())
    at = data.index(b"APIC") + 4
    size = sum(b << shift for b, shift in zip(data[at:at + 4], (21, 14, 7, 0)))
    data[at:at + 4] = syncsafe(size + delta)
    open(path, "wb").write(data)


def replace(path, old, new):
    data = open(path, "rb").read()
    assert data.count(old) == 1 and len(old) == len(new)
    open(path, "wb").write(data.replace(old, new))


command, args = sys.argv[1], sys.argv[2:]
if command == "png":
    png(args[0], int(args[1]), int(args[2]), int(args[3]))
elif command == "jpegsize":
    jpegsize(args[0], int(args[1]), int(args[2]))
elif command == "flacpicture":
    flacpicture(args[0], args[1], args[2], int(args[3]))
elif command == "apicsize":
    apicsize(args[0], int(args[1]))
elif command == "replace":
    replace(args[0], bytes.fromhex(args[1]), bytes.fromhex(args[2]))
else:
    sys.exit(__doc__)
