# What a developer types. Each command installs what is missing first.
.PHONY: setup demo demo-desktop test test-desktop test-guest-long io-torture fork-matrix allocation-torture storm coverage bench cost fuzz format clean help

help:
	@echo "make setup   install everything that builds, tests and checks need"
	@echo "make demo    build, start the stand-in backend and run the examples against it"
	@echo "make test    build and run all tests that need no display"
	@echo "make demo-desktop  the same with windows: links, pages, alerts, and a picture of each step"
	@echo "make test-desktop  the tests of the desktop platform, on a desktop of their own"
	@echo "make test-guest-long  the long forms of the tests of a host's process: 200 ends, a minute idle, a minute stopped"
	@echo "make io-torture  lives in which the n-th call on a file fails, or is the last before a power loss, for every n"
	@echo "make fork-matrix  every operation in the child of a fork, beside every operation in its parent (FORK_SECONDS=60 for a sample)"
	@echo "make allocation-torture  lets each allocation of a start, a sync and the like fail, one after the other"
	@echo "make bench   build and print each benchmark beside its floor or peer"
	@echo "make cost    measure what hostile bytes cost each reader, and fail beyond the bounds"
	@echo "make fuzz    run each fuzz target for a minute (FUZZ_SECONDS=600 for longer)"
	@echo "make storm   random calls of the whole interface from 16 threads, under two sanitizers (SECONDS=60, SEED=…)"
	@echo "make coverage  branches that the tests take, by folder, and those of core and posix that nothing takes or explains"
	@echo "make format  format the sources"

setup:
	scripts/setup ci

demo:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target demo
	scripts/demo build/dev

test:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

demo-desktop:
	scripts/setup desktop
	cmake --preset desktop
	cmake --build --preset desktop
	scripts/demo-desktop build/dev

test-desktop:
	scripts/setup desktop
	cmake --preset desktop
	cmake --build --preset desktop
	scripts/in-desktop ctest --preset desktop
	scripts/in-desktop scripts/check-install-desktop build/dev

test-guest-long:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target tests_guest
	TIDEWELL_GUEST_LONG=1 ctest --test-dir build/dev -R '^guest[.]' --no-tests=error --output-on-failure

io-torture:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target io_torture
	build/dev/tests/attack/io/io_torture

FORK_SECONDS ?= 0
fork-matrix:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target guest_host
	HOST_UNINSTALLED=1 HOST_LOOP=1 build/dev/tests/guest/guest_host "fork-matrix $(FORK_SECONDS)"

allocation-torture:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target allocation_torture
	build/dev/tests/attack/allocation/allocation_torture

bench:
	scripts/setup bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench build/release

cost:
	scripts/setup test
	cmake --preset dev
	cmake --build --preset dev --target tests_cost
	build/dev/tests/attack/cost/tests_cost

FUZZ_SECONDS ?= 60
fuzz:
	scripts/setup ci
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz build/asan $(FUZZ_SECONDS)

SECONDS ?= 60
storm:
	scripts/setup ci
	cmake --preset asan
	cmake --build --preset asan --target storm
	cmake --preset tsan
	cmake --build --preset tsan --target storm
	scripts/storm $(SECONDS) $(SEED)

coverage:
	scripts/setup ci
	cmake --preset coverage
	cmake --build --preset coverage
	scripts/coverage build/coverage

format:
	scripts/format --fix

clean:
	rm -rf build
