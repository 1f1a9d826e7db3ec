#!/usr/bin/env python3
"""Writes the example scenes' textures (standard library only).

uv_grid.pam: 256 x 128 lat/long test grid. Red rises with u (left to right), green with v
(top to bottom); 8 x 4 cells alternate light and dark; white lines every 32 pixels, with a
thicker line on the equator and on u = 0.5 so that orientation is easy to read on the sphere.
"""
import pathlib

WIDTH, HEIGHT, CELL = 256, 128, 32


def grid_pixel(x, y):
    u = (x + 0.5) / WIDTH
    v = (y + 0.5) / HEIGHT
    if x % CELL == 0 or y % CELL == 0 or abs(y - HEIGHT // 2) < 2 or abs(x - WIDTH // 2) < 2:
        return (255, 255, 255, 255)
    light = ((x // CELL) + (y // CELL)) % 2 == 0
    scale = 1.0 if light else 0.6
    return (round(255 * u * scale), round(255 * v * scale), round(255 * 0.35 * scale), 255)


def write_pam(path, width, height, pixel):
    header = f"P7\nWIDTH {width}\nHEIGHT {height}\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
    data = bytearray()
    for y in range(height):
        for x in range(width):
            data.extend(pixel(x, y))
    path.write_bytes(header.encode("ascii") + bytes(data))


if __name__ == "__main__":
    here = pathlib.Path(__file__).resolve().parent
    write_pam(here / "uv_grid.pam", WIDTH, HEIGHT, grid_pixel)
