#!/usr/bin/env bash
# Runs a Qt test program that needs a display (the web engine, grabbing pixels): on
# $DISPLAY when there is one, else on a fresh Xvfb server (xvfb-run -a). The web engine's
# sandbox cannot start as root or in most containers, so it is turned off.
set -euo pipefail
export QTWEBENGINE_DISABLE_SANDBOX=1
export QT_QPA_PLATFORM=xcb
if [ -n "${DISPLAY:-}" ]; then
  exec "$@"
fi
# -a looks for a free display from -n on; starting each run at its own number keeps two
# programs started at once (ctest -j) from racing for the same one.
exec xvfb-run -a -n $((100 + $$ % 900)) -s "-screen 0 1280x1024x24" "$@"
