#!/usr/bin/python3
"""Writes tags into an audio file with mutagen, for the metadata tests.

Usage: mutagen_tag.py JSON, where JSON is an object:
  "path":   the file to tag (changed in place);
  "format": flac | ogg | mp4 | asf | id3 | ape | dsf | aiff | wave;
  "tags":   [[key, value], ...] with the tag system's own keys, in order;
            a repeated key gets several values;
  "padding": for id3, the bytes of padding after the frames;
A value is a string, or an object that says its type:
  {"int": n}, {"bool": b}, {"pair": [n, total]} (MP4 numbers, booleans and
  number pairs), {"dword": n} (ASF 32-bit attribute), {"freeform": text}
  (MP4 free-form item), {"cover": path, "format": "jpeg"|"png"|"gif"|"bmp"}
  (MP4 cover), {"asfpicture": path, "type", "mime", "description"},
  {"flacpicture": path, "type", "mime", "description"} (Base64 picture
  block for a Xiph comment), {"base64": text} (raw text for a Xiph comment).
For ID3-tagged formats the keys are frame ids (TIT2, TRCK, COMM, APIC, ...).
"""
import base64
import json
import struct
import sys

import mutagen
from mutagen import apev2, asf, flac, id3, mp4


def read(path):
    with open(path, "rb") as f:
        return f.read()


def flac_picture(spec):
    picture = flac.Picture()
    picture.data = read(spec["flacpicture"])
    picture.type = spec.get("type", 3)
    picture.mime = spec.get("mime", "image/jpeg")
    picture.desc = spec.get("description", "")
    return picture


def xiph_value(value):
    if isinstance(value, str):
        return value
    if "flacpicture" in value:
        return base64.b64encode(flac_picture(value).write()).decode("ascii")
    if "base64" in value:
        return value["base64"]
    raise ValueError(value)


MP4_COVER_FORMATS = {
    "jpeg": mp4.MP4Cover.FORMAT_JPEG,
    "png": mp4.MP4Cover.FORMAT_PNG,
    "gif": 12,
    "bmp": 27,
}


def mp4_value(value):
    if isinstance(value, str):
        return value
    if "int" in value:
        return value["int"]
    if "bool" in value:
        return value["bool"]
    if "pair" in value:
        return tuple(value["pair"])
    if "freeform" in value:
        return mp4.MP4FreeForm(value["freeform"].encode("utf-8"))
    if "cover" in value:
        return mp4.MP4Cover(read(value["cover"]), MP4_COVER_FORMATS[value["format"]])
    raise ValueError(value)


def asf_value(value):
    if isinstance(value, str):
        return asf.ASFUnicodeAttribute(value)
    if "dword" in value:
        return asf.ASFDWordAttribute(value["dword"])
    if "asfpicture" in value:
        mime = value.get("mime", "image/jpeg").encode("utf-16-le") + b"\0\0"
        description = value.get("description", "").encode("utf-16-le") + b"\0\0"
        data = read(value["asfpicture"])
        blob = struct.pack("<BI", value.get("type", 3), len(data)) + mime + description + data
        return asf.ASFByteArrayAttribute(blob)
    raise ValueError(value)


def id3_frame(key, value):
    if key == "APIC":
        return id3.APIC(encoding=3, mime=value.get("mime", "image/jpeg"), type=value.get("type", 3),
                        desc=value.get("description", ""), data=read(value["apic"]))
    if key == "COMM":
        return id3.COMM(encoding=3, lang="eng", desc=value.get("description", ""), text=value["text"])
    if key == "USLT":
        return id3.USLT(encoding=3, lang="eng", desc="", text=value)
    return id3.Frames[key](encoding=3, text=value)


def grouped(tags):
    groups = {}
    for key, value in tags:
        groups.setdefault(key, []).append(value)
    return groups


def tag_xiph(audio, request):
    if audio.tags is None:
        audio.add_tags()
    for key, values in grouped(request.get("tags", [])).items():
        audio.tags[key] = [xiph_value(v) for v in values]
    audio.save()


def tag_mp4(audio, request):
    if audio.tags is None:
        audio.add_tags()
    for key, values in grouped(request.get("tags", [])).items():
        converted = [mp4_value(v) for v in values]
        audio.tags[key] = converted[0] if key in ("cpil", "pgap") else converted
    audio.save()


def tag_asf(audio, request):
    for key, values in grouped(request.get("tags", [])).items():
        audio.tags[key] = [asf_value(v) for v in values]
    audio.save()


def tag_id3(path, request):
    try:
        tags = id3.ID3(path)
    except id3.ID3NoHeaderError:
        tags = id3.ID3()
    for key, value in request.get("tags", []):
        tags.add(id3_frame(key, value))
    padding = request.get("padding")
    tags.save(path, v2_version=request.get("version", 4), v1=request.get("v1", 0),
              padding=None if padding is None else (lambda info: padding))


def tag_id3_container(audio, request):
    if audio.tags is None:
        audio.add_tags()
    for key, value in request.get("tags", []):
        audio.tags.add(id3_frame(key, value))
    if request["format"] == "dsf":
        audio.save()
    else:
        audio.save(v2_version=request.get("version", 4))


def tag_ape(path, request):
    tags = apev2.APEv2()
    for key, values in grouped(request.get("tags", [])).items():
        if isinstance(values[0], dict) and "cover" in values[0]:
            tags[key] = apev2.APEValue(values[0]["name"].encode("utf-8") + b"\0" + read(values[0]["cover"]),
                                       apev2.BINARY)
        else:
            tags[key] = values
    tags.save(path)


def main():
    request = json.loads(sys.argv[1])
    path = request["path"]
    kind = request["format"]
    if kind in ("flac", "ogg"):
        tag_xiph(mutagen.File(path), request)
    elif kind == "mp4":
        tag_mp4(mp4.MP4(path), request)
    elif kind == "asf":
        tag_asf(asf.ASF(path), request)
    elif kind == "id3":
        tag_id3(path, request)
    elif kind in ("dsf", "aiff", "wave"):
        tag_id3_container(mutagen.File(path), request)
    elif kind == "ape":
        tag_ape(path, request)
    else:
        raise ValueError(kind)


if __name__ == "__main__":
    main()
