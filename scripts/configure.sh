# Sourced by run.sh and test.sh from the checkout's root: installs what is
# missing and configures the build tree, named in BUILD. QUILT_BUILD_DIR picks
# another tree (default: build). An existing tree keeps the generator it was
# made with; a new one uses Ninja when available.
scripts/install-deps.sh

BUILD=${QUILT_BUILD_DIR:-build}
generator=()
if [[ ! -f "$BUILD/CMakeCache.txt" ]] && command -v ninja >/dev/null 2>&1; then
  generator=(-G Ninja)
fi
cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${generator[@]}"
