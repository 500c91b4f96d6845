#!/usr/bin/python3
"""seeds.py FIXTURES TAGLIB OUT: fills OUT/<Fuzzer>/ with the small test files (or their midi chunks,
FLAC comments and pictures) its parser reads, plus fuzz/seeds/<Fuzzer> and fuzz/regressions/<Fuzzer>."""
import os
import shutil
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
MAX_SEED = 512 * 1024

# Fuzzer -> extensions of the whole files it reads.
WHOLE_FILES = {
    "DSDContainerFuzzer": (".dsf", ".dff"),
    "DSFTagFuzzer": (".dsf",),
    "OggStreamFuzzer": (".ogg", ".oga", ".opus", ".spx", ".oggflac"),
    "AudioFileChunksFuzzer": (".wav", ".aif", ".aiff", ".aifc", ".caf", ".rf64", ".w64"),
}
FUZZERS = sorted(set(WHOLE_FILES) | {"MIDIFuzzer", "XiphPictureFuzzer", "DateFuzzer", "SecondsFuzzer",
                                     "NamingSchemeFuzzer", "OutputFormatFuzzer"})


def riff_chunks(data):
    """(type, body) of the top-level chunks of a RIFF WAVE or FORM AIFF file."""
    unpack = {b"RIFF": "<I", b"FORM": ">I"}.get(data[:4])
    if not unpack:
        return
    pos = 12
    while pos + 8 <= len(data):
        kind = data[pos:pos + 4]
        size = struct.unpack(unpack, data[pos + 4:pos + 8])[0]
        yield kind, data[pos + 8:pos + 8 + size]
        pos += 8 + size + (size & 1)


def flac_blocks(data):
    """(type, body) of the metadata blocks of a native FLAC file."""
    if data[:3] == b"ID3" and len(data) >= 10:
        size = (data[6] << 21) | (data[7] << 14) | (data[8] << 7) | data[9]
        data = data[10 + size:]
    if data[:4] != b"fLaC":
        return
    pos = 4
    while pos + 4 <= len(data):
        header = data[pos]
        size = int.from_bytes(data[pos + 1:pos + 4], "big")
        yield header & 0x7F, data[pos + 4:pos + 4 + size]
        pos += 4 + size
        if header & 0x80:
            break


def main():
    fixtures, taglib, out = sys.argv[1:4]
    sources = [fixtures]
    if os.path.isdir(taglib):
        sources.append(taglib)
    else:
        print(f"skipped: {taglib} does not exist")
    shutil.rmtree(out, ignore_errors=True)
    for name in FUZZERS:
        os.makedirs(os.path.join(out, name))
    counts = dict.fromkeys(FUZZERS, 0)

    def add(fuzzer, label, data):
        with open(os.path.join(out, fuzzer, label), "wb") as seed:
            seed.write(data)
        counts[fuzzer] += 1

    for source in sources:
        prefix = "taglib-" if source == taglib else "fixture-"
        for entry in sorted(os.listdir(source)):
            path = os.path.join(source, entry)
            if not os.path.isfile(path) or os.path.getsize(path) > MAX_SEED:
                continue
            with open(path, "rb") as f:
                data = f.read()
            extension = os.path.splitext(entry)[1].lower()
            for fuzzer, extensions in WHOLE_FILES.items():
                if extension in extensions:
                    add(fuzzer, prefix + entry, data)
            for index, (kind, body) in enumerate(riff_chunks(data)):
                if kind == b"midi":
                    add("MIDIFuzzer", f"{prefix}{entry}-{index}.mid", body)
            for index, (kind, body) in enumerate(flac_blocks(data)):
                if kind == 4:
                    add("XiphPictureFuzzer", f"{prefix}{entry}-{index}.comment", body)
                elif kind == 6 and len(body) <= 64 * 1024:
                    add("XiphPictureFuzzer", f"{prefix}{entry}-{index}.picture", body)

    for folder in ("seeds", "regressions"):
        for name in FUZZERS:
            here = os.path.join(HERE, folder, name)
            if os.path.isdir(here):
                for entry in sorted(os.listdir(here)):
                    shutil.copy(os.path.join(here, entry), os.path.join(out, name, f"{folder}-{entry}"))
                    counts[name] += 1
    for name in FUZZERS:
        print(f"{name}: {counts[name]} seeds")
        if counts[name] == 0:
            sys.exit(f"no seeds for {name}")


if __name__ == "__main__":
    main()
