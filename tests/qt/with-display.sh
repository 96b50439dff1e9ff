#!/usr/bin/env bash
# Runs a program that needs a display (Qt's browser engine, grabbing pixels): on $DISPLAY
# when there is one, else on a fresh Xvfb server. The browser engine runs without its
# sandbox, which it refuses as root.
#
#   tests/qt/with-display.sh build/tests/qt/qt_shop_e2e_test --gtest_filter=...
set -euo pipefail
export QTWEBENGINE_DISABLE_SANDBOX=1
if [ -n "${DISPLAY:-}" ]; then
  exec "$@"
fi
exec xvfb-run -a -s "-screen 0 1280x1024x24" "$@"
