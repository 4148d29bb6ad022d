# A thin front over CMake; `make help` says what there is.

MAKEFLAGS += --no-print-directory
PYTEST := /usr/bin/python3 -m pytest -q -p no:cacheprovider
JOBS := $(shell nproc)
DESTDIR :=

.PHONY: help build build-tests asan cross demo test test-unit test-device test-kit test-lab test-day test-vm fuzz lint format install clean

help:
	@sed -n 's/^## //p' $(firstword $(MAKEFILE_LIST))

## make build      build/ipv6ctl and build/ccfg_cli
build:
	@tools/need-packages build
	@cmake --preset release
	@cmake --build build -j $(JOBS) --target ipv6ctl ccfg_cli

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
test: test-unit test-device test-kit test-lab

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

## make test-lab   real daemons, real packets
test-lab: build
	@tools/need-packages test lab
	@# The demo's tests look for leftovers on the whole machine and know namespaces by numbers that the kernel uses again.
	$(PYTEST) lab/test_demo.py
	$(PYTEST) -n $(JOBS) --dist loadfile lab --ignore=lab/vm --ignore=lab/test_demo.py --ignore=lab/test_day.py

## make test-day   a day of a gateway in a minute: LAB_DAY_SECONDS, LAB_DAY_SEED
test-day: build
	@tools/need-packages test lab
	$(PYTEST) -s lab/test_day.py

## make test-vm    PPP and 6rd in a virtual machine, whose kernel has them
test-vm: build
	@tools/need-packages test lab vm
	$(PYTEST) lab/vm

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

## make cross      the program for a big-endian MIPS, against a stub of the maker's libraries
cross:
	@tools/need-packages build cross
	@cmake --preset cross-mips
	@cmake --build build/cross-mips -j $(JOBS)

## make install DESTDIR=FOLDER  the program, its command names, the store tool and the kit
install: build
	@if [ -z "$(DESTDIR)" ]; then echo "make install DESTDIR=FOLDER: the root of the device's image (/ is this machine)" >&2; exit 1; fi
	@DESTDIR="$(DESTDIR)" cmake --install build

## make clean
clean:
	rm -rf build
