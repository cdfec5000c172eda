# Sourced by ./run and ./test: installs the Debian packages that are missing, and nothing when all are there.

BUILD_PACKAGES="g++ cmake ninja-build ccache libssl-dev libcurl4-openssl-dev libboost-dev libboost-thread-dev
    libspdlog-dev libcli11-dev"
TEST_PACKAGES="libgtest-dev libgmock-dev openssl curl python3 clang-format-14 pkg-config prometheus dnsmasq-base"
FUZZ_PACKAGES="clang-14 libclang-rt-14-dev"

need_packages() {
    missing=""
    for package in "$@"; do
        [ -e "/var/lib/dpkg/info/$package.list" ] || [ -e "/var/lib/dpkg/info/$package:$(dpkg --print-architecture).list" ] ||
            missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    echo "installing:$missing" >&2
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq >&2
    # shellcheck disable=SC2086
    $sudo apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# build_preset PRESET [ninja arguments]: configures once, then builds.
build_preset() {
    preset=$1
    shift
    [ -e "build/$preset/build.ninja" ] || cmake --preset "$preset" >"/tmp/qor-configure.$$" || {
        cat "/tmp/qor-configure.$$" >&2
        return 1
    }
    rm -f "/tmp/qor-configure.$$"
    cmake --build --preset "$preset" -- "$@"
}
