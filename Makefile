# Two entry points: `make demo` (the main job) and `make test` (all tests).
# Everything else here is a convenience for developers and CI.

JOBS ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 30
# How long the module stress test runs in the sanitizer builds (a few seconds
# in the plain test run).
STRESS_SECONDS ?= 25
HAVE_MINGW := $(shell command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 && echo yes)
HAVE_MINGW32 := $(shell command -v i686-w64-mingw32-g++-posix >/dev/null 2>&1 && echo yes)
HAVE_WINE := $(shell command -v wine >/dev/null 2>&1 && echo yes)
VERSION := $(shell cat VERSION)
PACKAGE_ZIP := build/package/corvanta-ffdrv-$(VERSION)-windows.zip

# Parts that could not run are listed here and reported at the end of make test.
SKIPPED := build/skipped.txt
skip = echo "SKIPPED: $(1)"; mkdir -p build; echo "$(1)" >> $(SKIPPED)

.PHONY: all demo test native windows windows-x64 windows-x86 wine-tests wine-tests-x64 wine-tests-x86 \
	package asan tsan fuzz bench clean

all: native

demo:
	cmake --preset dev >/dev/null
	cmake --build --preset dev -j$(JOBS) --target ffplay
	./build/dev/tools/player/ffplay --quiet --out build/demo examples/driving_moment.ffs

# The bootstrap installs what the Windows half needs (or says how); the
# sub-make then sees the freshly installed tools.
test:
	@mkdir -p build && rm -f $(SKIPPED)
	FFDRV_SKIPPED=$(SKIPPED) tools/bootstrap.sh
	@$(MAKE) --no-print-directory native $(if $(filter skip,$(FFDRV_WINDOWS)),,windows)
	@if [ -s $(SKIPPED) ]; then \
	  echo; echo "######################################################################"; \
	  echo "##  make test did NOT run everything. SKIPPED:"; sed 's/^/##    - /' $(SKIPPED); \
	  echo "######################################################################"; \
	  if [ -n "$(FFDRV_NO_SKIP)" ]; then echo "FFDRV_NO_SKIP is set: failing"; exit 1; fi; \
	fi

native:
	cmake --preset dev
	cmake --build --preset dev -j$(JOBS)
	ctest --preset dev -j$(JOBS)

windows: windows-x64 windows-x86 wine-tests package

windows-x64:
ifeq ($(HAVE_MINGW),yes)
	cmake --preset mingw-x64
	cmake --build --preset mingw-x64 -j$(JOBS)
else
	@$(call skip,Windows x86_64 build (x86_64-w64-mingw32-g++-posix not installed))
endif

windows-x86:
ifeq ($(HAVE_MINGW32),yes)
	cmake --preset mingw-x86
	cmake --build --preset mingw-x86 -j$(JOBS)
else
	@$(call skip,Windows i686 build (i686-w64-mingw32-g++-posix not installed))
endif

wine-tests: wine-tests-x64 wine-tests-x86

wine-tests-x64: windows-x64
ifeq ($(HAVE_MINGW)$(HAVE_WINE),yesyes)
	tools/run-wine-tests.sh build/mingw-x64
	cmake --build --preset dev -j$(JOBS) --target ffplay
	tools/run-wine-record-test.sh build/mingw-x64 build/dev/tools/player/ffplay
else
	@$(call skip,x86_64 Windows tests under wine64 (needs MinGW-w64 and wine))
endif

# tools/wine32.sh exits 2 where no 32-bit Wine can be had on this machine.
wine-tests-x86: windows-x86
ifeq ($(HAVE_MINGW32),yes)
	@rc=0; tools/wine32.sh setup || rc=$$?; \
	if [ $$rc -eq 2 ]; then $(call skip,i686 Windows tests under 32-bit Wine (none can be set up here)); \
	elif [ $$rc -ne 0 ]; then exit $$rc; \
	else echo "tools/run-wine-tests.sh build/mingw-x86"; tools/run-wine-tests.sh build/mingw-x86; fi
else
	@$(call skip,i686 Windows tests under 32-bit Wine (needs MinGW-w64 for i686))
endif

# The release zip of both bitnesses, checked as a user receives it.
package: windows-x64 windows-x86
ifeq ($(HAVE_MINGW)$(HAVE_MINGW32),yesyes)
	python3 tools/make-package.py --source . --x64 build/mingw-x64/force_feedback \
		--x86 build/mingw-x86/force_feedback --out build/package
	python3 tools/check-package.py $(PACKAGE_ZIP) VERSION
else
	@echo "SKIPPED: release package (needs MinGW-w64 for x86_64 and i686)"
endif

asan:
	cmake --preset asan
	cmake --build --preset asan -j$(JOBS)
	FFDRV_STRESS_SECONDS=$(STRESS_SECONDS) ctest --preset asan -j$(JOBS)

tsan:
	cmake --preset tsan
	cmake --build --preset tsan -j$(JOBS)
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" FFDRV_STRESS_SECONDS=$(STRESS_SECONDS) ctest --preset tsan -j$(JOBS)

fuzz:
	cmake --preset fuzz
	cmake --build --preset fuzz -j$(JOBS)
	tools/run-fuzzers.sh build/fuzz $(FUZZ_SECONDS)

bench:
	cmake --preset release
	cmake --build --preset release -j$(JOBS)
	for b in build/release/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

clean:
	rm -rf build
