#!/usr/bin/env bash
# Installs what building and testing need, and nothing when it is all there. Debian packages only:
#
#   cmake ninja-build g++        the build
#   g++-multilib                 the 32-bit product with the machine's own compiler (-m32)
#   googletest                   sources of the test framework, built along in both widths
#   libcli11-dev                 command-line parsing of the tool (headers only)
#   nlohmann-json3-dev           JSON output of the tool (headers only)
#   libpng-dev libtiff-dev libjpeg62-turbo-dev
#                                PNG, TIFF and JPEG files in the 64-bit tool (libjpeg-turbo8-dev on Ubuntu)
#   xz-utils                     unpacks the sample pages (remaking them takes python3-pil and fonts-dejavu-core)
#   python3                      tests that drive the tool and read symbol tables (standard library only)
#   binutils                     readelf, for the same
#   parallel                     GNU parallel, by which a test shares out pages as docs/scaling.md shows
#   dpkg-dev file                dpkg-shlibdeps and what CPack asks about files: the packages' dependencies
#   pkgconf                      pkg-config, with which tests build hosts from outside
#   qemu-user                    older processors for tests, which say SKIPPED where it cannot be had
set -euo pipefail
packages=(cmake ninja-build g++ g++-multilib googletest libcli11-dev nlohmann-json3-dev libpng-dev libtiff-dev
          xz-utils python3 binutils parallel dpkg-dev file pkgconf)
# The one library whose package has another name elsewhere.
jpeg=libjpeg62-turbo-dev
if grep -qs '^ID=ubuntu' /etc/os-release; then jpeg=libjpeg-turbo8-dev; fi
packages+=("$jpeg")
missing=()
for package in "${packages[@]}"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2> /dev/null)" = installed ] || missing+=("$package")
done
optional=()
[ "$(dpkg-query -W -f '${db:Status-Status}' qemu-user 2> /dev/null)" = installed ] || optional=(qemu-user)
[ ${#missing[@]} -gt 0 ] || [ ${#optional[@]} -gt 0 ] || exit 0
echo "Installing: ${missing[*]} ${optional[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq || [ ${#missing[@]} -eq 0 ]
if [ ${#missing[@]} -gt 0 ]; then
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
for package in "${optional[@]}"; do
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "$package" || echo "Without $package"
done
