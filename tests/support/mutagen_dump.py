#!/usr/bin/python3
"""Prints the tags mutagen reads from a file as JSON, for the metadata
tests: mutagen_dump.py PATH. Keys are the tag system's own; every value is a
list of texts. Binary values (pictures, covers) are given as
{"md5", "mime", "type", "description", "format"} as far as they apply."""
import base64
import hashlib
import json
import sys

import mutagen
from mutagen import asf, flac, mp4


def picture_info(data, **extra):
    info = {"md5": hashlib.md5(data).hexdigest(), "size": len(data)}
    info.update(extra)
    return info


def value_of(key, value):
    if isinstance(value, mp4.MP4Cover):
        return picture_info(bytes(value), format=value.imageformat)
    if isinstance(value, mp4.MP4FreeForm):
        return bytes(value).decode("utf-8")
    if isinstance(value, tuple):
        return list(value)
    if isinstance(value, asf.ASFBaseAttribute):
        return value.value if not isinstance(value.value, bytes) else base64.b64encode(value.value).decode()
    if isinstance(value, (bool, int)):
        return value
    return str(value)


def main():
    audio = mutagen.File(sys.argv[1])
    result = {}
    for key, values in (audio.tags or {}).items():
        if not isinstance(values, list):
            values = [values]
        result[key] = [value_of(key, v) for v in values]
    # Base64 picture blocks of Xiph comments, decoded.
    for encoded in result.get("metadata_block_picture", []):
        picture = flac.Picture(base64.b64decode(encoded))
        result.setdefault("pictures", []).append(
            picture_info(picture.data, mime=picture.mime, type=picture.type, description=picture.desc))
    print(json.dumps(result, ensure_ascii=False, sort_keys=True))


if __name__ == "__main__":
    main()
