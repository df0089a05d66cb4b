#!/usr/bin/env bash
# Installs the build and test tools from Debian's packages when any is missing.
set -euo pipefail

need=()
have() { command -v "$1" >/dev/null 2>&1; }
have cmake || need+=(cmake)
have ninja || need+=(ninja-build)
have g++ || need+=(g++)
have clang++ || need+=(clang)
have clang-format || need+=(clang-format)
have valgrind || need+=(valgrind)
have python3 || need+=(python3-minimal)  # scripts/check-layers.sh
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
[ -f /usr/include/nlohmann/json.hpp ] || need+=(nlohmann-json3-dev)
# libFuzzer and the sanitizer runtimes of Clang (scripts/fuzz.sh).
compgen -G '/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a' >/dev/null ||
  need+=(libclang-rt-dev)

if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}"
fi
