# A thin front over CMake; `make help` says what there is.

MAKEFLAGS += --no-print-directory
PYTEST := /usr/bin/python3 -m pytest -q -p no:cacheprovider
JOBS := $(shell nproc)
DESTDIR :=
PREFIX := /usr
JUNIT := build/lab/junit

.PHONY: help build build-tests asan cross musl test-cross test-reproducible demo test test-unit test-device test-kit test-store test-faults test-companions test-lab test-scenarios test-day test-vm lab-repeat test-binary test-fuzz test-valgrind test-long coverage fuzz lint format man pages install uninstall deb test-docs test-packages bench bench-guard bench-programs bench-event clean

help:
	@sed -n 's/^## //p' $(firstword $(MAKEFILE_LIST))

## make build      build/ipv6ctl, build/ccfg_cli and build/ipv6status
build:
	@tools/need-packages build
	@cmake --preset release
	@cmake --build build -j $(JOBS) --target ipv6ctl ccfg_cli ipv6status ipv6rehearse_tools

build-tests: build
	@tools/need-packages test
	@cmake --preset release -D IPV6CTL_TESTS=ON
	@cmake --build build -j $(JOBS)

asan:
	@tools/need-packages build test
	@cmake --preset asan
	@cmake --build build/asan -j $(JOBS)

## make demo       the main flow against real daemons, in namespaces
demo: build
	@tools/need-packages lab
	@lab/lab demo $(DEMO)

## make test       every test
test: test-unit test-device test-kit test-store test-faults test-lab test-docs test-binary test-companions

## make test-unit  the functions, also under the sanitizers
test-unit: build-tests asan
	ctest --test-dir build --output-on-failure -j $(JOBS)
	ctest --test-dir build/asan --output-on-failure -j $(JOBS)

## make test-device  the whole program against recorders, also under the sanitizers
test-device: build asan
	@tools/need-packages test
	$(PYTEST) -n $(JOBS) tests/device
	IPV6CTL=build/asan/ipv6ctl $(PYTEST) -n $(JOBS) tests/device

## make test-kit   the device's scripts and adapters
test-kit: build
	@tools/need-packages test lab
	$(PYTEST) -n $(JOBS) tests/kit

## make test-store   the store killed, cut, damaged, full and crowded; LONG=1 for the full counts
test-store: build-tests
	@tools/need-packages test
	$(PYTEST) -n $(JOBS) tests/store

## make test-faults  whole invocations killed, starved, interfered with and run in pairs; LONG=1 for the full counts
test-faults: build
	@tools/need-packages test
	$(PYTEST) -n $(JOBS) tests/faults

## make test-companions  the tools beside the program
test-companions: build-tests
	@tools/need-packages build test
	$(PYTEST) -n $(JOBS) tests/companions

## make test-lab   real daemons, real packets: the scenarios, and beside them a day of 300 s
# BESIDE: what else runs at the same time, because the lab mostly waits: the fuzzers, and where they are asked for the virtual
# machines.
BESIDE := test-fuzz
test-lab: build
	@tools/need-packages test lab $(BESIDE:test-%=%)
	@echo "The lab: scenarios and a day side by side, six to seven minutes; each tells its results when it ends."
	@LAB_DAY_SECONDS=$(or $(LAB_DAY_SECONDS),300) $(MAKE) -j 4 --output-sync=target test-scenarios test-day $(BESIDE)

# Scenarios mostly wait, so more of them than there are processors run at a time.
test-scenarios: build
	@tools/need-packages test lab
	$(PYTEST) -n 6 --dist loadfile --junitxml=$(JUNIT)/scenarios.xml lab --ignore=lab/vm --ignore=lab/test_day.py

## make test-day   a day of a gateway in a minute: LAB_DAY_SECONDS, LAB_DAY_SEED
test-day: build
	@tools/need-packages test lab
	$(PYTEST) -s --junitxml=$(JUNIT)/day.xml lab/test_day.py

## make test-vm    PPP and 6rd in virtual machines, whose kernel has them
test-vm: build
	@tools/need-packages test lab vm
	$(PYTEST) -n 2 --dist loadfile --junitxml=$(JUNIT)/vm.xml lab/vm

## make lab-repeat N=10  every test of the lab, N times in a row
lab-repeat:
	@lab/repeat $(N)

## make test-binary  hardening of the programs, owners and modes of what is installed
test-binary: build
	@tools/need-packages test
	$(PYTEST) tests/binary

## make test-fuzz  every saved input and hostile string, then 20 s of new ones a target
test-fuzz:
	@tools/need-packages build fuzz
	@# By the clock, and two targets a processor: what counts here is that each one was run, not how long.
	JOBS=$$((2 * $(JOBS))) tests/fuzz/run 20

