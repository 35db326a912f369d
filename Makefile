# Thin front over the CMake presets. Both main targets work on a fresh Debian 12 machine as root:
# scripts/install-deps.sh installs whatever is missing first.
.PHONY: run test build deps native windows package asan tsan fuzz bench clean screenshots

JOBS ?= $(shell nproc)

# The main job needs only the native toolchain and the simulator; the Windows build stays with
# make windows, test, package and screenshots.
run:
	@scripts/install-deps.sh --native
	@cmake --preset native >/dev/null && cmake --build --preset native -j $(JOBS) --target tv-sim
	@scripts/run-main.sh

test: deps
	@scripts/test-all.sh

build: deps native windows

deps:
	@scripts/install-deps.sh

native:
	@cmake --preset native >/dev/null && cmake --build --preset native -j $(JOBS)

windows:
	@cmake --preset windows >/dev/null && cmake --build --preset windows -j $(JOBS)

# The Windows installer and the group-policy templates, in build/windows/package.
package: deps native windows
	@scripts/build-package.sh --build build/windows --native build/native

asan:
	@cmake --preset native-asan >/dev/null && cmake --build --preset native-asan -j $(JOBS)

tsan:
	@cmake --preset native-tsan >/dev/null && cmake --build --preset native-tsan -j $(JOBS)

fuzz:
	@cmake --preset fuzz >/dev/null && cmake --build --preset fuzz -j $(JOBS)

bench: deps native
	@scripts/run-bench.sh

# Pictures of the boxes a user sees and of the simulator's report, for the README (never part of
# make test).
screenshots: deps native windows
	@scripts/screenshots.sh build/windows build/native

clean:
	rm -rf build
