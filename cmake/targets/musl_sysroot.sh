#!/bin/sh
# SPDX-License-Identifier: MIT
# Lays out a folder with musl as the C library, compilers for it in bin, and what the project needs
# built from Debian's sources. The machine itself stays as it is: its loader is not there, so that
# programs that are built with this start here and nowhere else.
#
#     musl_sysroot.sh FOLDER [JOBS]
set -eu
folder=$1
jobs=${2:-1}
mkdir -p "$folder"
folder=$(realpath "$folder")
here=$(dirname "$(realpath "$0")")
usr=$folder/usr
triplet=x86_64-linux-musl
[ "$(uname -m)" = x86_64 ] || {
    echo "musl_sysroot.sh: takes the compilers of an x86-64 machine, and this is another" >&2
    exit 1
}

# What was made by another edition of this script, or at another place, is made anew.
edition="$folder $(cat "$0" "$here/musl_old_calls.c" | cksum)"
if [ "$(cat "$folder/edition" 2>/dev/null)" != "$edition" ]; then
    find "$folder" -mindepth 1 -delete
    echo "$edition" >"$folder/edition"
fi
mkdir -p "$folder/made" "$folder/work" "$usr/include" "$usr/lib"

# part NAME: make_NAME, in an empty folder of its own, unless it was done before.
part() {
    [ ! -e "$folder/made/$1" ] || return 0
    work=$folder/work/$1
    rm -rf "$work"
    mkdir -p "$work"
    (
        cd "$work"
        "make_$1"
    )
    rm -rf "$work"
    touch "$folder/made/$1"
}

# This machine's mirrors, without the security updates as sysroot.sh has it, with their sources.
make_apt() {
    apt=$folder/apt
    mkdir -p "$apt/lists/partial" "$apt/archives/partial"
    if [ -r /etc/apt/sources.list.d/debian.sources ]; then
        sources=$apt/debian.sources
        awk -v RS= -v ORS='\n\n' '!/-security/' /etc/apt/sources.list.d/debian.sources |
            sed 's/^Types:.*/Types: deb deb-src/' >"$sources"
    else
        sources=$apt/sources.list
        grep '^deb ' /etc/apt/sources.list | grep -v -e -security | sed 'p; s/^deb /deb-src /' >"$sources"
    fi
    cat >"$apt/conf" <<TEXT
APT::Sandbox::User "$(id -un)";
Acquire::Languages "none";
Debug::NoLocking "true";
Dir::State "$apt";
Dir::Cache "$apt";
Dir::Etc::sourcelist "$sources";
Dir::Etc::sourceparts "-";
TEXT
    apt-get update -qq
}

# unpacked PACKAGE...: what is in Debian's compiled packages, in the folder that this stands in.
unpacked() {
    apt-get download -qq "$@"
    for archive in *.deb; do
        dpkg-deb -x "$archive" .
        rm "$archive"
    done
}

# of_source PACKAGE: goes into its source, with Debian's changes.
of_source() {
    apt-get source -qq "$1"
    cd "$(find . -mindepth 1 -maxdepth 1 -type d)"
}

make_headers() {
    unpacked musl musl-dev linux-libc-dev
    cp -R "usr/include/$triplet/." "$usr/include"
    cp -R usr/include/linux usr/include/asm-generic usr/include/x86_64-linux-gnu/asm "$usr/include"
    cp "usr/lib/$triplet/"*.[ao] "lib/$triplet/libc.so" "$usr/lib"
    mkdir -p "$folder/lib" "$folder/etc"
    ln -sf ../usr/lib/libc.so "$folder/lib/ld-musl-x86_64.so.1"
    echo "$usr/lib" >"$folder/etc/ld-musl-x86_64.path"
}

# The machine's compilers, told by specs where musl is: as Debian's musl-gcc does it, for C++ too.
make_compilers() {
    mkdir -p "$folder/bin"
    cat >"$folder/bin/specs" <<TEXT
%rename cpp_options old_cpp_options

*cpp_options:
-nostdinc -isystem $usr/include -isystem include%s %(old_cpp_options)

*cc1:
%(cc1_cpu) -nostdinc -isystem $usr/include -isystem include%s

*link_libgcc:
-L$usr/lib -L .%s

*libgcc:
libgcc.a%s libgcc_eh.a%s -lold_calls

*startfile:
%{!shared: $usr/lib/Scrt1.o} $usr/lib/crti.o crtbeginS.o%s

*endfile:
crtendS.o%s $usr/lib/crtn.o

*link:
-dynamic-linker $folder/lib/ld-musl-x86_64.so.1 -nostdlib --eh-frame-hdr --hash-style=gnu -rpath-link $usr/lib %{shared:-shared} %{rdynamic:-export-dynamic}

TEXT
    cat >"$folder/bin/gcc" <<TEXT
#!/bin/sh
exec /usr/bin/gcc-12 "\$@" -specs $folder/bin/specs
TEXT
    cat >"$folder/bin/g++" <<TEXT
#!/bin/sh
exec /usr/bin/g++-12 -nostdinc++ -isystem $usr/include/c++ -isystem $usr/include/c++/$triplet \\
    "\$@" -specs $folder/bin/specs
TEXT
    chmod +x "$folder/bin/gcc" "$folder/bin/g++"
    "$folder/bin/gcc" -O2 -fPIC -c -o old_calls.o "$here/musl_old_calls.c"
    ar rcs "$usr/lib/libold_calls.a" old_calls.o
}

