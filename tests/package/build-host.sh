#!/usr/bin/env bash
# build-host.sh pkg-config|qmake COMPILER LIBDIR WORK [FLAGS]: builds the host without CMake and runs it.
# LIBDIR is the library folder of the installed tree; FLAGS are those that the library was instrumented with.
set -euo pipefail
tool=$1 compiler=$2 libdir=$3 work=$4 flags=${5:-}
host=$(dirname "$(realpath "$0")")/host

command -v "$tool" >/dev/null || { echo "SKIP: there is no $tool"; exit 77; }
rm -rf "$work"
mkdir -p "$work"
cd "$work"
case $tool in
pkg-config)
    export PKG_CONFIG_PATH=$libdir/pkgconfig
    # shellcheck disable=SC2046,SC2086 # lists of words
    $compiler -std=c++17 -fPIC -o host "$host/main.cpp" $flags $(pkg-config --cflags --libs VarnholdToolkitCV) \
        "-Wl,-rpath,$(pkg-config --variable=libdir VarnholdToolkitCV)"
    ;;
qmake)
    [[ $(qmake -query QT_VERSION) == 5.* ]] || { echo "SKIP: qmake is not Qt 5's"; exit 77; }
    export QMAKEMODULES=$libdir/qt5/mkspecs/modules HOST_FLAGS=$flags
    qmake "QMAKE_CXX=$compiler" "QMAKE_LINK=$compiler" "$host/host.pro" 2>&1
    make
    ;;
esac
./host
