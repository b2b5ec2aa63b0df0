#!/usr/bin/python3
"""Rebuild Quaylon's raster artwork from the SVG sources and from the drawing code below.

Writes, next to this script:
  icons/quaylon-{16,32,48,64,128,256}.png  the application icon, from icons/quaylon.svg
  splash.png, splash@2x.png                 artwork/splash-scene.svg plus the text
  alert.gif                                 the "New Client being Served" animation

Needs Debian's python3-pil, librsvg2-bin (rsvg-convert) and fonts-dejavu-core:
  apt-get install -y python3-pil librsvg2-bin fonts-dejavu-core
Run it with the system interpreter: /usr/bin/python3 resources/make_artwork.py
The output is the same byte for byte on every run with the same tools.
"""

import argparse
import io
import re
import shutil
import subprocess
import sys
from pathlib import Path

from PIL import Image, ImageDraw, ImageFont

HERE = Path(__file__).resolve().parent
ICON_SVG = HERE / "icons" / "quaylon.svg"
SCENE_SVG = HERE / "artwork" / "splash-scene.svg"
ICON_SIZES = (16, 32, 48, 64, 128, 256)

SPLASH_SIZE = (480, 280)  # logical pixels; splash@2x.png is twice this
ALERT_SIZE = (324, 48)
ALERT_FRAMES = 16
ALERT_FRAME_MS = 70
MAGENTA = (255, 0, 255)

FONT_DIRS = (Path("/usr/share/fonts/truetype/dejavu"), Path("/usr/share/fonts/dejavu"))

# Colours shared with the SVG artwork.
NAVY = (19, 64, 111)
INK = (24, 38, 58)
ORANGE = (255, 154, 31)
ORANGE_DARK = (224, 122, 0)
PALE = (232, 241, 255)
GREEN = (46, 194, 126)


def fail(message):
    sys.exit(f"make_artwork: {message}")


def font(name, size):
    for folder in FONT_DIRS:
        path = folder / name
        if path.is_file():
            return ImageFont.truetype(str(path), size)
    fail(f"font {name} not found; install it with: apt-get install -y fonts-dejavu-core")


def render_svg(path, width, height):
    """The SVG at the given pixel size, as an RGBA image."""
    if shutil.which("rsvg-convert") is None:
        fail("rsvg-convert not found; install it with: apt-get install -y librsvg2-bin")
    png = subprocess.run(
        ["rsvg-convert", "--width", str(width), "--height", str(height), str(path)],
        check=True, capture_output=True).stdout
    return Image.open(io.BytesIO(png)).convert("RGBA")


def save_png(image, path):
    image.save(path, "PNG", optimize=True)
    print(f"{path.relative_to(HERE)}  {image.width}x{image.height}  {path.stat().st_size} bytes")


def project_version():
    cmake = HERE.parent / "CMakeLists.txt"
    match = re.search(r"project\(\s*Quaylon\s+VERSION\s+([0-9.]+)", cmake.read_text()) \
        if cmake.is_file() else None
    return match.group(1) if match else "3.80"


# --- application icon -------------------------------------------------------------------------

def make_icons():
    for size in ICON_SIZES:
        save_png(render_svg(ICON_SVG, size, size), HERE / "icons" / f"quaylon-{size}.png")


# --- splash -----------------------------------------------------------------------------------

def make_splash(version, scale):
    w, h = SPLASH_SIZE
    image = render_svg(SCENE_SVG, w * scale, h * scale)
    draw = ImageDraw.Draw(image)

    def px(value):
        return round(value * scale)

    left = 32
    title = font("DejaVuSans-Bold.ttf", px(50))
    subtitle = font("DejaVuSans.ttf", px(20))
    small = font("DejaVuSans.ttf", px(13))
    # Text is placed by its baseline ("ls" anchor) so both scales line up.
    draw.text((px(left), px(92)), "Quaylon", font=title, fill=(255, 255, 255), anchor="ls")
    draw.rectangle((px(left + 2), px(106), px(left + 2 + 56) - 1, px(110) - 1), fill=ORANGE)
    draw.text((px(left + 2), px(138)), "TFTP Server", font=subtitle, fill=(214, 230, 250),
              anchor="ls")
    draw.text((px(left + 2), px(162)), f"Version {version}", font=small, fill=(160, 196, 238),
              anchor="ls")
    return image.convert("RGB")


# --- "New Client being Served" animation ------------------------------------------------------

