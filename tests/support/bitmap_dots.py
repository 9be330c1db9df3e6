#!/usr/bin/python3
"""Prints what an image library reads from a bitmap: width, height, and each line's dots from the top, 1 for black."""
import sys

from PIL import Image

image = Image.open(sys.argv[1])
assert image.format == "BMP", image.format
grey = image.convert("L")
print(grey.width, grey.height)
for y in range(grey.height):
    print("".join("1" if grey.getpixel((x, y)) == 0 else "0" for x in range(grey.width)))
