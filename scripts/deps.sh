#!/usr/bin/env bash
# Installs what building ZelTools needs when it is missing (Debian/Ubuntu,
# as root or with sudo). Sourced by the other scripts.
zel_need_packages() {
  local missing=()
  command -v cmake >/dev/null 2>&1 || missing+=(cmake)
  command -v g++ >/dev/null 2>&1 || missing+=(g++)
  command -v make >/dev/null 2>&1 || missing+=(make)
  for pkg in "$@"; do
    dpkg -s "$pkg" >/dev/null 2>&1 || missing+=("$pkg")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# clang with its sanitizer and libFuzzer run-time libraries, which Debian
# ships in a package of their own (libclang-rt-<major>-dev).
zel_need_clang() {
  zel_need_packages clang
  local major
  major="$(clang++ -dumpversion | cut -d. -f1)"
  if [ -z "$(find "$(clang++ -print-resource-dir)" -name 'libclang_rt.fuzzer*' 2>/dev/null | head -1)" ]; then
    zel_need_packages "libclang-rt-$major-dev"
  fi
}
