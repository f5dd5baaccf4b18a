# Debian packages the project's scripts need, and the function that installs
# the missing ones. Sourced by scripts/example.sh, scripts/test.sh and .ci/run.

# The numora command: the library, CLI11, libsndfile and PLplot with its cairo driver.
example_packages=(cmake g++ make pkg-config libcli11-dev libsndfile1-dev libplplot-dev plplot-driver-cairo)

# Every test: GoogleTest, objdump for the FMA check, python3 for the kernel
# table check, the benchmarks' libraries (built alongside), and the Python
# module with numpy, scipy and pytest for its tests.
test_packages=("${example_packages[@]}" binutils python3 libgtest-dev libbenchmark-dev libfftw3-dev
               libkissfft-dev python3-dev python3-pybind11 python3-numpy python3-scipy python3-pytest)

# Installs those of the given packages that are not installed yet, with sudo
# when not run as root.
install_missing() {
    local missing=() p sudo=""
    for p in "$@"; do
        dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" -ne 0 ] && sudo=sudo
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -q
    $sudo apt-get install -y -q "${missing[@]}"
}
