#!/usr/bin/env bash
# layers-selftest.sh CHECK: the layer check passes a tree whose includes run
# downward and fails one where the core includes the web layer, the web
# layer includes a window, or a file climbs out with "../".
set -u
check=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree"/src/{core/config,web,ui/windows,app,webext} "$tree"/tools/window
printf '#include "core/config/A.h"\n' > "$tree/src/core/config/B.cpp"
printf '#include "core/config/A.h"\n#include "web/P.h"\n' > "$tree/src/ui/windows/W.cpp"
printf '#include "ui/windows/W.h"\n#include "web/P.h"\n' > "$tree/src/app/App.cpp"
printf '#include "core/config/A.h"\n#include "Local.h"\n' > "$tree/tools/T.cpp"
printf '#include "core/config/A.h"\n#include "webext/E.h"\n' > "$tree/src/webext/E.cpp"
printf '#include "core/config/A.h"\n#include <gtk/gtk.h>\n' > "$tree/tools/window/W.cpp"
bash "$check" "$tree" >/dev/null || { echo "a clean tree was refused"; exit 1; }

expect_refused() {
  local file=$1 text=$2
  printf '%s\n' "$text" > "$tree/$file"
  if bash "$check" "$tree" >/dev/null; then
    echo "not caught: $file: $text"
    exit 1
  fi
  rm -f "$tree/$file"
}
expect_refused src/core/config/Up.cpp '#include "web/P.h"'
expect_refused src/core/config/Gtk.h '#include <gtk/gtk.h>'
expect_refused src/web/Up.cpp '#include "ui/windows/W.h"'
expect_refused src/ui/windows/Up.cpp '#include "app/App.h"'
expect_refused src/web/Climb.cpp '#include "../ui/windows/W.h"'
expect_refused tools/Up.cpp '#include "web/P.h"'
expect_refused src/webext/Up.cpp '#include "web/P.h"'
expect_refused src/web/Ext.cpp '#include "webext/E.h"'
expect_refused tools/Gtk.cpp '#include <gtk/gtk.h>'
expect_refused tools/window/Up.cpp '#include "ui/windows/W.h"'
echo "layer check: 1 clean tree passed, 10 wrong includes refused"
