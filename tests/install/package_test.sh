#!/usr/bin/env bash
# Builds the RPM and DEB packages, checks what each holds and needs, unpacks
# the two DEBs into a scratch root and builds the consumer program against
# that root with pkg-config and with find_package.
#   package_test.sh SOURCE_DIR SCRATCH_DIR
set -uo pipefail
source=$1 scratch=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$scratch" && mkdir -p "$scratch/tmp"
export TMPDIR=$scratch/tmp
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

LINNET_PACKAGE_WORK=$scratch/trees "$source/scripts/package" "$scratch/packages" >/dev/null || { echo "packaging failed"; exit 1; }
cd "$scratch/packages"
runtime_deb=mxlinnet_13.2.0_amd64.deb dev_deb=mxlinnet-dev_13.2.0_amd64.deb
runtime_rpm=mxlinnet-13.2.0-1.x86_64.rpm dev_rpm=mxlinnet-devel-13.2.0-1.x86_64.rpm
for file in $runtime_deb $dev_deb $runtime_rpm $dev_rpm; do [ -f "$file" ] || fail "no $file"; done

# The runtime package has no headers; the development one no libraries.
grep -q 'include/' <(dpkg-deb -c $runtime_deb) && fail "headers in the runtime DEB"
grep -q 'libmxlinnet.so.13' <(dpkg-deb -c $dev_deb | awk '{print $6}') && fail "the library in the development DEB"
grep -q iproute2 <(dpkg-deb -f $runtime_deb Depends) || fail "the DEB does not depend on iproute2"
grep -q traceroute <(dpkg-deb -f $runtime_deb Recommends) || fail "the DEB does not recommend traceroute"
grep -qx /usr/lib64/libmxlinnet.so.13.2.0 <(rpm -qlp $runtime_rpm 2>/dev/null) || fail "the RPM library is not in /usr/lib64"
grep -qx /usr/share/man <(rpm -qlp $runtime_rpm 2>/dev/null) && fail "the RPM claims /usr/share/man"
grep -qx iproute <(rpm -qRp $runtime_rpm 2>/dev/null) || fail "the RPM does not require iproute"
grep -q 'mxlinnet = 13.2.0' <(rpm -qRp $dev_rpm 2>/dev/null) || fail "the devel RPM does not require the runtime"

root=$scratch/root
dpkg-deb -x $runtime_deb "$root" && dpkg-deb -x $dev_deb "$root"
libdir=$(dirname "$(find "$root" -name libmxlinnet.so.13.2.0)")
pcdir=$(dirname "$(find "$root" -name mxlinnet.pc)")
expected="libmxlinnet 13.2 Input VLAN ID value is Invalid."
flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs mxlinnet) || fail "pkg-config"
g++ -std=c++17 "$here/consumer.cpp" $flags -o "$scratch/consumer" && 
  [ "$(LD_LIBRARY_PATH=$libdir "$scratch/consumer")" = "$expected" ] || fail "the pkg-config consumer"
cmake -S "$here/package_consumer" -B "$scratch/package" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null &&
  cmake --build "$scratch/package" >/dev/null &&
  [ "$(LD_LIBRARY_PATH=$libdir "$scratch/package/consumer")" = "$expected" ] || fail "the find_package consumer"
[ "$(LD_LIBRARY_PATH=$libdir "$root/usr/bin/linnet" version)" = "libmxlinnet 13.2" ] || fail "the packaged linnet"

echo "$((failures == 0 ? 1 : 0)) passed, $failures failed"
[ "$failures" -eq 0 ]
