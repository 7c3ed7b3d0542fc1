// Compiled so that the tests can share a precompiled header.
