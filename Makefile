# Layscan: two commands.
#   make test   install what is missing, build Linux, Linux ASan+UBSan and Windows
#               (mingw-w64, static), run all three suites (Windows under Wine)
#   make run    install what is missing, build, report the bundled sample disks
#               (samples/*.sf) into out/report-mbr.txt and out/report-gpt.txt;
#               ARGS="..." runs the tool with those arguments instead
#               (e.g. ARGS="-all" for the machine's drives)
#   make package  build the Linux .deb (build-pkg/) and the Windows zip (build-win/)
# Every other target here is a step of those two, except
#   make fuzz   build the libFuzzer targets with clang in build-fuzz/ and run each
#               for FUZZ_SECONDS (default 60); findings land in build-fuzz/artifacts/

SHELL := /bin/bash
MAKEFLAGS += --no-print-directory
.DEFAULT_GOAL := test

JOBS ?= 2
ARGS ?=
SAMPLES := mbr gpt

PACKAGES := cmake g++ libgtest-dev googletest libbenchmark-dev libboost-dev \
            g++-mingw-w64-x86-64-posix wine64 wine fdisk gdisk dosfstools ntfs-3g \
            exfatprogs sleuthkit xz-utils strace mandoc dpkg-dev python3 \
            nlohmann-json3-dev python3-jsonschema

WINE_ENV := WINEDEBUG=-all WINEPREFIX=$(CURDIR)/build-win/wineprefix
ASAN_FLAGS := -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined
SAN_ENV := ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1

.PHONY: memcheck test run deps build-linux build-asan build-win wine-prefix test-suites fuzz fuzz-deps build-fuzz \
        package package-deb package-zip check-docs-and-package

FUZZ_SECONDS ?= 60
FUZZ_TARGETS := SectorFileFuzz CommandLineFuzz ImageReportFuzz
FUZZ_PACKAGES := clang libclang-rt-14-dev

# memcheck and the man page and package checks run first so that the suites'
# summaries stay the last lines.
test: deps build-asan build-linux build-win wine-prefix package
	@memcheck=0; packaged=0; suites=0; \
	$(MAKE) --no-print-directory memcheck || memcheck=$$?; \
	$(MAKE) --no-print-directory check-docs-and-package || packaged=$$?; \
	$(MAKE) --no-print-directory test-suites || suites=$$?; \
	[ $$memcheck -eq 0 ] && [ $$packaged -eq 0 ] && [ $$suites -eq 0 ]

run: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Debug >/dev/null
	cmake --build build -j$(JOBS) --target layscan
	@mkdir -p out
ifeq ($(strip $(ARGS)),)
	@status=0; \
	for s in $(SAMPLES); do \
	  ./build/layscan -file samples/$$s-disk.sf -out out/report-$$s.txt || status=$$?; \
	done; \
	for s in $(SAMPLES); do echo "Report of samples/$$s-disk.sf: $$(realpath -m out/report-$$s.txt)"; done; \
	exit $$status
else
	@status=0; ./build/layscan $(ARGS) || status=$$?; \
	report=$$(sed -n 's/.*-out[[:space:]]\{1,\}\([^[:space:]]\{1,\}\).*/\1/p' <<< " $(ARGS) "); \
	[ -n "$$report" ] || report=layscan.txt; \
	echo "Report: $$(realpath -m "$$report")"; \
	exit $$status
endif

# The .deb comes from a Release tree of its own, without the test suite and
# with libstdc++ and libgcc linked in, so that it needs nothing beyond libc.
# The zip comes from the Windows tree, which is a static Release build already.
package: package-deb package-zip

package-deb: deps
	cmake -S . -B build-pkg -DCMAKE_BUILD_TYPE=Release -DLAYSCAN_STATIC_RUNTIME=ON -DLAYSCAN_BUILD_TESTS=OFF >/dev/null
	cmake --build build-pkg -j$(JOBS) --target layscan
	rm -f build-pkg/layscan_*.deb
	cd build-pkg && cpack -G DEB >/dev/null
	@echo "Package: $$(ls build-pkg/layscan_*.deb)"

package-zip: deps
	cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build build-win -j$(JOBS) --target layscan
	rm -f build-win/layscan-*-win64.zip
	cd build-win && cpack -G ZIP >/dev/null
	@echo "Package: $$(ls build-win/layscan-*-win64.zip)"

check-docs-and-package:
	@echo "=== mandoc -T lint docs/layscan.1"; \
	mandoc -T lint docs/layscan.1 && \
	echo "=== package check" && \
	scripts/check-package.sh build-pkg/layscan_*.deb build-win/layscan-*-win64.zip

