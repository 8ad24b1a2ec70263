#!/usr/bin/env bash
# Installs the release build to a scratch place and builds a small program against it, once through CMake's package
# and once through pkg-config.
set -euo pipefail
cd "$(dirname "$0")/.."
prefix=$PWD/build/stage
rm -rf "$prefix" build/consumer
cmake --install build --prefix "$prefix" >/dev/null

cmake -S tests/install -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/consumer
build/consumer/consumer

export PKG_CONFIG_PATH=$prefix/lib/$(gcc -dumpmachine)/pkgconfig:$prefix/lib/pkgconfig
# shellcheck disable=SC2046
g++ -std=c++17 tests/install/consumer.cpp -o build/consumer/consumer-pkg-config \
  $(pkg-config --cflags --libs servicemux servicemux-host) -Wl,-rpath,"$(pkg-config --variable=libdir servicemux)"
build/consumer/consumer-pkg-config

# The program says what its manual page and its completion are installed for.
servicemux=$prefix/bin/servicemux
packaging/manual.sh "$servicemux" | cmp - "$prefix/share/man/man1/servicemux.1"
bash --norc -euc '
  source "$1"; COMP_WORDS=("$2" "") COMP_CWORD=1; _servicemux; [[ " ${COMPREPLY[*]} " == *" play "* ]]' \
  bash "$prefix/share/bash-completion/completions/servicemux" "$servicemux" || { echo "no completion"; exit 1; }
cmp docs/table-set.schema.json "$prefix/share/servicemux/table-set.schema.json"

# The library has a soname and shows nothing but its namespace.
library=$(find "$prefix" -name libservicemux.so)
readelf -d "$library" | grep -q 'SONAME.*\[libservicemux\.so\.[0-9]*\]' || { echo "libservicemux.so has no soname"; exit 1; }
if nm -DC --defined-only "$library" | awk '$2 ~ /^[TDB]$/' | grep -v ' vantor::'; then
  echo "libservicemux.so exports what it should hide"; exit 1
fi

# Every installed header stands alone.
cd "$prefix/include/servicemux"
stands_alone() {
  # shellcheck disable=SC2046
  echo "#include <$1>" | g++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ - \
    $(pkg-config --cflags servicemux) || { echo "$1 does not stand alone"; exit 1; }
}
export -f stands_alone
find . -name '*.h' ! -path './interface/records/*' -printf '%P\n' |
  xargs -P "$(nproc)" -I '{}' bash -c 'stands_alone "$1"' _ '{}'
echo '#include <interface/host.h>' | gcc -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I. -x c -
echo "every installed header stands alone"
