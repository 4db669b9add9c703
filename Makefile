# The README's two commands. Both install what is missing first (scripts/setup).
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

FUZZ_SECONDS ?= 20

.PHONY: run test setup build build-asan build-fuzz fuzz package clean

setup:
	@scripts/setup

build: setup
	@cmake --preset default >/dev/null
	@cmake --build --preset default -j $(JOBS)

build-asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan -j $(JOBS)

# The libFuzzer targets (clang, ASan+UBSan), in their own build tree.
build-fuzz: setup
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS)

# Each reader's fuzz target for FUZZ_SECONDS, one line per target.
fuzz: build-fuzz
	@scripts/fuzz $(FUZZ_SECONDS)

# The Debian package, build/default/tarn_<version>_<arch>.deb (packaging/): install it with
# apt install ./build/default/tarn_<version>_<arch>.deb.
package: build
	@cd build/default && cpack --config CPackConfig.cmake

# The program's main job on this machine.
run: build
	@scripts/run

# Every test tier: unit, command, X11 and Wayland (headless sway) tests and the installed
# Tarn (the Debian package, its manual pages, desktop entries and shell completions) on the
# default build, then the ASan+UBSan build of the unit and command tests, then the
# ThreadSanitizer build of the tests labelled tsan, then each fuzz target for FUZZ_SECONDS.
test: build build-asan
	@echo "== default build =="
	@ctest --preset default -j $(JOBS)
	@echo "== asan+ubsan build =="
	@ctest --preset asan -j $(JOBS)
	@echo "== tsan build (the agent's threads) =="
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan -j $(JOBS) --target wendle_concurrency_tests
	@ctest --preset tsan -j $(JOBS)
	@echo "== fuzz targets ($(FUZZ_SECONDS) s each) =="
	@$(MAKE) --no-print-directory fuzz

clean:
	rm -rf build