# apt only runs when a package is actually missing; apt-get update only then too.
deps:
	@missing=""; \
	for p in $(PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  sudo=""; [ "$$(id -u)" -eq 0 ] || sudo=sudo; \
	  echo "Installing:$$missing"; \
	  $$sudo apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y -qq --no-install-recommends $$missing; \
	fi

build-linux:
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Debug >/dev/null
	cmake --build build -j$(JOBS)

build-asan:
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug \
	  -DCMAKE_CXX_FLAGS="$(ASAN_FLAGS)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$(ASAN_FLAGS)" >/dev/null
	cmake --build build-asan -j$(JOBS)

build-win:
	cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
	  -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build build-win -j$(JOBS)

wine-prefix:
	@[ -f build-win/wineprefix/system.reg ] || \
	  { mkdir -p build-win/wineprefix && $(WINE_ENV) wineboot -i >/dev/null 2>&1 && \
	    $(WINE_ENV) wineserver -w >/dev/null 2>&1; } || true

# Runs every suite even when an earlier one fails, keeps each log, and ends
# with the summary lines of each suite so the last screen tells the outcome.
test-suites:
	@asan=0; linux=0; win=0; \
	echo "=== ASan+UBSan suite (build-asan)"; \
	( cd build-asan && $(SAN_ENV) LAYSCAN_ALL_TESTS=1 ./layscan_tests ) > build-asan/test-log.txt 2>&1 || asan=$$?; \
	[ $$asan -eq 0 ] || cat build-asan/test-log.txt; \
	echo "=== Linux suite (build, ctest)"; \
	( cd build && ctest --output-on-failure ) > build/test-log.txt 2>&1 || linux=$$?; \
	[ $$linux -eq 0 ] || cat build/test-log.txt; \
	echo "=== Windows suite (build-win, Wine)"; \
	( cd build-win && $(WINE_ENV) LAYSCAN_ALL_TESTS=1 wine ./layscan_tests.exe ) > build-win/test-log.txt 2>&1 || win=$$?; \
	[ $$win -eq 0 ] || cat build-win/test-log.txt; \
	echo; \
	echo "ASan+UBSan suite:"; grep -E '^\[  (PASSED|FAILED)  \]|^\[==========\].*ran|^(==[0-9]+==ERROR|.*runtime error)' build-asan/test-log.txt | head -20; \
	[ $$asan -eq 0 ] || echo "ASan+UBSan suite FAILED (exit $$asan), log: build-asan/test-log.txt"; \
	echo "Linux suite:"; grep -E 'tests passed|tests failed out of|Total Test time' build/test-log.txt; \
	[ $$linux -eq 0 ] || echo "Linux suite FAILED (exit $$linux), log: build/test-log.txt"; \
	echo "Windows suite (Wine):"; grep -E '^\[==========\].*ran|^\[  (PASSED|FAILED)  \]' build-win/test-log.txt; \
	[ $$win -eq 0 ] || echo "Windows suite FAILED (exit $$win), log: build-win/test-log.txt"; \
	[ $$asan -eq 0 ] && [ $$linux -eq 0 ] && [ $$win -eq 0 ]

# Fuzzing needs clang; the other targets never do.
fuzz-deps:
	@$(MAKE) deps PACKAGES="$(FUZZ_PACKAGES)"

build-fuzz: fuzz-deps
	cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DLAYSCAN_BUILD_FUZZ=ON -DLAYSCAN_BUILD_TESTS=OFF >/dev/null
	cmake --build build-fuzz -j$(JOBS)

# Each target runs in turn on its own corpus (seeded from the samples, the
# hostile disks and the saved findings); a finding stops that target only.
fuzz: build-fuzz
	@mkdir -p build-fuzz/artifacts; \
	./build-fuzz/MakeFuzzSeeds build-fuzz/seeds samples tests/regression || exit 1; \
	status=0; \
	for t in $(FUZZ_TARGETS); do \
	  mkdir -p build-fuzz/corpus/$$t; \
	  echo "=== $$t for $(FUZZ_SECONDS) s (log: build-fuzz/$$t.log)"; \
	  nice ./build-fuzz/$$t -max_total_time=$(FUZZ_SECONDS) -timeout=10 -rss_limit_mb=2048 -max_len=1048576 \
	    -artifact_prefix=build-fuzz/artifacts/$$t- build-fuzz/corpus/$$t build-fuzz/seeds/$$t \
	    < /dev/null > build-fuzz/$$t.log 2>&1 || { status=1; echo "$$t: finding, see build-fuzz/$$t.log"; }; \
	  grep -E '^#[0-9]+.*DONE|^Done' build-fuzz/$$t.log | tail -1; \
	done; \
	exit $$status

# The built tool on the bundled samples under valgrind: no invalid access, no
# leak. Skipped when valgrind is not installed.
memcheck:
	@if ! command -v valgrind >/dev/null; then echo "=== memcheck skipped: valgrind is not installed"; exit 0; fi; \
	mkdir -p build/memcheck; status=0; \
	for s in $(SAMPLES); do \
	  echo "=== memcheck: layscan -file samples/$$s-disk.sf"; \
	  valgrind -q --error-exitcode=1 --leak-check=full --suppressions=scripts/valgrind.supp \
	    ./build/layscan -file samples/$$s-disk.sf -out build/memcheck/report-$$s.txt \
	    > build/memcheck/console-$$s.txt 2> build/memcheck/valgrind-$$s.txt || \
	    { status=1; cat build/memcheck/valgrind-$$s.txt; }; \
	done; \
	[ $$status -eq 0 ] && echo "memcheck: clean" || echo "memcheck FAILED"; exit $$status
