# SPDX-License-Identifier: Apache-2.0
# The commands of a developer. Each installs missing packages first, except `format`, `clean` and `help`.
.PHONY: setup demo demo-desktop test test-desktop test-objc test-guest-long io-torture fork-matrix allocation-torture storm coverage bench cost fuzz packages test-foreign test-variants check-compilers format clean help

help:
	@echo "make setup               install all packages for building, testing and checking"
	@echo "make demo                build, start the stand-in backend and run the examples against it"
	@echo "make demo-desktop        run the desktop example and take a screenshot of each step"
	@echo "make test                build and run all tests that need no display"
	@echo "make test-desktop        build and run the tests of the desktop platform on a virtual display"
	@echo "make test-objc           build and run the Objective-C facade, its host and the exchange of archives (GNUstep)"
	@echo "make test-guest-long     run the long forms of the tests in tests/guest: 200 exits, a minute idle, a minute suspended"
	@echo "make bench               build and run the benchmarks (ROWS=launch,json for the rows whose names contain one of the words)"
	@echo "make cost                measure the cost of hostile input for each reader; fails beyond the bounds"
	@echo "make fuzz                run each fuzz target for a minute (FUZZ_SECONDS=600 for longer)"
	@echo "make storm               call the whole interface at random from 16 threads, under two sanitizers (SECONDS=60, SEED=…)"
	@echo "make io-torture          let each file operation of a process fail, or be the last before a power loss"
	@echo "make allocation-torture  let each allocation of a start, a sync and other operations fail"
	@echo "make fork-matrix         run every operation in the child of a fork while another runs in the parent (FORK_SECONDS=60 for a sample)"
	@echo "make coverage            measure branch coverage; fails for branches of core and posix that are neither taken nor explained"
	@echo "make packages            build the Debian packages, check them, and try them in a clean root"
	@echo "make test-foreign        cross-build and run the tests for another processor (ARCH=s390x|i386|arm64|armhf)"
	@echo "make test-variants       run the tests with static libraries, link-time optimisation and hardening options"
	@echo "make check-compilers     check the sources with the oldest and newest compilers, and against musl"
	@echo "make format              format the sources"
	@echo "make clean               delete the build folder"

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

test-objc:
	scripts/setup objc
	cmake --preset objc
	cmake --build --preset objc
	scripts/test-objc build/dev
	ctest --preset objc

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

ROWS ?=
comma := ,
bench:
	scripts/setup bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench build/release $(subst $(comma), ,$(ROWS))

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

packages:
	scripts/setup packages
	scripts/packages

test-foreign:
	scripts/setup foreign
	scripts/test-foreign $(ARCH)

test-variants:
	scripts/setup test
	scripts/test-variants

check-compilers:
	scripts/setup compilers
	scripts/check-compilers
	scripts/check-musl

format:
	scripts/format --fix

clean:
	rm -rf build
