# The README's two commands. Both install what is missing first (scripts/setup).
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: run test setup build build-asan clean

setup:
	@scripts/setup

build: setup
	@cmake --preset default >/dev/null
	@cmake --build --preset default -j $(JOBS)

build-asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan -j $(JOBS)

# The program's main job on this machine.
run: build
	@scripts/run

# Every test tier: unit, command and X11 tests on the default build, then the
# ASan+UBSan build of the unit and command tests, then the ThreadSanitizer build of the
# tests labelled tsan.
test: build build-asan
	@echo "== default build =="
	@ctest --preset default -j $(JOBS)
	@echo "== asan+ubsan build =="
	@ctest --preset asan -j $(JOBS)
	@echo "== tsan build (concurrency tests only) =="
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan -j $(JOBS) --target wendle_concurrency_tests
	@ctest --preset tsan -j $(JOBS)

clean:
	rm -rf build