## make test-valgrind  the device tests under memcheck, leaks included; not part of `make test`
test-valgrind:
	@tools/need-packages build test valgrind
	@cmake --preset memcheck
	@cmake --build build/memcheck -j $(JOBS) --target ipv6ctl ccfg_cli
	IPV6CTL=build/memcheck/ipv6ctl CCFG_CLI=build/memcheck/ccfg_cli PYTHONPATH=tests/under $(PYTEST) -p with_valgrind -n $(JOBS) tests/device

## make test-long  the long forms: store, faults, ten minutes of fuzzing a target, memcheck
test-long: build
	LONG=1 $(MAKE) test-store test-faults
	$(MAKE) fuzz TIME=600
	$(MAKE) test-valgrind

## make coverage   lines and branches that the unit and device tests reach; each other one has its reason
coverage:
	@tools/need-packages build test coverage
	tools/coverage

## make fuzz       every parser of outside text, TIME seconds each (20)
fuzz:
	@tools/need-packages build fuzz
	tests/fuzz/run $(or $(TIME),20)

## make lint       formats, static analysis, the house rules
lint:
	@tools/need-packages build test lint
	@tools/lint

## make format     bring the C++ sources into the project's format
format:
	@tools/need-packages lint
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

## make cross      the program for arm64, armhf, mipsel, mips and s390x: build/cross-NAME
CROSS := arm64 armhf mipsel mips s390x
cross: $(CROSS:%=cross-%)
cross-%:
	@tools/need-packages build cross
	@cmake --preset cross-$*
	@cmake --build build/cross-$* -j $(JOBS) --target ipv6ctl ccfg_cli

## make musl       the program with the C library musl: build/musl
musl:
	@tools/need-packages build cross
	@cmake --preset musl
	@cmake --build build/musl -j $(JOBS) --target ipv6ctl ccfg_cli

## make test-cross the tests on builds for other processors, and their transcripts against this one's: CROSS="mips s390x", LONG=1
test-cross:
	@tools/need-packages build test cross
	@LONG=$(LONG) tests/cross/run $(CROSS) $(if $(filter file,$(origin CROSS)),musl unsigned-char)

## make test-reproducible  two builds in different folders are the same bit for bit
test-reproducible:
	@tools/need-packages build
	@tests/cross/reproducible

## make man        the manual's pages, with mandoc's lint: build/pages
man: pages
	@tools/need-packages test
	@docs/man/check $$(find build/pages build/companions -name '*.[158]')

pages:
	@tools/need-packages build
	@cmake --preset release
	@cmake --build build --target pages

## make install DESTDIR=FOLDER  everything as on the device; PREFIX=/usr/local for what people start and read
install: build pages
	@if [ -z "$(DESTDIR)" ]; then echo "make install DESTDIR=FOLDER: the root of the device's image (/ is this machine)" >&2; exit 1; fi
	@packaging/place install $(or $(IPV6CTL_BUILD),build) "$(DESTDIR)" "$(PREFIX)"

## make uninstall DESTDIR=FOLDER  takes exactly that out again; the settings stay
uninstall:
	@if [ -z "$(DESTDIR)" ]; then echo "make uninstall DESTDIR=FOLDER: the root of the device's image (/ is this machine)" >&2; exit 1; fi
	@packaging/place uninstall "$(DESTDIR)" "$(PREFIX)"

## make deb        Debian packages: build/deb
deb: build pages
	@tools/need-packages build packages
	@cmake --build build -j $(JOBS)
	@rm -f build/deb/*.deb
	@cd build && cpack >deb.log || { cat deb.log >&2; exit 1; }
	@ls build/deb/*.deb

## make test-docs  every command of the pages, the manual, installing and uninstalling
test-docs: build pages
	@tools/need-packages build test lab
	$(PYTEST) tests/docs tests/packaging/test_place.py

## make test-packages  the packages installed, used, upgraded and purged in a system of their own; not part of `make test`
test-packages: deb
	@tools/need-packages test packages
	$(PYTEST) tests/packaging/test_debs.py

## make bench      what the program costs beside what it cannot do without: build/bench/results.json, docs/performance.md
bench: bench-programs
	@bench/run
	@bench/page

## make bench-guard  fails when the program carries out over 3 % more instructions than bench/instructions.json has
bench-guard: bench-programs
	@bench/guard

bench-programs: build
	@tools/need-packages build test bench
	@cmake --build build -j $(JOBS) --target bench_programs
	$(PYTEST) bench/test_shell_twins.py bench/test_system_calls.py bench/test_figures.py

## make bench-event  from the provider's Reply to a host's address, beside dhcpcd and systemd-networkd: N=10
bench-event: build
	@tools/need-packages test lab event
	$(PYTEST) bench/event
	@bench/event/run -n $(or $(N),10)

## make clean
clean:
	rm -rf build
