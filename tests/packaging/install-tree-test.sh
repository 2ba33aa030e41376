#!/usr/bin/env bash
# install-tree-test.sh CMAKE BUILD_DIR
# Installs the build tree into a staging folder, as a package build does,
# and checks what a user gets: every file in its place, a complete template,
# the bus told where the installed helper is, the staged quilt-create making
# an app from the staged template, and the manual page and completions
# knowing every option the program has.
set -euo pipefail
CMAKE=$1
BUILD=$2
STAGE=$(mktemp -d)
trap 'rm -rf "$STAGE"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

DESTDIR=$STAGE/root "$CMAKE" --install "$BUILD" --prefix /usr >"$STAGE/install.log" ||
  { cat "$STAGE/install.log" >&2; fail "cmake --install"; }
R=$STAGE/root/usr

for f in bin/quilt-create libexec/quilt/quilt-helper libexec/quilt/quilt-create-window \
         lib/quilt/DefaultApp.app/Contents/MacOS/DefaultApp; do
  [[ -f $R/$f && -x $R/$f ]] || fail "not an executable: /usr/$f"
done
for f in share/dbus-1/services/org.quilt.Helper.service share/man/man1/quilt-create.1.gz \
         share/bash-completion/completions/quilt-create share/zsh/vendor-completions/_quilt-create \
         share/doc/quilt/copyright share/doc/quilt/changelog.Debian.gz \
         share/applications/org.quilt.Create.desktop share/icons/hicolor/scalable/apps/org.quilt.Create.svg; do
  [[ -f $R/$f && ! -x $R/$f ]] || fail "not a plain file: /usr/$f"
done
# Nothing lands outside the prefix, and the build's marker stays behind.
[[ $(ls "$STAGE/root") == usr ]] || fail "installed outside /usr: $(ls "$STAGE/root")"
[[ ! -e $R/lib/quilt/DefaultApp.app/.stamp ]] || fail "build marker installed"

# The template is installed whole: the same files as the assembled one.
diff <(cd "$BUILD/DefaultApp.app" && find . ! -name .stamp | sort) \
     <(cd "$R/lib/quilt/DefaultApp.app" && find . | sort) >&2 || fail "template bundle differs"
[[ -n $(find "$R/lib/quilt/DefaultApp.app/Contents/Frameworks/WebExtensions" -name '*.so') ]] ||
  fail "template lacks its web process extension"

# The system activation file names the helper at its final place.
service=$R/share/dbus-1/services/org.quilt.Helper.service
grep -qx 'Name=org.quilt.Helper' "$service" || fail "service file: $(cat "$service")"
grep -qx 'Exec=/usr/libexec/quilt/quilt-helper' "$service" || fail "service file: $(cat "$service")"

# The menu entry is valid and opens the window.
entry=$R/share/applications/org.quilt.Create.desktop
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$entry" >&2 || fail "desktop entry is not valid"
fi
grep -qx 'Exec=quilt-create --window' "$entry" || fail "desktop entry: $(grep ^Exec "$entry")"

# The staged tool, given no template and no helper, finds both in its prefix.
export HOME=$STAGE/home XDG_DATA_HOME=$STAGE/home/data XDG_CONFIG_HOME=$STAGE/home/config \
       XDG_CACHE_HOME=$STAGE/home/cache
mkdir -p "$HOME"
unset QUILT_TEMPLATE QUILT_HELPER
"$R/bin/quilt-create" --url https://www.example.org/ --name Staged >"$STAGE/create.log" 2>&1 ||
  { cat "$STAGE/create.log" >&2; fail "staged quilt-create"; }
app=$XDG_DATA_HOME/quilt/apps/Staged.app
cmp "$app/Contents/MacOS/DefaultApp" "$R/lib/quilt/DefaultApp.app/Contents/MacOS/DefaultApp" ||
  fail "the app was not made from the staged template"
grep -qx "Exec=$R/libexec/quilt/quilt-helper" "$XDG_DATA_HOME/dbus-1/services/org.quilt.Helper.service" ||
  fail "per-user service file does not name the staged helper"
"$R/bin/quilt-create" --list | grep -q "^Staged"$'\t' || fail "--list misses the app"

# --window starts the staged window program (which, with no display, says so).
window_err=$(env -u DISPLAY -u WAYLAND_DISPLAY "$R/bin/quilt-create" --window 2>&1 </dev/null) &&
  fail "the window started without a display"
grep -q "not installed" <<<"$window_err" && fail "staged quilt-create misses its window: $window_err"

# Every option of --help is in the manual page and in both completions.
man_text=$(zcat "$R/share/man/man1/quilt-create.1.gz" | sed 's/\\-/-/g')
for option in $("$R/bin/quilt-create" --help | grep -o -- '--[a-z][a-z-]*' | sort -u); do
  word="(^|[^a-z-])$option([^a-z-]|\$)"
  grep -Eq -- "$word" <<<"$man_text" || fail "manual page lacks $option"
  grep -Eq -- "$word" "$R/share/bash-completion/completions/quilt-create" || fail "bash completion lacks $option"
  grep -Eq -- "$word" "$R/share/zsh/vendor-completions/_quilt-create" || fail "zsh completion lacks $option"
done
warnings=$(zcat "$R/share/man/man1/quilt-create.1.gz" | LC_ALL=C.UTF-8 groff -man -ww -z 2>&1) || true
[[ -z $warnings ]] || fail "manual page: $warnings"

# The bash completion, loaded as bash-completion loads it, completes options
# and offers the made apps' names to --remove.
if [[ -f /usr/share/bash-completion/bash_completion ]]; then
  complete_words() {
    PATH=$R/bin:$PATH bash -c 'source /usr/share/bash-completion/bash_completion
      source "$1"; shift
      COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
      _quilt_create; printf "%s\n" "${COMPREPLY[@]}"' sh \
      "$R/share/bash-completion/completions/quilt-create" "$@"
  }
  [[ $(complete_words quilt-create --rem) == --remove ]] || fail "bash: --rem gives $(complete_words quilt-create --rem)"
  [[ $(complete_words quilt-create --remove St) == Staged ]] || fail "bash: --remove St gives $(complete_words quilt-create --remove St)"
fi
if command -v zsh >/dev/null; then
  zsh -n "$R/share/zsh/vendor-completions/_quilt-create" || fail "zsh completion does not parse"
fi
echo "install tree ok"
