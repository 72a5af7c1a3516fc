#!/usr/bin/env bash
# Installs the build into a scratch prefix, builds the consumer project against
# it with find_package(Vetrel) and with pkg-config and runs both, then packs a
# Debian package and checks what it carries.
#   check-package.sh BUILD_DIR CONSUMER_SOURCE_DIR WORK_DIR LIBDIR TRANSLATIONSDIR
set -euo pipefail
build=$1 consumer=$2 work=$3 libdir=$4 translations=$5
rm -rf "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
export LD_LIBRARY_PATH=$prefix/$libdir QT_QPA_PLATFORM=offscreen

cmake -S "$consumer" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/vetrel-consumer" "$prefix/$translations"

flags=$(PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig pkg-config --cflags --libs vetrel)
# shellcheck disable=SC2086 # pkg-config's flags are meant to be split
c++ -std=c++17 "$consumer/main.cpp" $flags -o "$work/vetrel-consumer-pc"
"$work/vetrel-consumer-pc" "$prefix/$translations"

(cd "$build" && cpack -G DEB -B "$work/deb" >/dev/null)
contents=$(dpkg-deb -c "$work"/deb/*.deb)
for file in "$libdir/libvetrel.so.1" "include/vetrel/properties.h" "$libdir/cmake/Vetrel/VetrelConfig.cmake" \
            "$libdir/pkgconfig/vetrel.pc" "$translations/vetrel_en.qm" \
            "$libdir/qt5/plugins/designer/libvetrel_designer.so"; do
    grep -q -E -- "/$file( ->|\$)" <<<"$contents" || { echo "the Debian package lacks $file" >&2; exit 1; }
done
echo "package OK: $(basename "$work"/deb/*.deb)"
