#!/usr/bin/env bash
# Installs what building and testing need on a fresh Debian machine, from
# Debian's packages only, and nothing when everything is there already.
# Extra package names given as arguments are installed too (the 32-bit
# tests ask for g++-multilib this way).
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-dev libgtest-dev libgmock-dev libbenchmark-dev
          pkg-config binutils llvm "$@")
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]} > 0)); then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
fi
