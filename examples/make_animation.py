#!/usr/bin/env python3
"""Writes animation.gif: a ball that rolls along a banner, 12 frames, played for ever."""
import math
import struct
from pathlib import Path

WIDTH, HEIGHT, FRAMES = 234, 60, 12
PALETTE = [(255, 255, 238), (0, 51, 153), (204, 51, 0), (153, 153, 153)]
CODE_SIZE = 2


def pixels(frame):
    centre_x = 20 + (WIDTH - 40) * frame / (FRAMES - 1)
    centre_y = HEIGHT - 18 - 24 * abs(math.sin(math.pi * frame / 4))
    for y in range(HEIGHT):
        for x in range(WIDTH):
            if min(x, y, WIDTH - 1 - x, HEIGHT - 1 - y) < 2:
                yield 1
            elif math.hypot(x - centre_x, y - centre_y) < 12:
                yield 2
            else:
                yield 3 if y >= HEIGHT - 6 else 0


def lzw(data):
    clear, end = 1 << CODE_SIZE, (1 << CODE_SIZE) + 1
    bits = count = 0
    packed = bytearray()

    def put(code, size):
        nonlocal bits, count
        bits |= code << count
        count += size
        while count >= 8:
            packed.append(bits & 0xFF)
            bits >>= 8
            count -= 8

    table = {bytes([i]): i for i in range(clear)}
    size, next_code, run = CODE_SIZE + 1, end + 1, b""
    put(clear, size)
    for value in data:
        longer = run + bytes([value])
        if longer in table:
            run = longer
            continue
        put(table[run], size)
        if next_code == 4096:
            put(clear, size)
            table = {bytes([i]): i for i in range(clear)}
            size, next_code = CODE_SIZE + 1, end + 1
        else:
            if next_code == 1 << size:
                size += 1
            table[longer] = next_code
            next_code += 1
        run = bytes([value])
    put(table[run], size)
    put(end, size)
    if count:
        packed.append(bits & 0xFF)
    return bytes(packed)


def blocks(data):
    parts = (data[i:i + 255] for i in range(0, len(data), 255))
    return b"".join(bytes([len(part)]) + part for part in parts) + b"\0"


gif = b"GIF89a" + struct.pack("<HHBBB", WIDTH, HEIGHT, 0x91, 0, 0)
gif += bytes(value for colour in PALETTE for value in colour)
gif += b"\x21\xFF\x0BNETSCAPE2.0" + blocks(struct.pack("<BH", 1, 0))
for frame in range(FRAMES):
    gif += b"\x21\xF9\x04" + struct.pack("<BHBB", 0x04, 10, 0, 0)
    gif += b"\x2C" + struct.pack("<HHHHB", 0, 0, WIDTH, HEIGHT, 0)
    gif += bytes([CODE_SIZE]) + blocks(lzw(pixels(frame)))
Path(__file__).with_name("animation.gif").write_bytes(gif + b"\x3B")
