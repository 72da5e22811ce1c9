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

for tool in convert icotool zopflipng; do
  command -v "$tool" >/dev/null || { echo "make-icon: $tool is missing (imagemagick, icoutils, zopfli)" >&2; exit 1; }
done
[ -f "$SRC" ] || { echo "make-icon: no such file: $SRC" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Render once, large, then scale down: small sizes come out sharper than
# when the vector renderer draws them directly.
convert -background none -density 384 "$SRC" -resize 1024x1024 -gravity center \
        -extent 1024x1024 "$work/master.png"

raw=()
for s in "${SIZES[@]}"; do
  # 32-bit RGBA without time stamps, so that the same source gives the same .ico.
  convert "$work/master.png" -filter Lanczos -resize "${s}x${s}" -strip \
          -define png:exclude-chunks=date,time "PNG32:$work/plain-$s.png"
  # Lossless recompression (same pixels, about 30% smaller): the images are
  # most of the icon's bytes in the executable. The images must stay 8-bit
  # RGBA; zopflipng may choose another colour type, so keep the plain image
  # then (byte 25 of a PNG is its IHDR colour type, 6 for RGBA).
  zopflipng -y -m --filters=01234me "$work/plain-$s.png" "$work/icon-$s.png" >/dev/null
  if [ "$(od -An -tu1 -j25 -N1 "$work/icon-$s.png" | tr -d ' ')" != 6 ]; then
    cp "$work/plain-$s.png" "$work/icon-$s.png"
  fi
  raw+=("--raw=$work/icon-$s.png")
done
# --raw stores each image as PNG; without it icotool would convert to BMP.
icotool -c -o "$OUT" "${raw[@]}"
icotool -l "$OUT"
