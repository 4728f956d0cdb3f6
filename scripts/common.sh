# Shared by scripts/run and scripts/test: install what is missing, configure, build.
# shellcheck shell=bash

PARDO_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

PARDO_PACKAGES=(
    cmake ninja-build g++ pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-l10n-tools libqt6sql6-sqlite libsqlite3-dev
    libgl-dev
    dbus dbus-daemon fonts-dejavu-core
    libdbus-1-dev libcanberra-dev libcanberra-pulse sound-theme-freedesktop
    scdoc groff-base desktop-file-utils appstream
    xvfb x11-utils
)

pardo_say() { printf '%s\n' "$*" >&2; }

pardo_install_packages() {
    local missing=()
    local pkg
    for pkg in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    pardo_say "Installing: ${missing[*]}"
    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        if command -v sudo >/dev/null 2>&1; then
            sudo=(sudo -n)
        else
            pardo_say "These Debian packages are missing and I am neither root nor able to sudo: ${missing[*]}"
            return 1
        fi
    fi
    export DEBIAN_FRONTEND=noninteractive
    "${sudo[@]}" apt-get update -qq </dev/null
    "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
}

# pardo_build DIR [cmake options...]
pardo_build() {
    local dir="$1"
    shift
    cmake -S "$PARDO_ROOT" -B "$dir" -G Ninja "$@" </dev/null
    cmake --build "$dir" --parallel "$(nproc)" </dev/null
}
