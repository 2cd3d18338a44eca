#!/bin/sh
# Runs in a bare Debian, where the packages lie in /packages: installs them, runs what they bring, builds the examples
# by CMake and by pkg-config, removes everything again, and compares the files with those of before. The last line
# that it prints is "== nothing is left" if all of this was so.
set -eux
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
say() { echo "== $*"; }
apt="apt-get -y --no-install-recommends"

# All files but those of the tools that install, and of this try.
files() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /packages \
    -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/cache -o -path /var/log \) -prune -o -print | sort
}

apt-get update
files >/tmp/before

say "installing"
$apt install /packages/*.deb
names=$(for package in /packages/*.deb; do dpkg-deb -f "$package" Package; done)

say "running the programs"
cases=/usr/share/doc/corvidnum-programs/examples
cd /tmp
corvidnum-column "$cases/column/cases/butane-pentane.toml"
corvidnum-column "$cases/column/cases/measured.toml"
corvidnum-recycle "$cases/recycle/cases/cavett.toml" --compare
corvidnum-solve "$cases/solve/matrices/recycle.mtx" --rhs "$cases/solve/matrices/recycle_feed.mtx" --error-estimate
for page in man1/corvidnum-column.1 man1/corvidnum-recycle.1 man1/corvidnum-solve.1 man7/libcorvidnum.7; do
  gzip -t "/usr/share/man/$page.gz"
done

say "building the examples by CMake"
$apt install g++ cmake make pkg-config
! readelf -d /usr/bin/corvidnum-* /usr/lib/*/libcorvid*.so | grep -E 'RPATH|RUNPATH' || exit 1
examples=/usr/share/doc/libcorvidnum-dev/examples
cmake -S "$examples" -B /tmp/cmake
cmake --build /tmp/cmake
ctest --test-dir /tmp/cmake --output-on-failure --no-tests=error

say "building the examples by pkg-config"
for source in "$examples"/*.cpp; do
  # shellcheck disable=SC2046 # a list of words
  c++ -std=c++17 "$source" -o /tmp/example $(pkg-config --cflags --libs corvidnum corvid)
  (cd /tmp && ./example)
done
# The default library works without the host's own functions, too.
# shellcheck disable=SC2046
c++ "$examples/dense.cpp" -o /tmp/example $(pkg-config --cflags --libs corvidnum)
/tmp/example

say "removing everything"
# shellcheck disable=SC2086 # a list of words
$apt purge $names g++ cmake make pkg-config
$apt autoremove --purge
files >/tmp/after
diff /tmp/before /tmp/after
say "nothing is left"
