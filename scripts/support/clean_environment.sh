# Sourced by scripts that give a verdict: variables of the calling shell must not choose a compiler, a
# flag or a test.
leftovers='^(ASAN_|UBSAN_|LSAN_|MSAN_|TSAN_|GTEST_|CTEST_|CMAKE_|FENLET_|CXX|CPP|CC$|CFLAGS$|LDFLAGS$'
leftovers+='|LD_|MAKE|DESTDIR$|VERBOSE$)'
for variable in $(compgen -e | grep -E "$leftovers" || true); do
    unset "$variable"
done
unset leftovers variable
