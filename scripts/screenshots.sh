#!/bin/sh
# Renders the README's pictures with the real widgets on Qt's offscreen platform: the
# editor window and its point sheet, in English and in Japanese, after a simulated hour of
# readings so that the temperature histogram shows. Pictures go to docs/.
#   scripts/screenshots.sh            (or: make screenshots)
set -eu
cd "$(dirname "$0")/.."

cmake --build --preset default --target windlark-screenshots
mkdir -p docs

# One scale and style everywhere, so the pictures do not depend on the machine.
export QT_QPA_PLATFORM=offscreen QT_ENABLE_HIGHDPI_SCALING=0 QT_SCALE_FACTOR=1
for language in en ja; do
    case "$language" in
    ja) locale=ja_JP.UTF-8 ;;
    *) locale=en_US.UTF-8 ;;
    esac
    LANG=$locale LC_ALL= ./build/default/windlark-screenshots --language "$language" \
        --output "docs/editor-$language.png" --sheet "docs/point-editor-$language.png" \
        2>/dev/null
done
