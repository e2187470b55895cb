#!/usr/bin/env bash
# Installs into an empty prefix, and builds and runs a client against it with pkg-config and with
# CMake.   install_test.sh BUILD_FOLDER SOURCE_FOLDER
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
# The prefix of pkg-config's file is that of the configuration; its files are moved there.
cmake --install "$build" --prefix "$prefix" >/dev/null
for file in bin/tolvane bin/isamck bin/tapeimg include/isam.h share/man/man1/tolvane.1 \
  share/man/man5/tolvane-grammar.5 share/man/man3/isam.3 \
  share/bash-completion/completions/tolvane share/doc/tolvane/tapes.md; do
  [[ -e $prefix/$file ]] || { echo "$file was not installed"; exit 1; }
done
pages=$(find "$prefix/share/man" -name '*.[135]')
if command -v man >/dev/null; then
  for page in $pages; do
    warnings=$(man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null || true)
    [[ -z $warnings ]] || { echo "$page: $warnings"; exit 1; }
  done
fi
"$prefix/bin/tolvane" -h </dev/null | grep -q "Usage: " || { echo "no help text"; exit 1; }
bash -n "$prefix/share/bash-completion/completions/tolvane"

cd "$work"
libdir=$(dirname "$(find "$prefix" -name isam.pc)")/..
if command -v pkg-config >/dev/null; then
  flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --define-variable=prefix="$prefix" --cflags --libs isam)
  # shellcheck disable=SC2086  # the flags are words
  cc "$source/tests/isam/client.c" $flags -o by_pkg_config
  LD_LIBRARY_PATH=$libdir ./by_pkg_config one
fi
mkdir client && cd client
cp "$source/tests/isam/client.c" .
cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.20)
project(client C CXX)
find_package(isam 2 REQUIRED)
add_executable(shared_client client.c)
target_link_libraries(shared_client PRIVATE isam::isam)
add_executable(static_client client.c)
set_target_properties(static_client PROPERTIES LINKER_LANGUAGE CXX)
target_link_libraries(static_client PRIVATE isam::isam_static)
CMAKE
cmake -S . -B out -DCMAKE_PREFIX_PATH="$prefix" >log 2>&1 && cmake --build out >>log 2>&1 || { cat log; exit 1; }
./out/shared_client two
./out/static_client three
echo installed and used