# Of gcc the C++ library alone, an archive.
make_cpp_library() {
    unpacked gcc-12-source
    tar -xf usr/src/gcc-12/gcc-12.*.tar.xz --exclude='*/testsuite/*/*' --wildcards \
        'gcc-12*/libstdc++-v3' 'gcc-12*/libgcc' 'gcc-12*/config' 'gcc-12*/include' \
        'gcc-12*/libiberty' 'gcc-12*/gcc/BASE-VER' 'gcc-12*/gcc/DATESTAMP' \
        'gcc-12*/config*' 'gcc-12*/install-sh' 'gcc-12*/lt*' 'gcc-12*/libtool*' \
        'gcc-12*/mkinstalldirs' 'gcc-12*/move-if-change' 'gcc-12*/missing' 'gcc-12*/depcomp'
    source=$(realpath gcc-12.*)
    # What libgcc's own build puts there.
    ln -s gthr-posix.h "$source/libgcc/gthr-default.h"
    mkdir build
    cd build
    "$source/libstdc++-v3/configure" --build=x86_64-linux-gnu --host="$triplet" --prefix="$usr" \
        --disable-multilib --disable-shared --disable-nls --disable-libstdcxx-pch \
        --disable-libstdcxx-filesystem-ts --with-gxx-include-dir="$usr/include/c++" \
        CC="$folder/bin/gcc" CXX="$folder/bin/gcc -nostdinc++" CFLAGS="-O2 -fPIC" CXXFLAGS="-O2 -fPIC"
    make -j "$jobs" install
}

# by_cmake OPTION...: builds the source that this stands in, and installs it.
by_cmake() {
    cmake -S . -B build -G Ninja -DCMAKE_TOOLCHAIN_FILE="$here/musl.cmake" -DOTA_SYSROOT="$folder" \
        -DCMAKE_INSTALL_PREFIX="$usr" -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_BUILD_TYPE=Release "$@"
    cmake --build build -j "$jobs" --target install
}

make_zlib() {
    of_source zlib
    CC=$folder/bin/gcc ./configure --prefix="$usr"
    make -j "$jobs" install
}

# Of the algorithms those that an upgrade meets.
make_openssl() {
    of_source openssl
    CC=$folder/bin/gcc ./Configure linux-x86_64 --prefix="$usr" --libdir=lib --openssldir=/etc/ssl \
        shared no-async no-engine no-legacy no-tests no-aria no-bf no-camellia no-cast no-idea no-rc2 \
        no-rc4 no-seed no-sm2 no-sm3 no-sm4 no-whirlpool no-srp no-ct no-ts
    make -j "$jobs" build_libs
    make install_dev
}

make_curl() {
    of_source curl
    by_cmake -DHTTP_ONLY=ON -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DENABLE_MANUAL=OFF \
        -DCURL_USE_OPENSSL=ON -DCURL_USE_LIBSSH2=OFF -DCURL_CA_PATH=/etc/ssl/certs \
        -DCURL_CA_BUNDLE=/etc/ssl/certs/ca-certificates.crt
}

make_cjson() {
    of_source cjson
    by_cmake -DENABLE_CJSON_TEST=OFF
}

make_mosquitto() {
    of_source mosquitto
    by_cmake -DWITH_BROKER=OFF -DWITH_APPS=OFF -DWITH_PLUGINS=OFF -DWITH_LIB_CPP=OFF \
        -DDOCUMENTATION=OFF -DWITH_CJSON=OFF
}

make_googletest() {
    of_source googletest
    by_cmake
}

# Two small ones come compiled, with few calls that musl does not have: see musl_old_calls.c. Of
# libsystemd the platform takes the headers.
make_archives() {
    unpacked libinih-dev libubootenv-dev libsystemd-dev
    cp -R usr/include/ini.h usr/include/x86_64-linux-gnu/libuboot.h usr/include/systemd "$usr/include"
    cp usr/lib/x86_64-linux-gnu/libinih.a usr/lib/x86_64-linux-gnu/libubootenv.a "$usr/lib"
    for one in inih libubootenv libsystemd; do
        sed "s,/x86_64-linux-gnu,,; s,=/usr\b,=$usr," "usr/lib/x86_64-linux-gnu/pkgconfig/$one.pc" \
            >"$usr/lib/pkgconfig/$one.pc"
    done
}

export APT_CONFIG="$folder/apt/conf"
for one in apt headers compilers cpp_library zlib openssl curl cjson mosquitto googletest archives; do
    part "$one"
done
