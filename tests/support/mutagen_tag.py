#!/usr/bin/python3
"""mutagen_tag.py JSON: tags {"path"} in place with mutagen, for the metadata tests.
"format": flac|ogg|mp4|asf|id3|ape|dsf|aiff|wave; "tags": [[key, value], ...] in the tag system's own
keys (ID3 frame ids for ID3 formats), a repeated key giving several values; id3 also takes "padding",
"version", "v1". A value is a string or a typed object: {"int"}, {"bool"}, {"pair": [n, total]},
{"freeform"}, {"cover", "format"} (MP4); {"dword"}, {"asfpicture", "type", "mime", "description"} (ASF);
{"flacpicture", ...} (Base64 picture block), {"base64"} (raw Xiph text); {"apic", ...}, {"text", ...}
(APIC, COMM); {"cover", "name"} (APE binary item)."""
import base64
import json
import struct
import sys

import mutagen
from mutagen import apev2, asf, flac, id3, mp4


def read(path):
    with open(path, "rb") as f:
        return f.read()


def xiph_value(value):
    if isinstance(value, str):
        return value
    if "flacpicture" in value:
        picture = flac.Picture()
        picture.data = read(value["flacpicture"])
        picture.type = value.get("type", 3)
        picture.mime = value.get("mime", "image/jpeg")
        picture.desc = value.get("description", "")
        return base64.b64encode(picture.write()).decode("ascii")
    return value["base64"]


MP4_COVER_FORMATS = {"jpeg": mp4.MP4Cover.FORMAT_JPEG, "png": mp4.MP4Cover.FORMAT_PNG, "gif": 12, "bmp": 27}


def mp4_value(value):
    if isinstance(value, str):
        return value
    for kind, make in (("int", int), ("bool", bool), ("pair", tuple),
                       ("freeform", lambda text: mp4.MP4FreeForm(text.encode("utf-8")))):
        if kind in value:
            return make(value[kind])
    return mp4.MP4Cover(read(value["cover"]), MP4_COVER_FORMATS[value["format"]])


def asf_value(value):
    if isinstance(value, str):
        return asf.ASFUnicodeAttribute(value)
    if "dword" in value:
        return asf.ASFDWordAttribute(value["dword"])
    mime = value.get("mime", "image/jpeg").encode("utf-16-le") + b"\0\0"
    description = value.get("description", "").encode("utf-16-le") + b"\0\0"
    data = read(value["asfpicture"])
    return asf.ASFByteArrayAttribute(struct.pack("<BI", value.get("type", 3), len(data)) + mime + description + data)


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


def tag_mapped(audio, request, convert, single=()):
    if audio.tags is None:
        audio.add_tags()
    for key, values in grouped(request.get("tags", [])).items():
        converted = [convert(v) for v in values]
        audio.tags[key] = converted[0] if key in single else converted
    audio.save()


def main():
    request = json.loads(sys.argv[1])
    path, kind, tags = request["path"], request["format"], request.get("tags", [])
    if kind in ("flac", "ogg"):
        tag_mapped(mutagen.File(path), request, xiph_value)
    elif kind == "mp4":
        tag_mapped(mp4.MP4(path), request, mp4_value, single=("cpil", "pgap"))
    elif kind == "asf":
        tag_mapped(asf.ASF(path), request, asf_value)
    elif kind == "id3":
        try:
            frames = id3.ID3(path)
        except id3.ID3NoHeaderError:
            frames = id3.ID3()
        for key, value in tags:
            frames.add(id3_frame(key, value))
        padding = request.get("padding")
        frames.save(path, v2_version=request.get("version", 4), v1=request.get("v1", 0),
                    padding=None if padding is None else (lambda info: padding))
    elif kind in ("dsf", "aiff", "wave"):
        audio = mutagen.File(path)
        if audio.tags is None:
            audio.add_tags()
        for key, value in tags:
            audio.tags.add(id3_frame(key, value))
        audio.save() if kind == "dsf" else audio.save(v2_version=request.get("version", 4))
    elif kind == "ape":
        ape = apev2.APEv2()
        for key, values in grouped(tags).items():
            if isinstance(values[0], dict) and "cover" in values[0]:
                ape[key] = apev2.APEValue(values[0]["name"].encode("utf-8") + b"\0" + read(values[0]["cover"]),
                                          apev2.BINARY)
            else:
                ape[key] = values
        ape.save(path)
    else:
        raise ValueError(kind)


if __name__ == "__main__":
    main()
