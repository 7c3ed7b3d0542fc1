# Sourced by scripts whose result must not depend on the calling shell: removes variables that would
# choose a compiler, a flag or a test.
leftovers='^(ASAN_|UBSAN_|LSAN_|MSAN_|TSAN_|GTEST_|CTEST_|CMAKE_|FENLET_|CXX|CPP|CC$|CFLAGS$|LDFLAGS$'
leftovers+='|LD_|MAKE|DESTDIR$|VERBOSE$)'
for variable in $(compgen -e | grep -E "$leftovers" || true); do
    unset "$variable"
done
unset leftovers variable
