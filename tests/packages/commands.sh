#!/bin/sh
# Uses the installed command on pictures whose codecs lie in different shared objects and programs of the runtime; each
# of them needs libraries of the system. Run in an empty folder. The first command that fails ends it.
set -eux
printf '%s' '<svg xmlns="http://www.w3.org/2000/svg" width="30" height="20">' \
    '<rect width="30" height="20" fill="#ff0000"/></svg>' >a.svg
printf '%s\n' '%!PS-Adobe-3.0 EPSF-3.0' '%%BoundingBox: 0 0 30 20' '1 0 0 setrgbcolor 0 0 30 20 rectfill' >a.eps

zelmor --version
zelmor --help
# A drawing becomes pixels, and another drawing, which becomes pixels too.
zelmor convert a.svg a.png
zelmor convert a.svg a.emf
zelmor convert a.emf b.png
zelmor compare a.png b.png
# Codecs of formats of pixels.
for ending in jp2 tif webp gif psd; do
    zelmor convert a.png "c.$ending"
    zelmor convert "c.$ending" "$ending.png"
    zelmor compare a.png "$ending.png"
done
zelmor info --json a.svg a.emf c.jp2
# PostScript needs a package that is only recommended. With "draws" it is installed.
if [ "${1:-}" = draws ]; then
    zelmor convert a.eps d.png
    zelmor info d.png | grep -w 40x27
else
    zelmor convert a.eps d.png && exit 3
    test ! -e d.png
fi
