#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds the consumer program
# against it twice, with pkg-config and with find_package; both must run.
#   install_test.sh BUILD_DIR SCRATCH_DIR
set -euo pipefail
build=$1 scratch=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$scratch" && mkdir -p "$scratch/tmp"
# The compiler's working files stay out of the host's /tmp.
export TMPDIR=$scratch/tmp
prefix=$scratch/prefix
expected="libmxlinnet 13.2 Input VLAN ID value is Invalid."

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libmxlinnet.so.13.2.0' | head -n 1)")
[ -L "$libdir/libmxlinnet.so.13" ] && [ -L "$libdir/libmxlinnet.so" ] || { echo "soname links missing in $libdir"; exit 1; }
[ -x "$prefix/bin/linnet" ] || { echo "linnet not installed"; exit 1; }

pcdir=$(dirname "$(find "$prefix" -name mxlinnet.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs mxlinnet)
g++ -std=c++17 "$here/consumer.cpp" $flags -o "$scratch/consumer-pkgconfig"
[ "$(LD_LIBRARY_PATH=$libdir "$scratch/consumer-pkgconfig")" = "$expected" ] || { echo "pkg-config consumer"; exit 1; }

cmake -S "$here/package_consumer" -B "$scratch/package" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/package" >/dev/null
[ "$(LD_LIBRARY_PATH=$libdir "$scratch/package/consumer")" = "$expected" ] || { echo "find_package consumer"; exit 1; }
echo "installed library, header, linnet, pkg-config file and CMake package work"