def make_alert():
    """Orange packets leave the client's screen on the left and run into the Quaylon tile
    on the right along a dashed line. Everything is drawn four times larger and scaled
    down onto the magenta background, so the edges are smoothed against that colour."""
    k = 4  # supersampling factor
    w, h = ALERT_SIZE
    spacing = 48  # between packets; one loop moves every packet on by one spacing
    step = spacing / ALERT_FRAMES
    track_from, track_to = 44, 284
    tile = render_svg(ICON_SVG, 44 * k, 44 * k)  # the icon's own margin leaves a 38 px tile

    def box(x0, y0, x1, y1):
        return (round(x0 * k), round(y0 * k), round(x1 * k) - 1, round(y1 * k) - 1)

    frames = []
    for n in range(ALERT_FRAMES):
        big = Image.new("RGB", (w * k, h * k), MAGENTA)
        d = ImageDraw.Draw(big)

        # the line the packets travel along
        for x in range(track_from, track_to, 8):
            d.rectangle(box(x, 23, x + 4, 25), fill=INK)

        # packets: small containers like the one on the icon's crane
        offset = n * step
        # They start hidden behind the monitor and end hidden behind the tile.
        x = track_from - spacing + offset
        while x < track_to + 8:
            if x < 10:
                x += spacing
                continue
            d.rounded_rectangle(box(x, 17, x + 16, 31), radius=1.5 * k, fill=INK)
            d.rectangle(box(x + 1, 18, x + 15, 30), fill=ORANGE)
            d.rectangle(box(x + 1, 18, x + 15, 20), fill=ORANGE_DARK)
            for rib in (5, 8, 11):
                d.rectangle(box(x + rib, 22, x + rib + 1, 28), fill=ORANGE_DARK)
            x += spacing

        # the client: a monitor whose screen shows the file going out
        d.rounded_rectangle(box(2, 5, 42, 35), radius=3 * k, fill=INK)
        d.rectangle(box(5, 8, 39, 32), fill=PALE)
        d.rectangle(box(8, 12, 26, 14), fill=(120, 160, 210))
        d.rectangle(box(8, 17, 33, 19), fill=(120, 160, 210))
        d.rectangle(box(8, 22, 22, 24), fill=(120, 160, 210))
        # a progress bar that fills once per loop
        d.rectangle(box(8, 27, 36, 29), fill=(190, 208, 232))
        d.rectangle(box(8, 27, 8 + 28 * (n + 1) / ALERT_FRAMES, 29), fill=GREEN)
        d.rectangle(box(19, 35, 25, 40), fill=INK)
        d.rounded_rectangle(box(12, 40, 32, 43), radius=1.5 * k, fill=INK)

        # the server: the Quaylon tile, with a status light that blinks
        big.paste(tile, (278 * k, 2 * k), tile)
        if (n // 4) % 2 == 0:
            d.ellipse(box(311, 35, 318, 42), fill=INK)
            d.ellipse(box(312, 36, 317, 41), fill=GREEN)
        frames.append(big.resize((w, h), Image.LANCZOS))

    # One palette for all frames, with the exact magenta at index 0, and every pixel given
    # its nearest palette colour, so that the background stays exactly magenta.
    strip = Image.new("RGB", (w, h * len(frames)))
    for i, frame in enumerate(frames):
        strip.paste(frame, (0, i * h))
    median = strip.quantize(colors=255, method=Image.Quantize.MEDIANCUT,
                            dither=Image.Dither.NONE).getpalette()
    colours = [MAGENTA] + [tuple(median[i * 3:i * 3 + 3]) for i in range(len(median) // 3)]
    colours = colours[:256]
    flat_palette = [c for rgb in colours for c in rgb]
    nearest = {}

    def index_of(rgb):
        if rgb not in nearest:
            nearest[rgb] = min(range(len(colours)), key=lambda i: sum(
                (a - b) ** 2 for a, b in zip(rgb, colours[i])))
        return nearest[rgb]

    indexed = []
    for frame in frames:
        image = Image.frombytes("P", frame.size, bytes(index_of(rgb) for rgb in frame.getdata()))
        image.putpalette(flat_palette)
        indexed.append(image)
    path = HERE / "alert.gif"
    indexed[0].save(path, "GIF", save_all=True, append_images=indexed[1:], loop=0,
                    duration=ALERT_FRAME_MS, disposal=1, optimize=False)
    print(f"{path.relative_to(HERE)}  {w}x{h}, {len(frames)} frames  {path.stat().st_size} bytes")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--version", default=None,
                        help="version shown on the splash (default: the one in CMakeLists.txt)")
    args = parser.parse_args()
    version = args.version or project_version()

    make_icons()
    save_png(make_splash(version, 1), HERE / "splash.png")
    save_png(make_splash(version, 2), HERE / "splash@2x.png")
    make_alert()


if __name__ == "__main__":
    main()
