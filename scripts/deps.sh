#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
set -euo pipefail
PACKAGES=(
  cmake ninja-build g++ clang libclang-rt-14-dev
  g++-mingw-w64-x86-64 lld wine wine64 xvfb xdotool x11-utils imagemagick icoutils zopfli librsvg2-bin locales fonts-wqy-zenhei
  fonts-dejavu-core fonts-tlwg-loma-ttf
  libgtest-dev libgmock-dev googletest libssl-dev openssl
  libbenchmark-dev rapidjson-dev libsimdjson-dev python3 python3-jsonschema python3-pefile
  osslsigncode softhsm2 opensc libengine-pkcs11-openssl clang-format
)
missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
line="apt-get install -y --no-install-recommends ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  echo "Missing packages. Run as root:" >&2
  echo "  apt-get update && $line" >&2
  exit 1
fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
