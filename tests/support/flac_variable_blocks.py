#!/usr/bin/python3
"""flac_variable_blocks.py IN.flac OUT.flac: rewrites fixed-block frames as variable-block ones
(first-sample numbers, CRCs recomputed); metadata is copied, so IN must have no seek table."""
import sys


def crc(data, bits, poly):
    value, top, mask = 0, 1 << (bits - 1), (1 << bits) - 1
    for byte in data:
        value ^= byte << (bits - 8)
        for _ in range(8):
            value = ((value << 1) ^ poly) & mask if value & top else (value << 1) & mask
    return value


def crc8(data):
    return crc(data, 8, 0x07)


def crc16(data):
    return crc(data, 16, 0x8005)


def coded_length(first):  # of the UTF-8-like coded number starting with this byte
    ones = 0
    while ones < 8 and first & (0x80 >> ones):
        ones += 1
    return 1 if ones == 0 else ones


def code_number(value):
    if value < 0x80:
        return bytes([value])
    for count, limit in ((2, 1 << 11), (3, 1 << 16), (4, 1 << 21), (5, 1 << 26), (6, 1 << 31), (7, 1 << 36)):
        if value < limit:
            break
    tail = []
    for _ in range(count - 1):
        tail.insert(0, 0x80 | (value & 0x3F))
        value >>= 6
    lead = (0xFF << (8 - count)) & 0xFF if count < 7 else 0xFE
    return bytes([lead | value] + tail)


def block_size(code, extra):
    if code == 1:
        return 192
    if 2 <= code <= 5:
        return 576 << (code - 2)
    if code == 6:
        return extra[0] + 1
    if code == 7:
        return (extra[0] << 8 | extra[1]) + 1
    return 256 << (code - 8)


def header_length(data, at):  # of the frame header at `at` with its CRC-8; 0 when invalid
    if data[at] != 0xFF or data[at + 1] != 0xF8 or at + 16 > len(data):
        return 0
    position = at + 4 + coded_length(data[at + 4])
    position += {6: 1, 7: 2}.get(data[at + 2] >> 4, 0)
    position += {12: 1, 13: 2, 14: 2}.get(data[at + 2] & 0x0F, 0)
    return position + 1 - at if crc8(data[at:position]) == data[position] else 0


def main():
    data = open(sys.argv[1], "rb").read()
    position = 4
    while True:  # metadata blocks: 1-bit last flag, 7-bit type, 24-bit length
        last = data[position] & 0x80
        position += 4 + int.from_bytes(data[position + 1:position + 4], "big")
        if last:
            break
    out = bytearray(data[:position])
    sample = 0
    start = position
    while start < len(data):
        end = start + 1
        while True:
            end = data.find(b"\xff\xf8", end)
            if end < 0:
                end = len(data)
                break
            if header_length(data, end) and crc16(data[start:end]) == 0:
                break
            end += 1
        length = header_length(data, start)
        old_number = 4 + coded_length(data[start + 4])
        extra = data[start + old_number:start + length - 1]
        size = block_size(data[start + 2] >> 4, extra)
        header = bytes([0xFF, 0xF9, data[start + 2], data[start + 3]]) + code_number(sample) + extra
        frame = header + bytes([crc8(header)]) + data[start + length:end - 2]
        out += frame + crc16(frame).to_bytes(2, "big")
        sample += size
        start = end
    open(sys.argv[2], "wb").write(bytes(out))


main()
