#!/usr/bin/env bash
# Installs the Debian packages Quilt needs to build, test and run.
# Idempotent: when everything is already installed it makes no apt call at all.
set -euo pipefail

PACKAGES=(
  # build
  build-essential cmake pkg-config
  libwebkit2gtk-4.1-dev libgtk-3-dev nlohmann-json3-dev libsimdjson-dev libplist-dev
  libglib2.0-dev-bin libsecret-1-dev libkeybinder-3.0-dev libpsl-dev libsoup-3.0-dev libgtest-dev googletest
  # headless desktop for tests and the demo
  xvfb x11-utils x11-xserver-utils openbox dunst libnotify-bin
  gnome-keyring libsecret-tools dbus dbus-x11
  # tools used by tests and scripts
  desktop-file-utils xdotool imagemagick attr python3
  libgdk-pixbuf2.0-bin librsvg2-common fonts-dejavu-core ca-certificates
  procps psmisc
  # the sanitizer and fuzzing tree (scripts/fuzz-and-sanitize.sh)
  clang-15 libfuzzer-15-dev
  # the package (cpack -G DEB reads library dependencies with dpkg-shlibdeps)
  # and the install test's checks of the manual page and completions
  dpkg-dev file groff-base bash-completion zsh
  # localedef data: the store tests also run under a decimal-comma language
  locales
)

missing=()
for p in "${PACKAGES[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "install-deps: installing ${missing[*]}" >&2

SUDO=()
if [[ $(id -u) -ne 0 ]]; then
  if command -v sudo >/dev/null 2>&1; then
    SUDO=(sudo)
  else
    echo "install-deps: missing packages (${missing[*]}) and not root, no sudo" >&2
    exit 1
  fi
fi

export DEBIAN_FRONTEND=noninteractive
"${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
"${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
