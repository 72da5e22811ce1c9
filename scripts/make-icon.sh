#!/usr/bin/env bash
# Renders an icon source image (SVG or a large square PNG) into a Windows
# .ico holding seven PNG images: 16, 32, 48, 64, 96, 128 and 256 pixels.
# Usage: scripts/make-icon.sh [source] [output.ico]
# Defaults: src/resources/icon/playgame.svg -> src/resources/icon/playgame.ico
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
SRC="${1:-$ROOT/src/resources/icon/playgame.svg}"
OUT="${2:-$ROOT/src/resources/icon/playgame.ico}"
SIZES=(16 32 48 64 96 128 256)

"$ROOT/scripts/deps.sh" >/dev/null
for tool in convert icotool zopflipng rsvg-convert; do
  command -v "$tool" >/dev/null ||
    { echo "make-icon: $tool is missing (Debian packages imagemagick, icoutils, zopfli, librsvg2-bin)" >&2; exit 1; }
done
[ -f "$SRC" ] || { echo "make-icon: no such file: $SRC" >&2; exit 1; }
case "$(head -c 8 "$SRC" | od -An -tx1 | tr -d ' \n')" in
  89504e470d0a1a0a) kind=png ;;
  *) if head -c 2048 "$SRC" | grep -q "<svg"; then kind=svg; else
       echo "make-icon: $SRC is neither an SVG nor a PNG image: give one of those (a square PNG of 256 pixels or more)" >&2
       exit 1
     fi ;;
esac

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Render once, large, then scale down: small sizes come out sharper than
# when the vector renderer draws them directly.
echo "make-icon: rendering $SRC ($kind)"
if [ "$kind" = svg ]; then
  # ImageMagick's own SVG reader is often missing its delegate; librsvg draws SVG reliably.
  rsvg-convert -w 1024 -h 1024 --keep-aspect-ratio -b none -o "$work/drawn.png" "$SRC"
else
  cp "$SRC" "$work/drawn.png"
fi
convert -background none "$work/drawn.png" -resize 1024x1024 -gravity center -extent 1024x1024 "$work/master.png"

raw=()
for s in "${SIZES[@]}"; do
  # 32-bit RGBA without time stamps, so that the same source gives the same .ico.
  convert "$work/master.png" -filter Lanczos -resize "${s}x${s}" -strip \
          -define png:exclude-chunks=date,time "PNG32:$work/plain-$s.png"
  # Lossless recompression (same pixels, about 30% smaller): the images are
  # most of the icon's bytes in the executable. The images must stay 8-bit
  # RGBA; zopflipng may choose another colour type, so keep the plain image
  # then (byte 25 of a PNG is its IHDR colour type, 6 for RGBA).
  # This takes most of the time (up to a minute for 256 pixels): say what is going on.
  echo "make-icon: ${s}x${s} pixels, compressing"
  zopflipng -y -m --filters=01234me "$work/plain-$s.png" "$work/icon-$s.png" >/dev/null
  if [ "$(od -An -tu1 -j25 -N1 "$work/icon-$s.png" | tr -d ' ')" != 6 ]; then
    cp "$work/plain-$s.png" "$work/icon-$s.png"
  fi
  raw+=("--raw=$work/icon-$s.png")
done
# --raw stores each image as PNG; without it icotool would convert to BMP.
icotool -c -o "$OUT" "${raw[@]}"
icotool -l "$OUT"
