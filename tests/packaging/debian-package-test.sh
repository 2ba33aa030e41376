#!/usr/bin/env bash
# debian-package-test.sh CPACK BUILD_DIR
# Builds the Debian package into a temporary folder and checks what apt
# would see: the library dependencies read from the binaries, the files a
# user needs, and (where lintian is installed) no lintian error.
set -euo pipefail
CPACK=$1
BUILD=$2
OUT=$(mktemp -d)
trap 'rm -rf "$OUT"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

"$CPACK" -G DEB --config "$BUILD/CPackConfig.cmake" -B "$OUT" >"$OUT/cpack.log" 2>&1 ||
  { cat "$OUT/cpack.log" >&2; fail cpack; }
debs=("$OUT"/quilt_*.deb)
[[ ${#debs[@]} == 1 && -f ${debs[0]} ]] || fail "no single package in $(ls "$OUT")"
deb=${debs[0]}

depends=$(dpkg-deb -f "$deb" Depends)
for library in libwebkit2gtk-4.1-0 libgtk-3-0 libsecret-1-0 libplist3 libpsl5 libc6; do
  grep -q "\b$library\b" <<<"$depends" || fail "Depends lacks $library: $depends"
done
[[ $(dpkg-deb -f "$deb" Package Section) == $'Package: quilt\nSection: web' ]] || fail "control fields"

files=$(dpkg-deb -c "$deb" | awk '{print $6}')
for f in ./usr/bin/quilt-create ./usr/libexec/quilt/quilt-helper ./usr/libexec/quilt/quilt-create-window \
         ./usr/share/applications/org.quilt.Create.desktop \
         ./usr/lib/quilt/DefaultApp.app/Contents/MacOS/DefaultApp \
         ./usr/share/dbus-1/services/org.quilt.Helper.service ./usr/share/doc/quilt/copyright \
         ./usr/share/doc/quilt/changelog.Debian.gz ./usr/share/man/man1/quilt-create.1.gz; do
  grep -qx -- "$f" <<<"$files" || fail "package lacks $f"
done

if command -v lintian >/dev/null; then
  lintian --fail-on error "$deb" >&2 || fail "lintian reports errors"
fi
echo "package ok: $(basename "$deb")"
