#!/usr/bin/env python3
"""Draws the component's icons: a sine in steps, as a converter outputs it, on a plug (port.ico) and on a screen
(converter.ico). Each file holds a picture of 32 x 32 and one of 16 x 16 pixels, in 16 colours.

usage: draw_icons.py DIRECTORY
"""
import math
import pathlib
import struct
import sys

PALETTE = [(0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128), (0, 128, 128), (192, 192, 192),
           (128, 128, 128), (255, 0, 0), (0, 255, 0), (255, 255, 0), (0, 0, 255), (255, 0, 255), (0, 255, 255),
           (255, 255, 255)]
BLACK, NAVY, SILVER, GREY, LIME, YELLOW = 0, 4, 7, 8, 10, 11
CLEAR = None


# The pictures are lists of rows of palette indexes; CLEAR is transparent. Edges on the right and below are exclusive.

def rectangle(pixels, left, top, right, bottom, color):
    for y in range(top, bottom):
        pixels[y][left:right] = [color] * (right - left)


def wave(pixels, left, top, right, bottom, color):
    """Draws one period of a sine in eight steps, with vertical lines between them."""
    middle, height = (top + bottom - 1) / 2, (bottom - top - 1) / 2
    step = max(1, (right - left) // 8)
    levels = [round(middle - height * math.sin(2 * math.pi * ((x - left) // step * step) / (right - left)))
              for x in range(left, right)]
    for i, x in enumerate(range(left, right)):
        low, high = sorted((levels[max(i - 1, 0)], levels[i]))
        for y in range(low, high + 1):
            pixels[y][x] = color


def port(size):
    unit = size // 16
    pixels = [[CLEAR] * size for _ in range(size)]
    rectangle(pixels, unit, 2 * unit, size - unit, 14 * unit, BLACK)
    rectangle(pixels, unit + 1, 2 * unit + 1, size - unit - 1, 14 * unit - 1, SILVER)
    for x in (5, 10):
        rectangle(pixels, x * unit, 0, (x + 1) * unit, 2 * unit, GREY)
    rectangle(pixels, 7 * unit, 14 * unit, 9 * unit, size, GREY)
    wave(pixels, 2 * unit + 1, 4 * unit, size - 2 * unit - 1, 12 * unit, NAVY)
    return pixels


def converter(size):
    unit = size // 16
    pixels = [[CLEAR] * size for _ in range(size)]
    rectangle(pixels, 0, unit, size, 13 * unit, GREY)
    rectangle(pixels, unit, 2 * unit, size - unit, 12 * unit, BLACK)
    rectangle(pixels, 6 * unit, 13 * unit, 10 * unit, 14 * unit, GREY)
    rectangle(pixels, 4 * unit, 14 * unit, 12 * unit, 15 * unit, YELLOW)
    wave(pixels, unit, 3 * unit, size - unit, 11 * unit, LIME)
    return pixels


def image(pixels):
    """The picture as an icon file stores it: a bitmap with 4 bits per pixel, bottom row first, then a mask of 1 bit per
    pixel that is set where the picture is transparent. The header counts the rows of both.
    """
    size = len(pixels)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 4, 0, 0, 0, 0, 0, 0)
    colors = b"".join(bytes((blue, green, red, 0)) for red, green, blue in PALETTE)
    dots = mask = b""
    for row in reversed(pixels):
        nibbles = [color or 0 for color in row]
        dots += bytes(nibbles[x] << 4 | nibbles[x + 1] for x in range(0, size, 2))
        bits = sum((color is CLEAR) << (size - 1 - x) for x, color in enumerate(row))
        mask += (bits << (32 - size)).to_bytes(4, "big")
    return header + colors + dots + mask


def icon(draw):
    """An icon file: a directory with an entry for each size, then the pictures."""
    sizes = (32, 16)
    images = [image(draw(size)) for size in sizes]
    directory, place = struct.pack("<HHH", 0, 1, len(sizes)), 6 + 16 * len(sizes)
    for size, data in zip(sizes, images):
        directory += struct.pack("<BBBBHHII", size, size, 16, 0, 1, 4, len(data), place)
        place += len(data)
    return directory + b"".join(images)


def main():
    target = pathlib.Path(sys.argv[1])
    (target / "port.ico").write_bytes(icon(port))
    (target / "converter.ico").write_bytes(icon(converter))


main()
