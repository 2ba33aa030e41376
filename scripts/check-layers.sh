#!/usr/bin/env bash
# scripts/check-layers.sh [ROOT]
# Fails when a source file includes a layer above its own (see
# docs/ARCHITECTURE.md): core < web < ui < app, and tools/, helper/ and fuzz/
# sit on the core alone (the creation window in tools/window adds GTK, no
# layer above the core), as does src/webext (the module loaded into WebKit's
# web processes), which no other layer includes. Also refuses "../" includes,
# which would sidestep the per-layer include folders, and GTK or WebKit headers
# in the core.
set -u
root=${1:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)}
cd "$root" || exit 2

rank() {
  case "$1" in
    core) echo 0 ;; web) echo 1 ;; ui) echo 2 ;; app) echo 3 ;; webext) echo 9 ;; *) echo -1 ;;
  esac
}

status=0
report() {
  echo "$1:$2: $3"
  status=1
}

while IFS= read -r file; do
  gtk=no
  case "$file" in
    src/*) own=${file#src/}; own=${own%%/*} ;;
    tools/window/*) own=core gtk=yes ;;
    tools/* | helper/* | fuzz/*) own=core ;;
    *) continue ;;
  esac
  ownRank=$(rank "$own")
  [ "$ownRank" -ge 0 ] || { report "$file" 0 "not inside a layer folder (core, web, ui, app, webext)"; continue; }
  n=0
  while IFS= read -r line; do
    n=$((n + 1))
    case "$line" in
      \#include*) ;;
      *) continue ;;
    esac
    if [[ $line =~ ^\#include[[:space:]]*\"([^\"]+)\" ]]; then
      target=${BASH_REMATCH[1]}
      case "$target" in
        ../* | */../*) report "$file" "$n" "relative include \"$target\" bypasses the layer folders" ;;
        */*)
          layer=${target%%/*}
          r=$(rank "$layer")
          if [[ $own == webext && $layer != webext && $r -gt 0 ]]; then
            report "$file" "$n" "webext includes $layer (\"$target\"): the web process extension sees the core only"
          elif [[ $own != webext && $layer == webext ]]; then
            report "$file" "$n" "$own includes webext (\"$target\"): the web process extension is a module of its own"
          elif [ "$r" -gt "$ownRank" ]; then
            report "$file" "$n" "$own includes $layer (\"$target\"): includes run from higher layers to lower ones only"
          fi
          ;;
      esac
    elif [[ $own == core && $gtk == no && $line =~ ^\#include[[:space:]]*\<(gtk|gdk|webkit2|libsoup)/ ]]; then
      # quilt-create fetches a site's page and icons itself; it still shows no window.
      [[ $file == tools/* && ${BASH_REMATCH[1]} == libsoup ]] \
        || report "$file" "$n" "the core layer includes a GTK or WebKit header"
    fi
  done < "$file"
done < <(find src tools helper -type f \( -name '*.h' -o -name '*.cpp' \) 2>/dev/null | sort)

[ $status -eq 0 ] && echo "layers: every include runs downward"
exit $status
